#include "PulseStreams.hpp"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "PulseDevices.hpp"

namespace audio::pulse {
namespace {

constexpr pa_usec_t kCaptureFragmentUs = 10 * PA_USEC_PER_MSEC;
// The first samples play at once however much is queued; the queue only has
// to outlast the filling thread's late wake-ups on a loaded machine.
constexpr pa_usec_t kPlaybackBufferUs = 1000 * PA_USEC_PER_MSEC;

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
    MainloopLock lock(server.mainloop());
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
        const pa_usec_t deadline = PulseServer::answerDeadline();
        while (pa_stream_get_state(stream) == PA_STREAM_CREATING &&
               PA_CONTEXT_IS_GOOD(pa_context_get_state(context)) &&
               server.waitForAnswer(deadline)) {
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

// A record stream; what the server has is copied at each read.
class PulseCapture final : public RawCapture {
public:
    PulseCapture(std::shared_ptr<PulseServer> server, pa_stream* stream)
        : server_(std::move(server)), stream_(stream) {}
    ~PulseCapture() override { end(); }
    PulseCapture(const PulseCapture&) = delete;
    PulseCapture& operator=(const PulseCapture&) = delete;

    HResult read(std::span<unsigned char> free, std::size_t& written) override {
        MainloopLock lock(server_->mainloop());
        if (pa_stream_get_state(stream_) != PA_STREAM_READY) {
            return kDeviceInvalidated;
        }
        while (written < free.size()) {
            const void* data = nullptr;
            std::size_t bytes = 0;
            if (pa_stream_peek(stream_, &data, &bytes) < 0) {
                return kDeviceInvalidated;
            }
            if (bytes == 0) {
                break;
            }
            const std::size_t count = std::min(bytes, free.size() - written);
            unsigned char* target = free.data() + written;
            // A hole in the stream (data lost on the server) is recorded as silence.
            if (data != nullptr) {
                std::memcpy(target, data, count);
            } else {
                std::memset(target, 0, count);
            }
            written += count;
            pa_stream_drop(stream_);
        }
        return kOk;
    }
    void end() override {
        MainloopLock lock(server_->mainloop());
        closeStream(stream_);
    }

private:
    std::shared_ptr<PulseServer> server_;
    pa_stream* stream_;
};

// A playback stream with its own copy of the samples; once everything is
// written it waits for the server to play it out.
class PulseRender final : public RawRender {
public:
    PulseRender(std::shared_ptr<PulseServer> server, std::span<const unsigned char> samples,
                std::uint32_t repetitions)
        : server_(std::move(server)),
          samples_(samples.begin(), samples.end()),
          total_(std::uint64_t{samples.size()} * repetitions) {}
    ~PulseRender() override { end(); }
    PulseRender(const PulseRender&) = delete;
    PulseRender& operator=(const PulseRender&) = delete;

    HResult connect(const std::string& device, const WAVEFORMATEX& format) {
        HResult error = kOk;
        stream_ = openStream(*server_, eRender, device, format, error);
        return error;
    }

    HResult render() override {
        MainloopLock lock(server_->mainloop());
        if (pa_stream_get_state(stream_) != PA_STREAM_READY) {
            return kDeviceInvalidated;
        }
        if (drain_ != nullptr) {
            return pa_operation_get_state(drain_) == PA_OPERATION_RUNNING ? kOk : kFalse;
        }
        std::size_t writable = pa_stream_writable_size(stream_);
        if (writable == static_cast<std::size_t>(-1)) {
            return kDeviceInvalidated;
        }
        while (writable > 0 && written_ < total_ && !samples_.empty()) {
            const std::size_t offset = static_cast<std::size_t>(written_ % samples_.size());
            const std::size_t chunk = static_cast<std::size_t>(
                std::min<std::uint64_t>({writable, samples_.size() - offset, total_ - written_}));
            if (pa_stream_write(stream_, samples_.data() + offset, chunk, nullptr, 0,
                                PA_SEEK_RELATIVE) < 0) {
                return kDeviceInvalidated;
            }
            written_ += chunk;
            writable -= chunk;
        }
        if (written_ >= total_) {
            drain_ = pa_stream_drain(stream_, nullptr, nullptr);
            if (drain_ == nullptr) {
                return kDeviceInvalidated;
            }
        }
        return kOk;
    }
    void end() override {
        MainloopLock lock(server_->mainloop());
        if (drain_ != nullptr) {
            pa_operation_cancel(drain_);
            pa_operation_unref(drain_);
            drain_ = nullptr;
        }
        closeStream(stream_);
    }

private:
    std::shared_ptr<PulseServer> server_;
    std::vector<unsigned char> samples_;
    std::uint64_t total_;
    std::uint64_t written_ = 0;
    pa_stream* stream_ = nullptr;
    pa_operation* drain_ = nullptr;
};

class PulseDevice final : public RawDevice {
public:
    PulseDevice(std::shared_ptr<PulseServer> server, std::string name)
        : server_(std::move(server)), name_(std::move(name)) {}

    HResult openCapture(const WAVEFORMATEX& format, std::unique_ptr<RawCapture>& stream) override {
        HResult error = kOk;
        pa_stream* opened = openStream(*server_, eCapture, name_, format, error);
        if (opened != nullptr) {
            stream = std::make_unique<PulseCapture>(server_, opened);
        }
        return error;
    }
    HResult openRender(const WAVEFORMATEX& format, std::span<const unsigned char> samples,
                       std::uint32_t repetitions, std::unique_ptr<RawRender>& stream) override {
        auto render = std::make_unique<PulseRender>(server_, samples, repetitions);
        if (const HResult hr = render->connect(name_, format); failed(hr)) {
            return hr;
        }
        // The first samples go out at once rather than at the first wake-up;
        // a failure here shows again at the next render.
        render->render();
        stream = std::move(render);
        return kOk;
    }

private:
    std::shared_ptr<PulseServer> server_;
    std::string name_;
};

class PulseStreamSource final : public RawStreamSource {
public:
    explicit PulseStreamSource(std::shared_ptr<PulseServer> server) : server_(std::move(server)) {}

    std::string name() const override { return "pulse"; }
    bool hasExclusiveMode() const override { return false; }
    std::shared_ptr<RawDevice> device(const AudioDevice& endpoint) override {
        const auto* pulse = dynamic_cast<const PulseEndpoint*>(&endpoint);
        if (pulse == nullptr || pulse->server() != server_) {
            return nullptr;
        }
        return std::make_shared<PulseDevice>(server_, pulse->deviceName());
    }
    std::shared_ptr<RawDevice> waveDevice(EDataFlow flow, std::uint32_t deviceId) override {
        const std::optional<std::string> name = waveDeviceName(*server_, flow, deviceId);
        return name ? std::make_shared<PulseDevice>(server_, *name) : nullptr;
    }

private:
    std::shared_ptr<PulseServer> server_;
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

std::shared_ptr<RawStreamSource> makeStreamSource(std::shared_ptr<PulseServer> server) {
    return std::make_shared<PulseStreamSource>(std::move(server));
}

}  // namespace audio::pulse
