#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

#include "AudioStreams.hpp"
#include "RawStream.hpp"
#include "platform/kvo/ManagedThread.hpp"

// The threads that run a backend's raw streams for the capture, playback and
// wave-device objects: one wake-up every 10 ms of clock time, the stop
// callback between packets, and the exit code of the stream's end.

namespace audio {

// One raw stream (RawCapture or RawRender) on a thread of its own, ended
// exactly once: by stop() on the caller's thread or by the thread itself.
template <typename Stream>
class StreamThread {
public:
    explicit StreamThread(std::string name) : name_(std::move(name)) {}
    ~StreamThread() { stop(); }
    StreamThread(const StreamThread&) = delete;
    StreamThread& operator=(const StreamThread&) = delete;

    bool running() const { return thread_ && thread_->isRunning(); }
    void stop() {
        if (thread_) {
            stopping_.store(true);
            endStream();
            thread_->join();
        }
    }
    int exitCode() const { return running() || !thread_ ? 0 : thread_->exitCode(); }

protected:
    // One packet's work with the stream: nothing to go on, or the exit code.
    using Step = std::function<std::optional<int>(Stream&)>;
    using Check = std::function<std::optional<int>()>;

    // Starts the thread "<name> <kind>" running `body`, then ending the stream.
    void launch(std::unique_ptr<Stream> stream, const char* kind, std::function<int()> body) {
        {
            std::lock_guard lock(streamMutex_);
            stream_ = std::move(stream);
            ended_ = false;
        }
        stopping_.store(false);
        thread_ = std::make_unique<kvo::ManagedThread>(name_ + " " + kind,
                                                       [this, body = std::move(body)] {
                                                           const int code = body();
                                                           endStream();
                                                           return code;
                                                       });
        thread_->start();
    }

    // The packet loop of a body: sleeps a packet, does `step` unless the
    // stream has ended, then asks the stop callback and `overdue`.
    int loop(const Step& step, const StopCallback& stopRequested, const Check& overdue = {});

private:
    void endStream() {
        std::lock_guard lock(streamMutex_);
        if (!ended_) {
            ended_ = true;
            stream_->end();
        }
    }

    std::string name_;
    std::mutex streamMutex_;  // the stream's step and its end never overlap
    std::unique_ptr<Stream> stream_;
    bool ended_ = true;
    std::atomic<bool> stopping_{false};
    std::unique_ptr<kvo::ManagedThread> thread_;
};

extern template class StreamThread<RawCapture>;
extern template class StreamThread<RawRender>;

// A capture into a caller's buffer, from its start; `buffer->position` counts
// the bytes captured. Ends when the buffer is full, on stop(), the stop
// callback or the timeout (kCaptureTimedOut), or with the raw stream's failure.
class CaptureThread : public StreamThread<RawCapture> {
public:
    using StreamThread::StreamThread;

    HResult start(RawDevice& device, libAudio::StaticPCMBuffer* buffer, StopCallback stopRequested,
                  std::uint32_t timeoutMs);
};

// A playback of samples, repeated back to back. Ends when everything has
// been played, on stop() or the stop callback, or with the raw stream's failure.
class RenderThread : public StreamThread<RawRender> {
public:
    using StreamThread::StreamThread;

    HResult start(RawDevice& device, const WAVEFORMATEX& format,
                  std::span<const unsigned char> samples, std::uint32_t repetitions,
                  StopCallback stopRequested);
};

}  // namespace audio
