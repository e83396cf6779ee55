#include "StreamThreads.hpp"

#include "common/libAudio-common/StaticPCMBuffer.hpp"
#include "platform/kvo/Stopwatch.hpp"
#include "platform/kvo/System.hpp"

namespace audio {
namespace {

// The period at which a stream's thread wakes: the packet length of a device.
constexpr std::uint32_t kPacketMs = 10;

}  // namespace

template <typename Stream>
int StreamThread<Stream>::loop(const Step& step, const StopCallback& stopRequested,
                               const Check& overdue) {
    while (true) {
        kvo::System::mssleep(kPacketMs);
        if (stopping_.load()) {
            return 0;
        }
        {
            std::lock_guard lock(streamMutex_);
            if (ended_) {
                return 0;
            }
            if (const std::optional<int> code = step(*stream_)) {
                return *code;
            }
        }
        if (stopRequested && stopRequested()) {
            return 0;
        }
        if (overdue) {
            if (const std::optional<int> code = overdue()) {
                return *code;
            }
        }
    }
}

template class StreamThread<RawCapture>;
template class StreamThread<RawRender>;

HResult CaptureThread::start(RawDevice& device, libAudio::StaticPCMBuffer* buffer,
                             StopCallback stopRequested, std::uint32_t timeoutMs) {
    if (running()) {
        return kNotStopped;
    }
    stop();
    std::unique_ptr<RawCapture> stream;
    if (const HResult hr = device.openCapture(buffer->format.Format, stream); failed(hr)) {
        return hr;
    }
    buffer->position = 0;
    launch(std::move(stream), "capture",
           [this, buffer, timeoutMs, stopRequested = std::move(stopRequested)] {
               const std::uint32_t block = buffer->format.Format.nBlockAlign;
               const std::uint64_t total = buffer->pcmStorage.size() / block * block;
               const kvo::Stopwatch watch;
               const Step read = [buffer, total](RawCapture& stream) -> std::optional<int> {
                   std::size_t written = 0;
                   const HResult hr =
                       stream.read({buffer->pcmStorage.data() + buffer->position,
                                    static_cast<std::size_t>(total - buffer->position)},
                                   written);
                   buffer->position += written;
                   if (failed(hr)) {
                       return hr;
                   }
                   if (buffer->position >= total) {
                       return 0;
                   }
                   return std::nullopt;
               };
               const Check timedOut = [&watch, timeoutMs]() -> std::optional<int> {
                   if (timeoutMs != 0 && watch.elapsedMs() >= timeoutMs) {
                       return kCaptureTimedOut;
                   }
                   return std::nullopt;
               };
               return loop(read, stopRequested, timedOut);
           });
    return kOk;
}

HResult RenderThread::start(RawDevice& device, const WAVEFORMATEX& format,
                            std::span<const unsigned char> samples, std::uint32_t repetitions,
                            StopCallback stopRequested) {
    if (running()) {
        return kNotStopped;
    }
    stop();
    const std::size_t whole = samples.size() / format.nBlockAlign * format.nBlockAlign;
    std::unique_ptr<RawRender> stream;
    if (const HResult hr = device.openRender(format, samples.first(whole), repetitions, stream);
        failed(hr)) {
        return hr;
    }
    launch(std::move(stream), "playback", [this, stopRequested = std::move(stopRequested)] {
        const Step render = [](RawRender& stream) -> std::optional<int> {
            const HResult hr = stream.render();
            if (hr != kOk) {
                return failed(hr) ? hr : 0;
            }
            return std::nullopt;
        };
        return loop(render, stopRequested);
    });
    return kOk;
}

}  // namespace audio
