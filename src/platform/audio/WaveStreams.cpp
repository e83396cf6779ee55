#include <utility>
#include <vector>

#include "SharedStreams.hpp"
#include "StreamObject.hpp"
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

class WaveStream : protected StreamObject {
protected:
    using StreamObject::StreamObject;

    // Finds wave device `deviceId` of `flow` and checks that `buffer` suits a
    // wave device; false with the reason recorded.
    bool openDevice(EDataFlow flow, std::uint32_t deviceId,
                    const libAudio::StaticPCMBuffer* buffer) {
        std::shared_ptr<RawDevice> device = source_->waveDevice(flow, deviceId);
        if (!device) {
            logMissingWaveDevice(flow, deviceId);
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
        return succeed();
    }
    // A failure to open or start, else how the last stream ended.
    int errorOr(int exitCode) const { return error_ != 0 ? error_ : exitCode; }
};

class StreamWaveIn final : public WaveIn, private WaveStream {
public:
    explicit StreamWaveIn(std::shared_ptr<RawStreamSource> source)
        : WaveStream(std::move(source)), thread_(source_->name()) {}

    bool open(std::uint32_t deviceId, libAudio::StaticPCMBuffer* buffer) override {
        close();
        if (!openDevice(eCapture, deviceId, buffer)) {
            return false;
        }
        buffer_ = buffer;
        return true;
    }
    bool start() override {
        if (buffer_ == nullptr) {
            return fail(kNotInitialized);
        }
        return outcome(thread_.start(*device_, buffer_, {}, 0));
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
    int errorCode() override { return errorOr(thread_.exitCode()); }

private:
    CaptureThread thread_;
    libAudio::StaticPCMBuffer* buffer_ = nullptr;
};

class StreamWaveOut final : public WaveOut, private WaveStream {
public:
    explicit StreamWaveOut(std::shared_ptr<RawStreamSource> source)
        : WaveStream(std::move(source)), thread_(source_->name()) {}

    bool open(std::uint32_t deviceId, const libAudio::StaticPCMBuffer& track) override {
        close();
        if (!openDevice(eRender, deviceId, &track)) {
            return false;
        }
        format_ = track.format.Format;
        samples_.assign(track.pcmStorage.data(), track.pcmStorage.data() + track.pcmStorage.size());
        opened_ = true;
        return true;
    }
    bool start(std::uint32_t loops) override {
        if (!opened_) {
            return fail(kNotInitialized);
        }
        if (loops == 0) {
            return fail(kInvalidArg);
        }
        return outcome(thread_.start(*device_, format_, samples_, loops, {}));
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
    int errorCode() override { return errorOr(thread_.exitCode()); }

private:
    RenderThread thread_;
    WAVEFORMATEX format_;
    std::vector<unsigned char> samples_;
    bool opened_ = false;
};

}  // namespace

std::unique_ptr<WaveIn> makeWaveIn(std::shared_ptr<RawStreamSource> source) {
    return std::make_unique<StreamWaveIn>(std::move(source));
}

std::unique_ptr<WaveOut> makeWaveOut(std::shared_ptr<RawStreamSource> source) {
    return std::make_unique<StreamWaveOut>(std::move(source));
}

}  // namespace audio
