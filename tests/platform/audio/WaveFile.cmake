# The WAV reader: hand-built files everywhere, files written by sox on Linux.
kvo_add_test_suite(kvo_wavefile_tests
    SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/WaveFileTest.cpp
    DEPENDS kvo_wavefile)

if(NOT WIN32)
    kvo_add_test_suite(kvo_wavefile_sox_tests
        SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/WaveFileSoxTest.cpp
        DEPENDS kvo_wavefile)
    find_package(PkgConfig)
    if(PkgConfig_FOUND)
        pkg_check_modules(SNDFILE IMPORTED_TARGET sndfile)
    endif()
    if(SNDFILE_FOUND)
        target_link_libraries(kvo_wavefile_sox_tests PRIVATE PkgConfig::SNDFILE)
        target_compile_definitions(kvo_wavefile_sox_tests PRIVATE KVO_HAVE_SNDFILE=1)
    endif()
endif()
