#include "ClientStreams.hpp"

#include <algorithm>
#include <cstring>
#include <vector>

#include "Endpoints.hpp"
#include "Formats.hpp"
#include "WinmmStreams.hpp"

namespace audio::wasapi {
namespace {

// The client's own buffer: one second, as long as the layer's packets are short.
constexpr REFERENCE_TIME kBufferDuration = 10'000'000;

// A started capture on an endpoint's audio client.
class ClientCapture final : public RawCapture {
public:
    ClientCapture(ComPtr<IAudioClient> client, ComPtr<IAudioCaptureClient> capture,
                  std::uint32_t blockAlign)
        : client_(std::move(client)), capture_(std::move(capture)), blockAlign_(blockAlign) {}

    HResult read(std::span<unsigned char> free, std::size_t& written) override {
        written = 0;
        while (written < free.size()) {
            UINT32 packetFrames = 0;
            if (const HRESULT hr = capture_->GetNextPacketSize(&packetFrames); FAILED(hr)) {
                return hr;
            }
            if (packetFrames == 0) {
                return kOk;
            }
            BYTE* data = nullptr;
            UINT32 frames = 0;
            DWORD flags = 0;
            const HRESULT hr = capture_->GetBuffer(&data, &frames, &flags, nullptr, nullptr);
            if (FAILED(hr)) {
                return hr;
            }
            if (hr == AUDCLNT_S_BUFFER_EMPTY) {
                return kOk;
            }
            // A packet is released whole; what does not fit ends the capture anyway.
            const std::size_t bytes =
                std::min<std::size_t>(std::size_t{frames} * blockAlign_, free.size() - written);
            if ((flags & AUDCLNT_BUFFERFLAGS_SILENT) != 0 || data == nullptr) {
                std::memset(free.data() + written, 0, bytes);
            } else {
                std::memcpy(free.data() + written, data, bytes);
            }
            written += bytes;
            if (const HRESULT released = capture_->ReleaseBuffer(frames); FAILED(released)) {
                return released;
            }
        }
        return kOk;
    }
    void end() override { client_->Stop(); }

private:
    ComPtr<IAudioClient> client_;
    ComPtr<IAudioCaptureClient> capture_;
    std::uint32_t blockAlign_;
};

// A started playback on an endpoint's audio client, fed from a copy of the samples.
class ClientRender final : public RawRender {
public:
    ClientRender(ComPtr<IAudioClient> client, ComPtr<IAudioRenderClient> render,
                 std::uint32_t blockAlign, std::span<const unsigned char> samples,
                 std::uint32_t repetitions)
        : client_(std::move(client)),
          render_(std::move(render)),
          blockAlign_(blockAlign),
          samples_(samples.begin(), samples.end()),
          total_(std::uint64_t{samples_.size()} * repetitions) {}

    HResult prepare() {
        UINT32 frames = 0;
        if (const HRESULT hr = client_->GetBufferSize(&frames); FAILED(hr)) {
            return hr;
        }
        bufferFrames_ = frames;
        return render();
    }

    HResult render() override {
        UINT32 padding = 0;
        if (const HRESULT hr = client_->GetCurrentPadding(&padding); FAILED(hr)) {
            return hr;
        }
        if (written_ >= total_) {
            return padding == 0 ? kFalse : kOk;
        }
        const auto frames = static_cast<UINT32>(
            std::min<std::uint64_t>(bufferFrames_ - padding, (total_ - written_) / blockAlign_));
        if (frames == 0) {
            return kOk;
        }
        BYTE* data = nullptr;
        if (const HRESULT hr = render_->GetBuffer(frames, &data); FAILED(hr)) {
            return hr;
        }
        std::size_t filled = 0;
        const std::size_t bytes = std::size_t{frames} * blockAlign_;
        while (filled < bytes) {
            const std::size_t offset =
                static_cast<std::size_t>((written_ + filled) % samples_.size());
            const std::size_t chunk = std::min(bytes - filled, samples_.size() - offset);
            std::memcpy(data + filled, samples_.data() + offset, chunk);
            filled += chunk;
        }
        written_ += bytes;
        return render_->ReleaseBuffer(frames, 0);
    }
    void end() override { client_->Stop(); }

private:
    ComPtr<IAudioClient> client_;
    ComPtr<IAudioRenderClient> render_;
    std::uint32_t blockAlign_;
    std::vector<unsigned char> samples_;
    std::uint64_t total_;
    std::uint64_t written_ = 0;
    UINT32 bufferFrames_ = 0;
};

// An endpoint that streams are opened on: a new audio client for every stream.
class ClientDevice final : public RawDevice {
public:
    ClientDevice(std::shared_ptr<Context> context, std::wstring id, _AUDCLNT_SHAREMODE shareMode)
        : context_(std::move(context)), id_(std::move(id)), shareMode_(shareMode) {}

