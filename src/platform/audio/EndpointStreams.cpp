#include <utility>

#include "SharedStreams.hpp"
#include "StreamObject.hpp"
#include "StreamThreads.hpp"
#include "common/libAudio-common/StaticPCMBuffer.hpp"

// The endpoint capture and playback objects (AudioCaptureEx, AudioRendererEx).

namespace audio {
namespace {

// What the capture and playback objects share: their share mode, the
// caller's buffer, and the checks both make on initialize before any backend
// is asked.
class EndpointStream : protected StreamObject {
protected:
    EndpointStream(std::shared_ptr<RawStreamSource> source, _AUDCLNT_SHAREMODE shareMode)
        : StreamObject(std::move(source)), shareMode_(shareMode) {}

    // Takes `buffer` for `endpoint`, a `flow` endpoint of this system; false
    // with the reason recorded, and no buffer then.
    bool attach(const AudioDevicePtr& endpoint, libAudio::StaticPCMBuffer* buffer, EDataFlow flow) {
        buffer_ = nullptr;
        if (!endpoint || buffer == nullptr) {
            return fail(kPointer);
        }
        std::shared_ptr<RawDevice> found = source_->device(*endpoint);
        if (!found) {
            return fail(kInvalidArg);
        }
        if (endpoint->dataFlow() != flow) {
            return fail(kWrongEndpointType);
        }
        const WAVEFORMATEX& format = buffer->format.Format;
        if (!isConsistentFormat(format) || buffer->pcmStorage.size() < format.nBlockAlign) {
            return fail(kInvalidArg);
        }
        if (const HResult hr = endpoint->isFormatSupported(format, shareMode_); failed(hr)) {
            return fail(hr);
        }
        device_ = std::move(found);
        buffer_ = buffer;
        return succeed();
    }

    _AUDCLNT_SHAREMODE shareMode_;
    libAudio::StaticPCMBuffer* buffer_ = nullptr;
};

class EndpointCapture final : public AudioCaptureEx, private EndpointStream {
public:
    EndpointCapture(std::shared_ptr<RawStreamSource> source, _AUDCLNT_SHAREMODE shareMode)
        : EndpointStream(std::move(source), shareMode), thread_(source_->name()) {}

    bool initialize(const AudioDevicePtr& endpoint, libAudio::StaticPCMBuffer* buffer) override {
        thread_.stop();
        return attach(endpoint, buffer, eCapture);
    }
    bool start(StopCallback stopRequested) override {
        if (buffer_ == nullptr) {
            return fail(kNotInitialized);
        }
        return outcome(thread_.start(*device_, buffer_, std::move(stopRequested), timeoutMs_));
    }
    bool isStillRecording() override { return thread_.running(); }
    void reset() override { thread_.stop(); }
    bool stop() override {
        thread_.stop();
        return true;
    }
    void setTimeout(std::uint32_t milliseconds) override { timeoutMs_ = milliseconds; }
    int threadExitCode() override { return thread_.exitCode(); }
    _AUDCLNT_SHAREMODE shareMode() override { return shareMode_; }
    HResult lastError() override { return error_; }

private:
    CaptureThread thread_;
    std::uint32_t timeoutMs_ = 0;
};

class EndpointRenderer final : public AudioRendererEx, private EndpointStream {
public:
    EndpointRenderer(std::shared_ptr<RawStreamSource> source, _AUDCLNT_SHAREMODE shareMode)
        : EndpointStream(std::move(source), shareMode), thread_(source_->name()) {}

    bool initialize(const AudioDevicePtr& endpoint, libAudio::StaticPCMBuffer* buffer) override {
        thread_.stop();
        formats_.clear();
        if (!attach(endpoint, buffer, eRender)) {
            return false;
        }
        endpoint->compatibleFormats(formats_, shareMode_);
        return true;
    }
    bool play(std::uint32_t repetitions, StopCallback stopRequested) override {
        if (buffer_ == nullptr) {
            return fail(kNotInitialized);
        }
        if (repetitions == 0) {
            return fail(kInvalidArg);
        }
        return outcome(thread_.start(*device_, buffer_->format.Format,
                                     {buffer_->pcmStorage.data(), buffer_->pcmStorage.size()},
                                     repetitions, std::move(stopRequested)));
    }
    bool isStillPlaying() override { return thread_.running(); }
    bool stop() override {
        thread_.stop();
        return true;
    }
    const kvo::Array<tWAVEFORMATEX>& compatibleFormat() override { return formats_; }
    _AUDCLNT_SHAREMODE shareMode() override { return shareMode_; }
    HResult lastError() override { return error_; }

private:
    RenderThread thread_;
    kvo::Array<tWAVEFORMATEX> formats_;
};

}  // namespace

std::unique_ptr<AudioCaptureEx> makeCaptureEx(std::shared_ptr<RawStreamSource> source,
                                              _AUDCLNT_SHAREMODE shareMode) {
    const _AUDCLNT_SHAREMODE mode =
        source->hasExclusiveMode() ? shareMode : AUDCLNT_SHAREMODE_SHARED;
    return std::make_unique<EndpointCapture>(std::move(source), mode);
}

std::unique_ptr<AudioRendererEx> makeRendererEx(std::shared_ptr<RawStreamSource> source,
                                                _AUDCLNT_SHAREMODE shareMode) {
    const _AUDCLNT_SHAREMODE mode =
        source->hasExclusiveMode() ? shareMode : AUDCLNT_SHAREMODE_SHARED;
    return std::make_unique<EndpointRenderer>(std::move(source), mode);
}

}  // namespace audio
