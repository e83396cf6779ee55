#pragma once

#include <memory>
#include <string>

#include "PulseServer.hpp"
#include "platform/audio/AudioSystem.hpp"
#include "platform/audio/RawStream.hpp"

namespace audio::pulse {

// The "pulse" backend: the sinks and sources of a PulseAudio server, or of
// PipeWire through its PulseAudio interface. Its objects keep the connection
// alive and stay usable after the system itself is destroyed.
class PulseSystem final : public AudioSystem {
public:
    explicit PulseSystem(std::shared_ptr<PulseServer> server);

    std::string backendName() const override { return "pulse"; }
    std::string description() const override { return description_; }
    std::uint32_t soundCards(kvo::Array<SoundCardPtr>& cards) override;
    AudioDevicePtr defaultEndpoint(EDataFlow flow) override;
    std::unique_ptr<AudioCaptureEx> createAudioCaptureEx(
        _AUDCLNT_SHAREMODE shareMode = AUDCLNT_SHAREMODE_SHARED) override;
    std::unique_ptr<AudioRendererEx> createAudioRendererEx(
        _AUDCLNT_SHAREMODE shareMode = AUDCLNT_SHAREMODE_SHARED) override;
    std::unique_ptr<WaveIn> createWaveIn() override;
    std::unique_ptr<WaveOut> createWaveOut() override;
    OsVersion osVersion() const override { return OsVersion{}; }

private:
    std::shared_ptr<PulseServer> server_;
    std::shared_ptr<RawStreamSource> streams_;
    std::string description_;
};

// The host's entry: connects to the server libpulse finds (PULSE_SERVER
// honoured). Throws ConnectionError, whose text names --audio sim, when none
// answers.
std::unique_ptr<PulseSystem> createPulseSystem();

}  // namespace audio::pulse
