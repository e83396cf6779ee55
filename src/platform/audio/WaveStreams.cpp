#include <utility>
#include <vector>

#include "SharedStreams.hpp"
#include "StreamThreads.hpp"
#include "common/libAudio-common/StaticPCMBuffer.hpp"
#include "platform/kvo/Logger.hpp"

// WaveIn and WaveOut of every backend: a wave device is the stream of the
// endpoint its number names.

namespace audio {
namespace {

// Said at error priority: it is the reason a test that needed the device could not run.
void logMissingWaveDevice(EDataFlow flow, std::uint32_t deviceId) {
    KVO_LOG(kvo::Logger::get("audio"), kvo::kLogError, "There is no {} ({}).",
            flow == eRender ? "speaker to play on" : "microphone to record from",
            deviceId == WAVE_MAPPER_ID ? std::string("no default device")
                                       : fmt::format("no wave device {}", deviceId));
}

class StreamWaveIn final : public WaveIn {
public:
    explicit StreamWaveIn(std::shared_ptr<RawStreamSource> source)
        : source_(std::move(source)), thread_(source_->name()) {}

    bool open(std::uint32_t deviceId, libAudio::StaticPCMBuffer* buffer) override {
        close();
        std::shared_ptr<RawDevice> device = source_->waveDevice(eCapture, deviceId);
        if (!device) {
            logMissingWaveDevice(eCapture, deviceId);
            return fail(kNotFound);
        }
        if (buffer == nullptr) {
            return fail(kPointer);
        }
        if (!isWaveFormat(buffer->format.Format)) {
            return fail(kUnsupportedFormat);
        }
        if (buffer->pcmStorage.size() < buffer->format.Format.nBlockAlign) {
            return fail(kInvalidArg);
        }
        device_ = std::move(device);
        buffer_ = buffer;
        error_ = 0;
        return true;
    }
    bool start() override {
        if (buffer_ == nullptr) {
            return fail(kNotInitialized);
        }
        if (const HResult hr = thread_.start(*device_, buffer_, {}, 0); failed(hr)) {
            return fail(hr);
        }
        error_ = 0;
        return true;
    }
    bool stillRecording() override { return thread_.running(); }
    bool stop() override {
        thread_.stop();
        return buffer_ != nullptr;
    }
    void close() override {
        thread_.stop();
        buffer_ = nullptr;
    }
    int errorCode() override { return error_ != 0 ? error_ : thread_.exitCode(); }

private:
    bool fail(HResult hr) {
        error_ = hr;
        return false;
    }

    std::shared_ptr<RawStreamSource> source_;
    CaptureThread thread_;
    std::shared_ptr<RawDevice> device_;
    libAudio::StaticPCMBuffer* buffer_ = nullptr;
    int error_ = 0;
};

class StreamWaveOut final : public WaveOut {
public:
    explicit StreamWaveOut(std::shared_ptr<RawStreamSource> source)
        : source_(std::move(source)), thread_(source_->name()) {}

    bool open(std::uint32_t deviceId, const libAudio::StaticPCMBuffer& track) override {
        close();
        std::shared_ptr<RawDevice> device = source_->waveDevice(eRender, deviceId);
        if (!device) {
            logMissingWaveDevice(eRender, deviceId);
            return fail(kNotFound);
        }
        if (!isWaveFormat(track.format.Format)) {
            return fail(kUnsupportedFormat);
        }
        if (track.pcmStorage.size() < track.format.Format.nBlockAlign) {
            return fail(kInvalidArg);
        }
        device_ = std::move(device);
        format_ = track.format.Format;
        samples_.assign(track.pcmStorage.data(), track.pcmStorage.data() + track.pcmStorage.size());
        opened_ = true;
        error_ = 0;
        return true;
    }
    bool start(std::uint32_t loops) override {
        if (!opened_) {
            return fail(kNotInitialized);
        }
        if (loops == 0) {
            return fail(kInvalidArg);
        }
        if (const HResult hr = thread_.start(*device_, format_, samples_, loops, {}); failed(hr)) {
            return fail(hr);
        }
        error_ = 0;
        return true;
    }
    bool stillPlaying() override { return thread_.running(); }
    bool stop() override {
        thread_.stop();
        return opened_;
    }
    void close() override {
        thread_.stop();
        opened_ = false;
    }
    int errorCode() override { return error_ != 0 ? error_ : thread_.exitCode(); }

private:
    bool fail(HResult hr) {
        error_ = hr;
        return false;
    }

    std::shared_ptr<RawStreamSource> source_;
    RenderThread thread_;
    std::shared_ptr<RawDevice> device_;
    WAVEFORMATEX format_;
    std::vector<unsigned char> samples_;
    bool opened_ = false;
    int error_ = 0;
};

}  // namespace

std::unique_ptr<WaveIn> makeWaveIn(std::shared_ptr<RawStreamSource> source) {
    return std::make_unique<StreamWaveIn>(std::move(source));
}

std::unique_ptr<WaveOut> makeWaveOut(std::shared_ptr<RawStreamSource> source) {
    return std::make_unique<StreamWaveOut>(std::move(source));
}

}  // namespace audio