    HResult openCapture(const WAVEFORMATEX& format, std::unique_ptr<RawCapture>& stream) override {
        ComPtr<IAudioClient> client;
        if (const HRESULT hr = openClient(format, client); FAILED(hr)) {
            return hr;
        }
        ComPtr<IAudioCaptureClient> capture;
        if (const HRESULT hr = client->GetService(__uuidof(IAudioCaptureClient), capture.putVoid());
            FAILED(hr)) {
            return hr;
        }
        if (const HRESULT hr = client->Start(); FAILED(hr)) {
            return hr;
        }
        stream = std::make_unique<ClientCapture>(std::move(client), std::move(capture),
                                                 format.nBlockAlign);
        return kOk;
    }

    HResult openRender(const WAVEFORMATEX& format, std::span<const unsigned char> samples,
                       std::uint32_t repetitions, std::unique_ptr<RawRender>& stream) override {
        ComPtr<IAudioClient> client;
        if (const HRESULT hr = openClient(format, client); FAILED(hr)) {
            return hr;
        }
        ComPtr<IAudioRenderClient> render;
        if (const HRESULT hr = client->GetService(__uuidof(IAudioRenderClient), render.putVoid());
            FAILED(hr)) {
            return hr;
        }
        auto playback = std::make_unique<ClientRender>(client, std::move(render),
                                                       format.nBlockAlign, samples, repetitions);
        // Filled before it starts, so that the first samples play at once.
        if (const HRESULT hr = playback->prepare(); FAILED(hr)) {
            return hr;
        }
        if (const HRESULT hr = client->Start(); FAILED(hr)) {
            return hr;
        }
        stream = std::move(playback);
        return kOk;
    }

private:
    HRESULT openClient(const WAVEFORMATEX& format, ComPtr<IAudioClient>& client) {
        const ComPtr<IMMDevice> device = context_->device(id_);
        if (!device) {
            return kDeviceInvalidated;
        }
        if (const HRESULT hr =
                device->Activate(__uuidof(IAudioClient), CLSCTX_ALL, nullptr, client.putVoid());
            FAILED(hr)) {
            return hr;
        }
        const ::WAVEFORMATEX windows = toWindows(format);
        const bool exclusive = shareMode_ == AUDCLNT_SHAREMODE_EXCLUSIVE;
        return client->Initialize(
            exclusive ? ::AUDCLNT_SHAREMODE_EXCLUSIVE : ::AUDCLNT_SHAREMODE_SHARED, 0,
            kBufferDuration, exclusive ? kBufferDuration : 0, &windows, nullptr);
    }

    std::shared_ptr<Context> context_;
    std::wstring id_;
    _AUDCLNT_SHAREMODE shareMode_;
};

class StreamSource final : public RawStreamSource {
public:
    StreamSource(std::shared_ptr<Context> context, _AUDCLNT_SHAREMODE shareMode)
        : context_(std::move(context)), shareMode_(shareMode) {}

    std::string name() const override { return "wasapi"; }
    std::shared_ptr<RawDevice> device(const AudioDevice& endpoint) override {
        const std::wstring* id = endpointIdOf(endpoint, *context_);
        return id != nullptr ? std::make_shared<ClientDevice>(context_, *id, shareMode_) : nullptr;
    }
    std::shared_ptr<RawDevice> waveDevice(EDataFlow flow, std::uint32_t deviceId) override {
        return makeWaveDevice(flow, deviceId);
    }

private:
    std::shared_ptr<Context> context_;
    _AUDCLNT_SHAREMODE shareMode_;
};

}  // namespace

std::shared_ptr<RawStreamSource> makeStreamSource(std::shared_ptr<Context> context,
                                                  _AUDCLNT_SHAREMODE shareMode) {
    return std::make_shared<StreamSource>(std::move(context), shareMode);
}

}  // namespace audio::wasapi
