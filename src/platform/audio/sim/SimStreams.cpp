#include "SimStreams.hpp"
#include "platform/audio/StreamWave.hpp"

#include <atomic>
#include <optional>
#include <utility>
#include <vector>

#include "SimDevices.hpp"
#include "common/libAudio-common/StaticPCMBuffer.hpp"
#include "platform/kvo/ManagedThread.hpp"
#include "platform/kvo/System.hpp"

namespace audio::sim {
namespace {

// The period at which a stream's thread wakes: the packet length of the device.
constexpr std::uint32_t kPacketMs = 10;

// A running capture into a caller's buffer.
class CaptureStream {
public:
    explicit CaptureStream(std::shared_ptr<World> world) : world_(std::move(world)) {}
    ~CaptureStream() { stop(); }
    CaptureStream(const CaptureStream&) = delete;
    CaptureStream& operator=(const CaptureStream&) = delete;

    HResult start(std::size_t endpoint, libAudio::StaticPCMBuffer* buffer,
                  StopCallback stopRequested, std::uint32_t timeoutMs) {
        if (running()) {
            return kNotStopped;
        }
        stop();
        if (const HResult hr = world_->beginCapture(endpoint); failed(hr)) {
            return hr;
        }
        const WAVEFORMATEX format = buffer->format.Format;
        std::shared_ptr<CaptureSignal> signal = world_->newCaptureSignal(endpoint, format);
        std::optional<std::int64_t> interruptFrame;
        if (const auto ms = world_->takeInterruption(endpoint)) {
            interruptFrame = static_cast<std::int64_t>(*ms) * format.nSamplesPerSec / 1000;
        }
        buffer->position = 0;
        const std::int64_t startUs = world_->nowUs();
        stopping_.store(false);
        thread_ = std::make_unique<kvo::ManagedThread>(
            "sim capture", [this, endpoint, buffer, signal, interruptFrame, startUs, timeoutMs,
                            stopRequested = std::move(stopRequested)] {
                return run(endpoint, *buffer, *signal, interruptFrame, startUs, timeoutMs,
                           stopRequested);
            });
        thread_->start();
        return kOk;
    }

    bool running() const { return thread_ && thread_->isRunning(); }

    void stop() {
        if (thread_) {
            stopping_.store(true);
            thread_->join();
        }
    }

    int exitCode() const { return running() || !thread_ ? 0 : thread_->exitCode(); }

private:
    int run(std::size_t endpoint, libAudio::StaticPCMBuffer& buffer, CaptureSignal& signal,
            std::optional<std::int64_t> interruptFrame, std::int64_t startUs,
            std::uint32_t timeoutMs, const StopCallback& stopRequested) {
        const WAVEFORMATEX& format = signal.format;
        const std::int64_t totalFrames =
            static_cast<std::int64_t>(buffer.pcmStorage.size() / format.nBlockAlign);
        std::int64_t written = 0;
        while (true) {
            kvo::System::mssleep(kPacketMs);
            if (stopping_.load()) {
                return 0;
            }
            const std::int64_t now = world_->nowUs();
            if (!world_->isActive(endpoint)) {
                return kDeviceInvalidated;
            }
            std::int64_t due =
                std::min(totalFrames, (now - startUs) * format.nSamplesPerSec / 1000000);
            const bool interrupted = interruptFrame && due >= *interruptFrame;
            if (interrupted) {
                due = std::min(due, *interruptFrame);
            }
            if (due > written) {
                world_->capture(signal, startUs, written, due,
                                buffer.pcmStorage.data() + written * format.nBlockAlign);
                written = due;
                buffer.position = static_cast<std::uint64_t>(written) * format.nBlockAlign;
            }
            if (interrupted) {
                return kBufferError;
            }
            if (written >= totalFrames) {
                return 0;
            }
            if (stopRequested && stopRequested()) {
                return 0;
            }
            if (timeoutMs != 0 && now - startUs >= static_cast<std::int64_t>(timeoutMs) * 1000) {
                return kCaptureTimedOut;
            }
        }
    }

