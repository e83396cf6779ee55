# The audio device interface (sound cards, endpoints, volume, topology,
# capture and playback objects, the device report) and the simulated PC.
kvo_add_library(kvo_audio_api
    SOURCES
        ${CMAKE_CURRENT_LIST_DIR}/AudioSystem.cpp
        ${CMAKE_CURRENT_LIST_DIR}/CurrentSystem.cpp
        ${CMAKE_CURRENT_LIST_DIR}/DeviceReport.cpp
        ${CMAKE_CURRENT_LIST_DIR}/LegacyWave.cpp
    DEPENDS kvo kvo_fmt kvo_json)

kvo_add_library(kvo_audio_sim
    SOURCES
        ${CMAKE_CURRENT_LIST_DIR}/sim/DefaultMachine.cpp
        ${CMAKE_CURRENT_LIST_DIR}/sim/MachineFile.cpp
        ${CMAKE_CURRENT_LIST_DIR}/sim/SimDevices.cpp
        ${CMAKE_CURRENT_LIST_DIR}/sim/SimStreams.cpp
        ${CMAKE_CURRENT_LIST_DIR}/sim/SimulatedSystem.cpp
        ${CMAKE_CURRENT_LIST_DIR}/sim/World.cpp
    DEPENDS kvo_audio_api kvo kvo_fmt kvo_json)

# The PulseAudio backend, on Linux where libpulse is installed.
if(NOT WIN32)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(PULSE REQUIRED IMPORTED_TARGET libpulse)
    kvo_add_library(kvo_audio_pulse
        SOURCES
            ${CMAKE_CURRENT_LIST_DIR}/pulse/PulseDevices.cpp
            ${CMAKE_CURRENT_LIST_DIR}/pulse/PulseServer.cpp
            ${CMAKE_CURRENT_LIST_DIR}/pulse/PulseStreams.cpp
            ${CMAKE_CURRENT_LIST_DIR}/pulse/PulseSystem.cpp
        DEPENDS kvo_audio_api kvo kvo_fmt PkgConfig::PULSE Threads::Threads)
endif()
