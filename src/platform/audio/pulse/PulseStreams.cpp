#include "PulseStreams.hpp"
#include "platform/audio/StreamWave.hpp"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "PulseDevices.hpp"
#include "common/libAudio-common/StaticPCMBuffer.hpp"
#include "platform/kvo/ManagedThread.hpp"
#include "platform/kvo/Stopwatch.hpp"
#include "platform/kvo/System.hpp"

namespace audio::pulse {
namespace {

constexpr std::uint32_t kPacketMs = 10;
constexpr pa_usec_t kCaptureFragmentUs = 10 * PA_USEC_PER_MSEC;
// The first samples play at once however much is queued; the queue only has
// to outlast the filling thread's late wake-ups on a loaded machine.
constexpr pa_usec_t kPlaybackBufferUs = 1000 * PA_USEC_PER_MSEC;

class Lock {
public:
    explicit Lock(PulseServer& server) : mainloop_(server.mainloop()) {
        pa_threaded_mainloop_lock(mainloop_);
    }
    ~Lock() { pa_threaded_mainloop_unlock(mainloop_); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    pa_threaded_mainloop* mainloop_;
};

void onStreamState(pa_stream*, void* mainloop) {
    pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop*>(mainloop), 0);
}

// Called with the main loop locked.
void closeStream(pa_stream*& stream) {
    if (stream != nullptr) {
        pa_stream_set_state_callback(stream, nullptr, nullptr);
        pa_stream_disconnect(stream);
        pa_stream_unref(stream);
        stream = nullptr;
    }
}

// A connected stream on the named sink or source, or null with the reason.
// The stream stays on that device: if it goes away the stream fails rather
// than moving elsewhere, which is what an endpoint that vanished looks like.
pa_stream* openStream(PulseServer& server, EDataFlow flow, const std::string& device,
                      const WAVEFORMATEX& format, HResult& error) {
    pa_sample_spec pulseFormat;
    if (!pulseSampleFormat(format, pulseFormat)) {
        error = kUnsupportedFormat;
        return nullptr;
    }
    Lock lock(server);
    pa_context* context = server.context();
    if (pa_context_get_state(context) != PA_CONTEXT_READY) {
        error = kDeviceInvalidated;
        return nullptr;
    }
    pa_channel_map map;
    pa_channel_map_init_extend(&map, pulseFormat.channels, PA_CHANNEL_MAP_WAVEEX);
    pa_stream* stream =
        pa_stream_new(context, flow == eRender ? "playback" : "capture", &pulseFormat, &map);
    if (stream == nullptr) {
        error = kFail;
        return nullptr;
    }
    pa_stream_set_state_callback(stream, onStreamState, server.mainloop());
    pa_buffer_attr attr;
    attr.maxlength = static_cast<std::uint32_t>(-1);
    attr.tlength = static_cast<std::uint32_t>(-1);
    attr.prebuf = static_cast<std::uint32_t>(-1);
    attr.minreq = static_cast<std::uint32_t>(-1);
    attr.fragsize = static_cast<std::uint32_t>(-1);
    int connected = 0;
    if (flow == eCapture) {
        // Small fragments so that captured audio arrives every few ms; what the
        // thread has not taken yet waits on the server.
        attr.fragsize =
            static_cast<std::uint32_t>(pa_usec_to_bytes(kCaptureFragmentUs, &pulseFormat));
        connected = pa_stream_connect_record(
            stream, device.c_str(), &attr,
            static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE));
    } else {
        // Not latency-adjusted: the queue is the client's, the device keeps its own latency.
        attr.tlength =
            static_cast<std::uint32_t>(pa_usec_to_bytes(kPlaybackBufferUs, &pulseFormat));
        connected = pa_stream_connect_playback(stream, device.c_str(), &attr, PA_STREAM_DONT_MOVE,
                                               nullptr, nullptr);
    }
    if (connected == 0) {
        while (pa_stream_get_state(stream) == PA_STREAM_CREATING &&
               PA_CONTEXT_IS_GOOD(pa_context_get_state(context))) {
            pa_threaded_mainloop_wait(server.mainloop());
        }
    }
    if (connected != 0 || pa_stream_get_state(stream) != PA_STREAM_READY) {
        const int reason = pa_context_errno(context);
        error = reason == PA_ERR_NOENTITY || !PA_CONTEXT_IS_GOOD(pa_context_get_state(context))
                    ? kDeviceInvalidated
                    : kFail;
        closeStream(stream);
        return nullptr;
    }
    error = kOk;
    return stream;
}

// The name of wave device `deviceId` of a direction, or of the default device.
std::optional<std::string> waveDeviceName(PulseServer& server, EDataFlow flow,
                                          std::uint32_t deviceId) {
    if (deviceId == WAVE_MAPPER_ID) {
        const auto info = server.serverInfo();
        const std::string name =
            info ? (flow == eRender ? info->defaultSink : info->defaultSource) : std::string();
        return name.empty() ? std::nullopt : std::optional<std::string>(name);
    }
    const std::vector<DeviceInfo> devices = waveDevices(server, flow);
    if (deviceId >= devices.size()) {
        return std::nullopt;
    }
    return devices[deviceId].name;
}

// A running capture into a caller's buffer.
class CaptureStream {
public:
    explicit CaptureStream(std::shared_ptr<PulseServer> server) : server_(std::move(server)) {}
    ~CaptureStream() { stop(); }
    CaptureStream(const CaptureStream&) = delete;
    CaptureStream& operator=(const CaptureStream&) = delete;