    std::shared_ptr<World> world_;
    std::atomic<bool> stopping_{false};
    std::unique_ptr<kvo::ManagedThread> thread_;
};

// A running playback: the samples are in the World, the thread watches for
// the end, the stop callback and the endpoint going away.
class RenderStream {
public:
    explicit RenderStream(std::shared_ptr<World> world) : world_(std::move(world)) {}
    ~RenderStream() { stop(); }
    RenderStream(const RenderStream&) = delete;
    RenderStream& operator=(const RenderStream&) = delete;

    HResult start(std::size_t endpoint, const WAVEFORMATEX& format, const unsigned char* data,
                  std::size_t bytes, std::uint32_t repetitions, StopCallback stopRequested) {
        if (running()) {
            return kNotStopped;
        }
        stop();
        if (const HResult hr = world_->beginPlayback(endpoint); failed(hr)) {
            return hr;
        }
        session_ = world_->startRender(endpoint, format, data, bytes, repetitions);
        const std::int64_t endUs = session_->endUs;
        stopping_.store(false);
        thread_ = std::make_unique<kvo::ManagedThread>(
            "sim playback", [this, endpoint, endUs, stopRequested = std::move(stopRequested)] {
                return run(endpoint, endUs, stopRequested);
            });
        thread_->start();
        return kOk;
    }

    bool running() const { return thread_ && thread_->isRunning(); }

    void stop() {
        if (session_) {
            world_->endRender(session_, world_->nowUs());
        }
        if (thread_) {
            stopping_.store(true);
            thread_->join();
        }
    }

    int exitCode() const { return running() || !thread_ ? 0 : thread_->exitCode(); }

private:
    int run(std::size_t endpoint, std::int64_t endUs, const StopCallback& stopRequested) {
        while (true) {
            kvo::System::mssleep(kPacketMs);
            if (stopping_.load()) {
                return 0;
            }
            const std::int64_t now = world_->nowUs();
            if (now >= endUs) {
                return 0;
            }
            if (!world_->isActive(endpoint)) {
                world_->endRender(session_, now);
                return kDeviceInvalidated;
            }
            if (stopRequested && stopRequested()) {
                world_->endRender(session_, now);
                return 0;
            }
        }
    }

    std::shared_ptr<World> world_;
    std::shared_ptr<RenderSession> session_;
    std::atomic<bool> stopping_{false};
    std::unique_ptr<kvo::ManagedThread> thread_;
};

// The checks both endpoint stream objects make on initialize.
HResult checkEndpoint(const std::shared_ptr<World>& world, const AudioDevicePtr& endpoint,
                      const libAudio::StaticPCMBuffer* buffer, EDataFlow flow,
                      _AUDCLNT_SHAREMODE shareMode, std::size_t& index) {
    if (!endpoint || buffer == nullptr) {
        return kPointer;
    }
    const auto* sim = dynamic_cast<const SimEndpoint*>(endpoint.get());
    if (sim == nullptr || sim->world() != world) {
        return kInvalidArg;
    }
    if (sim->dataFlow() != flow) {
        return kWrongEndpointType;
    }
    const WAVEFORMATEX& format = buffer->format.Format;
    if (!isConsistentFormat(format) || buffer->pcmStorage.size() < format.nBlockAlign) {
        return kInvalidArg;
    }
    if (const HResult hr = endpoint->isFormatSupported(format, shareMode); failed(hr)) {
        return hr;
    }
    index = sim->index();
    return kOk;
}

class SimCaptureEx final : public AudioCaptureEx {
public:
    SimCaptureEx(std::shared_ptr<World> world, _AUDCLNT_SHAREMODE shareMode)
        : world_(world), shareMode_(shareMode), stream_(std::move(world)) {}

    bool initialize(const AudioDevicePtr& endpoint, libAudio::StaticPCMBuffer* buffer) override {
        stream_.stop();
        buffer_ = nullptr;
        if (const HResult hr =
                checkEndpoint(world_, endpoint, buffer, eCapture, shareMode_, endpoint_);
            failed(hr)) {
            return fail(hr);
        }
        buffer_ = buffer;
        lastError_ = kOk;
        return true;
    }
    bool start(StopCallback stopRequested) override {
        if (buffer_ == nullptr) {
            return fail(kNotInitialized);
        }
        if (const HResult hr =
                stream_.start(endpoint_, buffer_, std::move(stopRequested), timeoutMs_);
            failed(hr)) {
            return fail(hr);
        }
        lastError_ = kOk;
        return true;
    }
    bool isStillRecording() override { return stream_.running(); }
    void reset() override { stream_.stop(); }
    bool stop() override {
        stream_.stop();
        return true;
    }
    void setTimeout(std::uint32_t milliseconds) override { timeoutMs_ = milliseconds; }
    int threadExitCode() override { return stream_.exitCode(); }
    _AUDCLNT_SHAREMODE shareMode() override { return shareMode_; }
    HResult lastError() override { return lastError_; }

private:
    bool fail(HResult hr) {
        lastError_ = hr;
        return false;
    }

