#include <utility>

#include "SharedStreams.hpp"
#include "StreamThreads.hpp"
#include "common/libAudio-common/StaticPCMBuffer.hpp"

// The endpoint capture and playback objects (AudioCaptureEx, AudioRendererEx).

namespace audio {
namespace {

// The checks both objects make on initialize, before any backend is asked;
// `device` gets the backend's device of the endpoint.
HResult checkEndpoint(RawStreamSource& source, const AudioDevicePtr& endpoint,
                      const libAudio::StaticPCMBuffer* buffer, EDataFlow flow,
                      _AUDCLNT_SHAREMODE shareMode, std::shared_ptr<RawDevice>& device) {
    if (!endpoint || buffer == nullptr) {
        return kPointer;
    }
    std::shared_ptr<RawDevice> found = source.device(*endpoint);
    if (!found) {
        return kInvalidArg;
    }
    if (endpoint->dataFlow() != flow) {
        return kWrongEndpointType;
    }
    const WAVEFORMATEX& format = buffer->format.Format;
    if (!isConsistentFormat(format) || buffer->pcmStorage.size() < format.nBlockAlign) {
        return kInvalidArg;
    }
    if (const HResult hr = endpoint->isFormatSupported(format, shareMode); failed(hr)) {
        return hr;
    }
    device = std::move(found);
    return kOk;
}

// lastError() of both objects: the last failure, cleared by a success.
class ErrorRecord {
public:
    bool fail(HResult hr) {
        lastError_ = hr;
        return false;
    }
    bool succeed() {
        lastError_ = kOk;
        return true;
    }
    HResult lastError() const { return lastError_; }

private:
    HResult lastError_ = kOk;
};

class EndpointCapture final : public AudioCaptureEx {
public:
    EndpointCapture(std::shared_ptr<RawStreamSource> source, _AUDCLNT_SHAREMODE shareMode)
        : source_(std::move(source)), shareMode_(shareMode), thread_(source_->name()) {}

    bool initialize(const AudioDevicePtr& endpoint, libAudio::StaticPCMBuffer* buffer) override {
        thread_.stop();
        buffer_ = nullptr;
        if (const HResult hr =
                checkEndpoint(*source_, endpoint, buffer, eCapture, shareMode_, device_);
            failed(hr)) {
            return errors_.fail(hr);
        }
        buffer_ = buffer;
        return errors_.succeed();
    }
    bool start(StopCallback stopRequested) override {
        if (buffer_ == nullptr) {
            return errors_.fail(kNotInitialized);
        }
        if (const HResult hr =
                thread_.start(*device_, buffer_, std::move(stopRequested), timeoutMs_);
            failed(hr)) {
            return errors_.fail(hr);
        }
        return errors_.succeed();
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
    HResult lastError() override { return errors_.lastError(); }

private:
    std::shared_ptr<RawStreamSource> source_;
    _AUDCLNT_SHAREMODE shareMode_;
    CaptureThread thread_;
    std::shared_ptr<RawDevice> device_;
    libAudio::StaticPCMBuffer* buffer_ = nullptr;
    std::uint32_t timeoutMs_ = 0;
    ErrorRecord errors_;
};

class EndpointRenderer final : public AudioRendererEx {
public:
    EndpointRenderer(std::shared_ptr<RawStreamSource> source, _AUDCLNT_SHAREMODE shareMode)
        : source_(std::move(source)), shareMode_(shareMode), thread_(source_->name()) {}

    bool initialize(const AudioDevicePtr& endpoint, libAudio::StaticPCMBuffer* buffer) override {
        thread_.stop();
        buffer_ = nullptr;
        formats_.clear();
        if (const HResult hr =
                checkEndpoint(*source_, endpoint, buffer, eRender, shareMode_, device_);
            failed(hr)) {
            return errors_.fail(hr);
        }
        endpoint->compatibleFormats(formats_, shareMode_);
        buffer_ = buffer;
        return errors_.succeed();
    }
    bool play(std::uint32_t repetitions, StopCallback stopRequested) override {
        if (buffer_ == nullptr) {
            return errors_.fail(kNotInitialized);
        }
        if (repetitions == 0) {
            return errors_.fail(kInvalidArg);
        }
        if (const HResult hr =
                thread_.start(*device_, buffer_->format.Format,
                              {buffer_->pcmStorage.data(), buffer_->pcmStorage.size()}, repetitions,
                              std::move(stopRequested));
            failed(hr)) {
            return errors_.fail(hr);
        }
        return errors_.succeed();
    }
    bool isStillPlaying() override { return thread_.running(); }
    bool stop() override {
        thread_.stop();
        return true;
    }
    const kvo::Array<tWAVEFORMATEX>& compatibleFormat() override { return formats_; }
    _AUDCLNT_SHAREMODE shareMode() override { return shareMode_; }
    HResult lastError() override { return errors_.lastError(); }

private:
    std::shared_ptr<RawStreamSource> source_;
    _AUDCLNT_SHAREMODE shareMode_;
    RenderThread thread_;
    std::shared_ptr<RawDevice> device_;
    libAudio::StaticPCMBuffer* buffer_ = nullptr;
    kvo::Array<tWAVEFORMATEX> formats_;
    ErrorRecord errors_;
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
