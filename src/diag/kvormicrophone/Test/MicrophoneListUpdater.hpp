#pragma once

#include "platform/audio/AudioDevice.hpp"

namespace kvormicrophone {

class MicrophoneTestWin7;

// Sound-card observers: any change of an endpoint (state, added, removed,
// property) makes the engine re-read its device lists. Called on the audio
// system's notification thread.
class EndpointListUpdater : public audio::SoundCardObserver {
public:
    explicit EndpointListUpdater(MicrophoneTestWin7* engine) : engine_(engine) {}
    void onEndpointDeviceStateChanged(const std::string& endpointId,
                                      std::uint32_t newState) override;
    void onEndpointDeviceAdded(const std::string& endpointId) override;
    void onEndpointDeviceRemoved(const std::string& endpointId) override;
    void onEndpointDevicePropertyChanged(const std::string& endpointId) override;

private:
    MicrophoneTestWin7* engine_;
};

// Registered for recording endpoints.
class MicrophoneListUpdater : public EndpointListUpdater {
    using EndpointListUpdater::EndpointListUpdater;
};

// Registered for playback endpoints.
class PlayerListUpdater : public EndpointListUpdater {
    using EndpointListUpdater::EndpointListUpdater;
};

}  // namespace kvormicrophone