    HResult start(const std::string& device, libAudio::StaticPCMBuffer* buffer,
                  StopCallback stopRequested, std::uint32_t timeoutMs) {
        if (running()) {
            return kNotStopped;
        }
        stop();
        HResult error = kOk;
        stream_ = openStream(*server_, eCapture, device, buffer->format.Format, error);
        if (stream_ == nullptr) {
            return error;
        }
        buffer->position = 0;
        stopping_.store(false);
        thread_ = std::make_unique<kvo::ManagedThread>(
            "pulse capture", [this, buffer, timeoutMs, stopRequested = std::move(stopRequested)] {
                const int code = run(*buffer, timeoutMs, stopRequested);
                Lock lock(*server_);
                closeStream(stream_);
                return code;
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
    // Moves what the server has into the buffer; false when the stream failed.
    bool take(libAudio::StaticPCMBuffer& buffer, std::uint64_t total) {
        Lock lock(*server_);
        if (pa_stream_get_state(stream_) != PA_STREAM_READY) {
            return false;
        }
        while (buffer.position < total) {
            const void* data = nullptr;
            std::size_t bytes = 0;
            if (pa_stream_peek(stream_, &data, &bytes) < 0) {
                return false;
            }
            if (bytes == 0) {
                break;
            }
            const auto count =
                static_cast<std::size_t>(std::min<std::uint64_t>(bytes, total - buffer.position));
            unsigned char* target = buffer.pcmStorage.data() + buffer.position;
            // A hole in the stream (data lost on the server) is recorded as silence.
            if (data != nullptr) {
                std::memcpy(target, data, count);
            } else {
                std::memset(target, 0, count);
            }
            buffer.position += count;
            pa_stream_drop(stream_);
        }
        return true;
    }

    int run(libAudio::StaticPCMBuffer& buffer, std::uint32_t timeoutMs,
            const StopCallback& stopRequested) {
        const std::uint32_t block = buffer.format.Format.nBlockAlign;
        const std::uint64_t total = buffer.pcmStorage.size() / block * block;
        const kvo::Stopwatch watch;
        while (true) {
            kvo::System::mssleep(kPacketMs);
            if (stopping_.load()) {
                return 0;
            }
            if (!take(buffer, total)) {
                return kDeviceInvalidated;
            }

            if (buffer.position >= total) {
                return 0;
            }
            if (stopRequested && stopRequested()) {
                return 0;
            }
            if (timeoutMs != 0 && watch.elapsedMs() >= timeoutMs) {
                return kCaptureTimedOut;
            }
        }
    }

    std::shared_ptr<PulseServer> server_;
    pa_stream* stream_ = nullptr;
    std::atomic<bool> stopping_{false};
    std::unique_ptr<kvo::ManagedThread> thread_;
};

// A running playback of samples copied when it starts.
class PlaybackStream {
public:
    explicit PlaybackStream(std::shared_ptr<PulseServer> server) : server_(std::move(server)) {}
    ~PlaybackStream() { stop(); }
    PlaybackStream(const PlaybackStream&) = delete;
    PlaybackStream& operator=(const PlaybackStream&) = delete;

    HResult start(const std::string& device, const WAVEFORMATEX& format, const unsigned char* data,
                  std::size_t bytes, std::uint32_t repetitions, StopCallback stopRequested) {
        if (running()) {
            return kNotStopped;
        }
        stop();
        const std::size_t whole = bytes / format.nBlockAlign * format.nBlockAlign;
        samples_.assign(data, data + whole);
        HResult error = kOk;
        stream_ = openStream(*server_, eRender, device, format, error);
        if (stream_ == nullptr) {
            return error;
        }
        stopping_.store(false);
        thread_ = std::make_unique<kvo::ManagedThread>(
            "pulse playback", [this, repetitions, stopRequested = std::move(stopRequested)] {
                const int code = run(repetitions, stopRequested);
                Lock lock(*server_);
                if (drain_ != nullptr) {
                    pa_operation_cancel(drain_);
                    pa_operation_unref(drain_);
                    drain_ = nullptr;
                }
                closeStream(stream_);
                return code;
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
    enum class Progress { Playing, Done, Failed };

    // Writes what the server asks for; once everything is written, waits for
    // the server to play it out.
    Progress feed(std::uint64_t& written, std::uint64_t total) {
        Lock lock(*server_);
        if (pa_stream_get_state(stream_) != PA_STREAM_READY) {
            return Progress::Failed;
        }
        if (drain_ != nullptr) {
            return pa_operation_get_state(drain_) == PA_OPERATION_RUNNING ? Progress::Playing
                                                                          : Progress::Done;
        }
        std::size_t writable = pa_stream_writable_size(stream_);
        if (writable == static_cast<std::size_t>(-1)) {
            return Progress::Failed;
        }
        while (writable > 0 && written < total && !samples_.empty()) {
            const std::size_t offset = static_cast<std::size_t>(written % samples_.size());
            const std::size_t chunk = static_cast<std::size_t>(
                std::min<std::uint64_t>({writable, samples_.size() - offset, total - written}));
            if (pa_stream_write(stream_, samples_.data() + offset, chunk, nullptr, 0,
                                PA_SEEK_RELATIVE) < 0) {
                return Progress::Failed;
            }
            written += chunk;
            writable -= chunk;
        }
        if (written >= total) {
            drain_ = pa_stream_drain(stream_, nullptr, nullptr);
            if (drain_ == nullptr) {
                return Progress::Failed;
            }
        }
        return Progress::Playing;
    }

    int run(std::uint32_t repetitions, const StopCallback& stopRequested) {
        const std::uint64_t total = std::uint64_t{samples_.size()} * repetitions;
        std::uint64_t written = 0;
        while (true) {
            switch (feed(written, total)) {
                case Progress::Failed:
                    return kDeviceInvalidated;
                case Progress::Done:
                    return 0;
                case Progress::Playing:
                    break;
            }
            if (stopping_.load() || (stopRequested && stopRequested())) {
                return 0;
            }
            kvo::System::mssleep(kPacketMs);
        }
    }

    std::shared_ptr<PulseServer> server_;
    std::vector<unsigned char> samples_;
    pa_stream* stream_ = nullptr;
    pa_operation* drain_ = nullptr;
    std::atomic<bool> stopping_{false};
    std::unique_ptr<kvo::ManagedThread> thread_;
};

// The checks both endpoint stream objects make on initialize; `device` gets
// the sink or source name.
HResult checkEndpoint(const std::shared_ptr<PulseServer>& server, const AudioDevicePtr& endpoint,
                      const libAudio::StaticPCMBuffer* buffer, EDataFlow flow,
                      std::string& device) {
    if (!endpoint || buffer == nullptr) {
        return kPointer;
    }
    const auto* pulse = dynamic_cast<const PulseEndpoint*>(endpoint.get());
    if (pulse == nullptr || pulse->server() != server) {
        return kInvalidArg;
    }
    if (pulse->dataFlow() != flow) {
        return kWrongEndpointType;
    }
    const WAVEFORMATEX& format = buffer->format.Format;
    if (!isConsistentFormat(format) || buffer->pcmStorage.size() < format.nBlockAlign) {
        return kInvalidArg;
    }
    if (const HResult hr = endpoint->isFormatSupported(format, AUDCLNT_SHAREMODE_SHARED);
        failed(hr)) {
        return hr;
    }
    device = pulse->deviceName();
    return kOk;
}

class PulseCaptureEx final : public AudioCaptureEx {
public:
    explicit PulseCaptureEx(std::shared_ptr<PulseServer> server)
        : server_(server), stream_(std::move(server)) {}

    bool initialize(const AudioDevicePtr& endpoint, libAudio::StaticPCMBuffer* buffer) override {
        stream_.stop();
        buffer_ = nullptr;
        if (const HResult hr = checkEndpoint(server_, endpoint, buffer, eCapture, device_);
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
                stream_.start(device_, buffer_, std::move(stopRequested), timeoutMs_);
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
    _AUDCLNT_SHAREMODE shareMode() override { return AUDCLNT_SHAREMODE_SHARED; }
    HResult lastError() override { return lastError_; }

private:
    bool fail(HResult hr) {
        lastError_ = hr;
        return false;
    }

    std::shared_ptr<PulseServer> server_;
    CaptureStream stream_;
    std::string device_;
    libAudio::StaticPCMBuffer* buffer_ = nullptr;
    std::uint32_t timeoutMs_ = 0;
    HResult lastError_ = kOk;
};

class PulseRendererEx final : public AudioRendererEx {
public:
    explicit PulseRendererEx(std::shared_ptr<PulseServer> server)
        : server_(server), stream_(std::move(server)) {}

    bool initialize(const AudioDevicePtr& endpoint, libAudio::StaticPCMBuffer* buffer) override {
        stream_.stop();
        buffer_ = nullptr;
        formats_.clear();
        if (const HResult hr = checkEndpoint(server_, endpoint, buffer, eRender, device_);
            failed(hr)) {
            return fail(hr);
        }
        endpoint->compatibleFormats(formats_, AUDCLNT_SHAREMODE_SHARED);
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
                stream_.start(device_, buffer_->format.Format, buffer_->pcmStorage.data(),
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
    _AUDCLNT_SHAREMODE shareMode() override { return AUDCLNT_SHAREMODE_SHARED; }
    HResult lastError() override { return lastError_; }

private:
    bool fail(HResult hr) {
        lastError_ = hr;
        return false;
    }

    std::shared_ptr<PulseServer> server_;
    PlaybackStream stream_;
    std::string device_;
    libAudio::StaticPCMBuffer* buffer_ = nullptr;
    kvo::Array<tWAVEFORMATEX> formats_;
    HResult lastError_ = kOk;
};

}  // namespace

bool pulseSampleFormat(const WAVEFORMATEX& format, pa_sample_spec& pulseFormat) {
    if (!isConsistentFormat(format)) {
        return false;
    }
    if (format.wFormatTag == WAVE_FORMAT_PCM) {
        switch (format.wBitsPerSample) {
            case 8:
                pulseFormat.format = PA_SAMPLE_U8;
                break;
            case 16:
                pulseFormat.format = PA_SAMPLE_S16LE;
                break;
            case 24:
                pulseFormat.format = PA_SAMPLE_S24LE;
                break;
            case 32:
                pulseFormat.format = PA_SAMPLE_S32LE;
                break;
            default:
                return false;
        }
    } else if (format.wFormatTag == WAVE_FORMAT_IEEE_FLOAT && format.wBitsPerSample == 32) {
        pulseFormat.format = PA_SAMPLE_FLOAT32LE;
    } else {
        return false;
    }
    pulseFormat.rate = format.nSamplesPerSec;
    pulseFormat.channels = static_cast<std::uint8_t>(format.nChannels);
    return format.nChannels <= PA_CHANNELS_MAX && pa_sample_spec_valid(&pulseFormat) != 0;
}

std::unique_ptr<AudioCaptureEx> makeCaptureEx(std::shared_ptr<PulseServer> server) {
    return std::make_unique<PulseCaptureEx>(std::move(server));
}

std::unique_ptr<AudioRendererEx> makeRendererEx(std::shared_ptr<PulseServer> server) {
    return std::make_unique<PulseRendererEx>(std::move(server));
}

std::unique_ptr<WaveIn> makeWaveIn(std::shared_ptr<PulseServer> server) {
    return std::make_unique<StreamWaveIn<PulseServer, std::string, CaptureStream, waveDeviceName>>(
        std::move(server));
}

std::unique_ptr<WaveOut> makeWaveOut(std::shared_ptr<PulseServer> server) {
    return std::make_unique<
        StreamWaveOut<PulseServer, std::string, PlaybackStream, waveDeviceName>>(std::move(server));
}

}  // namespace audio::pulse
