#include "LegacyWave.hpp"

#include <utility>

#include "common/libAudio-common/StaticPCMBuffer.hpp"
#include "platform/kvo/Stopwatch.hpp"
#include "platform/kvo/System.hpp"

namespace audio {
namespace {

// How often the watcher looks at the wave device and the stop callback.
constexpr std::uint32_t kPollMs = 10;

HResult orFail(int code, HResult fallback) {
    return code != 0 ? static_cast<HResult>(code) : fallback;
}

}  // namespace

LegacyWaveCapture::LegacyWaveCapture(std::unique_ptr<WaveIn> waveIn) : waveIn_(std::move(waveIn)) {}

LegacyWaveCapture::~LegacyWaveCapture() {
    endWatcher();
    waveIn_->close();
}

bool LegacyWaveCapture::fail(HResult hr) {
    lastError_ = hr;
    return false;
}

void LegacyWaveCapture::endWatcher() {
    if (watcher_) {
        stopWatcher_.store(true);
        watcher_->join();
    }
}

bool LegacyWaveCapture::initialize(const AudioDevicePtr& endpoint,
                                   libAudio::StaticPCMBuffer* buffer) {
    endWatcher();
    waveIn_->close();
    opened_ = false;
    if (!endpoint || buffer == nullptr) {
        return fail(kPointer);
    }
    if (endpoint->dataFlow() != eCapture) {
        return fail(kWrongEndpointType);
    }
    if (buffer->pcmStorage.size() == 0) {
        return fail(kInvalidArg);
    }
    std::uint32_t deviceId = 0;
    if (!endpoint->waveLegacyDeviceID(deviceId)) {
        return fail(kDeviceInvalidated);
    }
    if (!waveIn_->open(deviceId, buffer)) {
        return fail(orFail(waveIn_->errorCode(), kUnsupportedFormat));
    }
    opened_ = true;
    lastError_ = kOk;
    return true;
}

bool LegacyWaveCapture::start(StopCallback stopRequested) {
    if (!opened_) {
        return fail(kNotInitialized);
    }
    if (isStillRecording()) {
        return fail(kNotStopped);
    }
    endWatcher();
    if (!waveIn_->start()) {
        return fail(orFail(waveIn_->errorCode(), kFail));
    }
    stopWatcher_.store(false);
    const std::uint32_t timeoutMs = timeoutMs_;
    watcher_ = std::make_unique<kvo::ManagedThread>(
        "wave-in", [this, timeoutMs, stopRequested = std::move(stopRequested)] {
            const kvo::Stopwatch watch;
            int exitCode = 0;
            while (!stopWatcher_.load() && waveIn_->stillRecording()) {
                if (stopRequested && stopRequested()) {
                    break;
                }
                if (timeoutMs != 0 && watch.elapsedMs() >= timeoutMs) {
                    exitCode = kCaptureTimedOut;
                    break;
                }
                kvo::System::mssleep(kPollMs);
            }
            waveIn_->stop();
            return exitCode != 0 ? exitCode : waveIn_->errorCode();
        });
    watcher_->start();
    lastError_ = kOk;
    return true;
}

bool LegacyWaveCapture::isStillRecording() {
    return watcher_ && watcher_->isRunning();
}

void LegacyWaveCapture::reset() {
    endWatcher();
}

bool LegacyWaveCapture::stop() {
    endWatcher();
    return waveIn_->stop() || !opened_;
}

int LegacyWaveCapture::threadExitCode() {
    return watcher_ && !watcher_->isRunning() ? watcher_->exitCode() : 0;
}

LegacyWaveRenderer::LegacyWaveRenderer(std::unique_ptr<WaveOut> waveOut)
    : waveOut_(std::move(waveOut)) {}

LegacyWaveRenderer::~LegacyWaveRenderer() {
    endWatcher();
    waveOut_->close();
}

bool LegacyWaveRenderer::fail(HResult hr) {
    lastError_ = hr;
    return false;
}

void LegacyWaveRenderer::endWatcher() {
    if (watcher_) {
        stopWatcher_.store(true);
        watcher_->join();
    }
}

bool LegacyWaveRenderer::initialize(const AudioDevicePtr& endpoint,
                                    libAudio::StaticPCMBuffer* buffer) {
    endWatcher();
    waveOut_->close();
    buffer_ = nullptr;
    formats_.clear();
    if (!endpoint || buffer == nullptr) {
        return fail(kPointer);
    }
    if (endpoint->dataFlow() != eRender) {
        return fail(kWrongEndpointType);
    }
    if (buffer->pcmStorage.size() == 0) {
        return fail(kInvalidArg);
    }
    if (!endpoint->waveLegacyDeviceID(deviceId_)) {
        return fail(kDeviceInvalidated);
    }
    endpoint->compatibleFormats(formats_, AUDCLNT_SHAREMODE_SHARED);
    // Opened once here so that a format the device refuses fails now, not at play.
    if (!waveOut_->open(deviceId_, *buffer)) {
        return fail(orFail(waveOut_->errorCode(), kUnsupportedFormat));
    }
    buffer_ = buffer;
    lastError_ = kOk;
    return true;
}

bool LegacyWaveRenderer::play(std::uint32_t repetitions, StopCallback stopRequested) {
    if (buffer_ == nullptr) {
        return fail(kNotInitialized);
    }
    if (repetitions == 0) {
        return fail(kInvalidArg);
    }
    if (isStillPlaying()) {
        return fail(kNotStopped);
    }
    endWatcher();
    // Reopened so that the samples are those of the buffer now.
    waveOut_->close();
    if (!waveOut_->open(deviceId_, *buffer_) || !waveOut_->start(repetitions)) {
        return fail(orFail(waveOut_->errorCode(), kFail));
    }
    stopWatcher_.store(false);
    watcher_ = std::make_unique<kvo::ManagedThread>(
        "wave-out", [this, stopRequested = std::move(stopRequested)] {
            while (!stopWatcher_.load() && waveOut_->stillPlaying()) {
                if (stopRequested && stopRequested()) {
                    break;
                }
                kvo::System::mssleep(kPollMs);
            }
            waveOut_->stop();
            return waveOut_->errorCode();
        });
    watcher_->start();
    lastError_ = kOk;
    return true;
}

bool LegacyWaveRenderer::isStillPlaying() {
    return watcher_ && watcher_->isRunning();
}

bool LegacyWaveRenderer::stop() {
    endWatcher();
    return waveOut_->stop() || buffer_ == nullptr;
}

}  // namespace audio
