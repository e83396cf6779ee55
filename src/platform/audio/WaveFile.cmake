# The WAV reader.
kvo_add_library(kvo_wavefile
    SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/WaveFile.cpp
    DEPENDS kvo_fmt)
