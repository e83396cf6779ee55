add_subdirectory(sim)
if(TARGET kvo_audio_pulse)
    add_subdirectory(pulse)
endif()
