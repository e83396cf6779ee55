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