    std::shared_ptr<World> world_;
    _AUDCLNT_SHAREMODE shareMode_;
    CaptureStream stream_;
    std::size_t endpoint_ = 0;
    libAudio::StaticPCMBuffer* buffer_ = nullptr;
    std::uint32_t timeoutMs_ = 0;
    HResult lastError_ = kOk;
};

class SimRendererEx final : public AudioRendererEx {
public:
    SimRendererEx(std::shared_ptr<World> world, _AUDCLNT_SHAREMODE shareMode)
        : world_(world), shareMode_(shareMode), stream_(std::move(world)) {}

    bool initialize(const AudioDevicePtr& endpoint, libAudio::StaticPCMBuffer* buffer) override {
        stream_.stop();
        buffer_ = nullptr;
        formats_.clear();
        if (const HResult hr =
                checkEndpoint(world_, endpoint, buffer, eRender, shareMode_, endpoint_);
            failed(hr)) {
            return fail(hr);
        }
        endpoint->compatibleFormats(formats_, shareMode_);
        buffer_ = buffer;
        lastError_ = kOk;
        return true;
    }
    bool play(std::uint32_t repetitions, StopCallback stopRequested) override {
        if (buffer_ == nullptr) {
            return fail(kNotInitialized);
        }
        if (repetitions == 0) {
            return fail(kInvalidArg);
        }
        if (const HResult hr =
                stream_.start(endpoint_, buffer_->format.Format, buffer_->pcmStorage.data(),
                              buffer_->pcmStorage.size(), repetitions, std::move(stopRequested));
            failed(hr)) {
            return fail(hr);
        }
        lastError_ = kOk;
        return true;
    }
    bool isStillPlaying() override { return stream_.running(); }
    bool stop() override {
        stream_.stop();
        return true;
    }
    const kvo::Array<tWAVEFORMATEX>& compatibleFormat() override { return formats_; }
    _AUDCLNT_SHAREMODE shareMode() override { return shareMode_; }
    HResult lastError() override { return lastError_; }

private:
    bool fail(HResult hr) {
        lastError_ = hr;
        return false;
    }

    std::shared_ptr<World> world_;
    _AUDCLNT_SHAREMODE shareMode_;
    RenderStream stream_;
    std::size_t endpoint_ = 0;
    libAudio::StaticPCMBuffer* buffer_ = nullptr;
    kvo::Array<tWAVEFORMATEX> formats_;
    HResult lastError_ = kOk;
};

std::optional<std::size_t> waveEndpoint(World& world, EDataFlow flow, std::uint32_t deviceId) {
    return deviceId == WAVE_MAPPER_ID ? world.defaultEndpoint(flow)
                                      : world.endpointOfWaveDevice(flow, deviceId);
}

}  // namespace

std::unique_ptr<AudioCaptureEx> makeCaptureEx(std::shared_ptr<World> world,
                                              _AUDCLNT_SHAREMODE shareMode) {
    return std::make_unique<SimCaptureEx>(std::move(world), shareMode);
}

std::unique_ptr<AudioRendererEx> makeRendererEx(std::shared_ptr<World> world,
                                                _AUDCLNT_SHAREMODE shareMode) {
    return std::make_unique<SimRendererEx>(std::move(world), shareMode);
}

std::unique_ptr<WaveIn> makeWaveIn(std::shared_ptr<World> world) {
    return std::make_unique<StreamWaveIn<World, std::size_t, CaptureStream, waveEndpoint>>(
        std::move(world));
}

std::unique_ptr<WaveOut> makeWaveOut(std::shared_ptr<World> world) {
    return std::make_unique<StreamWaveOut<World, std::size_t, RenderStream, waveEndpoint>>(
        std::move(world));
}

}  // namespace audio::sim
