#include "StreamThreads.hpp"

#include "common/libAudio-common/StaticPCMBuffer.hpp"
#include "platform/kvo/Stopwatch.hpp"
#include "platform/kvo/System.hpp"

namespace audio {
namespace {

// The period at which a stream's thread wakes: the packet length of a device.
constexpr std::uint32_t kPacketMs = 10;

}  // namespace

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
    {
        std::lock_guard lock(streamMutex_);
        stream_ = std::move(stream);
        ended_ = false;
    }
    buffer->position = 0;
    stopping_.store(false);
    thread_ = std::make_unique<kvo::ManagedThread>(
        name_ + " capture", [this, buffer, timeoutMs, stopRequested = std::move(stopRequested)] {
            const int code = run(*buffer, timeoutMs, stopRequested);
            endStream();
            return code;
        });
    thread_->start();
    return kOk;
}

void CaptureThread::stop() {
    if (thread_) {
        stopping_.store(true);
        endStream();
        thread_->join();
    }
}

void CaptureThread::endStream() {
    std::lock_guard lock(streamMutex_);
    if (!ended_) {
        ended_ = true;
        stream_->end();
    }
}

int CaptureThread::run(libAudio::StaticPCMBuffer& buffer, std::uint32_t timeoutMs,
                       const StopCallback& stopRequested) {
    const std::uint32_t block = buffer.format.Format.nBlockAlign;
    const std::uint64_t total = buffer.pcmStorage.size() / block * block;
    const kvo::Stopwatch watch;
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
            std::size_t written = 0;
            const HResult hr = stream_->read({buffer.pcmStorage.data() + buffer.position,
                                              static_cast<std::size_t>(total - buffer.position)},
                                             written);
            buffer.position += written;
            if (failed(hr)) {
                return hr;
            }
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
    {
        std::lock_guard lock(streamMutex_);
        stream_ = std::move(stream);
        ended_ = false;
    }
    stopping_.store(false);
    thread_ = std::make_unique<kvo::ManagedThread>(
        name_ + " playback", [this, stopRequested = std::move(stopRequested)] {
            const int code = run(stopRequested);
            endStream();
            return code;
        });
    thread_->start();
    return kOk;
}

void RenderThread::stop() {
    if (thread_) {
        stopping_.store(true);
        endStream();
        thread_->join();
    }
}

void RenderThread::endStream() {
    std::lock_guard lock(streamMutex_);
    if (!ended_) {
        ended_ = true;
        stream_->end();
    }
}

int RenderThread::run(const StopCallback& stopRequested) {
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
            const HResult hr = stream_->render();
            if (hr != kOk) {
                return failed(hr) ? hr : 0;
            }
        }
        if (stopRequested && stopRequested()) {
            return 0;
        }
    }
}

}  // namespace audio
