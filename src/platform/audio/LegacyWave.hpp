#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "AudioStreams.hpp"
#include "platform/kvo/ManagedThread.hpp"

namespace audio {

// The wave-device capture of every backend: a WaveIn on the endpoint's wave
// device number, watched by a thread that asks the stop callback and keeps
// the exit code, so it behaves like the endpoint capture towards its caller.
class LegacyWaveCapture final : public AudioCaptureLegacyWave {
public:
    explicit LegacyWaveCapture(std::unique_ptr<WaveIn> waveIn);
    ~LegacyWaveCapture() override;

    bool initialize(const AudioDevicePtr& endpoint, libAudio::StaticPCMBuffer* buffer) override;
    bool start(StopCallback stopRequested) override;
    bool isStillRecording() override;
    void reset() override;
    bool stop() override;
    void setTimeout(std::uint32_t milliseconds) override { timeoutMs_ = milliseconds; }
    int threadExitCode() override;
    _AUDCLNT_SHAREMODE shareMode() override { return AUDCLNT_SHAREMODE_SHARED; }
    HResult lastError() override { return lastError_; }

private:
    bool fail(HResult hr);
    void endWatcher();

    std::unique_ptr<WaveIn> waveIn_;
    bool opened_ = false;
    std::uint32_t timeoutMs_ = 0;
    HResult lastError_ = kOk;
    std::atomic<bool> stopWatcher_{false};
    std::unique_ptr<kvo::ManagedThread> watcher_;
};

// The wave-device playback of every backend: a WaveOut on the endpoint's wave
// device number, looped `repetitions` times, watched like the capture.
class LegacyWaveRenderer final : public AudioRendererLegacyWave {
public:
    explicit LegacyWaveRenderer(std::unique_ptr<WaveOut> waveOut);
    ~LegacyWaveRenderer() override;

    bool initialize(const AudioDevicePtr& endpoint, libAudio::StaticPCMBuffer* buffer) override;
    bool play(std::uint32_t repetitions, StopCallback stopRequested) override;
    bool isStillPlaying() override;
    bool stop() override;
    const kvo::Array<tWAVEFORMATEX>& compatibleFormat() override { return formats_; }
    _AUDCLNT_SHAREMODE shareMode() override { return AUDCLNT_SHAREMODE_SHARED; }
    HResult lastError() override { return lastError_; }

private:
    bool fail(HResult hr);
    void endWatcher();

    std::unique_ptr<WaveOut> waveOut_;
    libAudio::StaticPCMBuffer* buffer_ = nullptr;
    std::uint32_t deviceId_ = 0;
    kvo::Array<tWAVEFORMATEX> formats_;
    HResult lastError_ = kOk;
    std::atomic<bool> stopWatcher_{false};
    std::unique_ptr<kvo::ManagedThread> watcher_;
};

}  // namespace audio
