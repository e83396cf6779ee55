#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "AudioStreams.hpp"
#include "RawStream.hpp"
#include "platform/kvo/ManagedThread.hpp"

// The threads that run a backend's raw streams for the capture, playback and
// wave-device objects: one wake-up every 10 ms of clock time, the stop
// callback between packets, and the exit code of the stream's end.

namespace audio {

// A capture into a caller's buffer, from its start; `buffer->position` counts
// the bytes captured. Ends when the buffer is full, on stop(), the stop
// callback or the timeout (kCaptureTimedOut), or with the raw stream's failure.
class CaptureThread {
public:
    explicit CaptureThread(std::string name) : name_(std::move(name)) {}
    ~CaptureThread() { stop(); }
    CaptureThread(const CaptureThread&) = delete;
    CaptureThread& operator=(const CaptureThread&) = delete;

    HResult start(RawDevice& device, libAudio::StaticPCMBuffer* buffer, StopCallback stopRequested,
                  std::uint32_t timeoutMs);
    bool running() const { return thread_ && thread_->isRunning(); }
    void stop();
    int exitCode() const { return running() || !thread_ ? 0 : thread_->exitCode(); }

private:
    int run(libAudio::StaticPCMBuffer& buffer, std::uint32_t timeoutMs,
            const StopCallback& stopRequested);
    void endStream();

    std::string name_;
    std::mutex streamMutex_;  // read() and end() never overlap
    std::unique_ptr<RawCapture> stream_;
    bool ended_ = true;
    std::atomic<bool> stopping_{false};
    std::unique_ptr<kvo::ManagedThread> thread_;
};

// A playback of samples, repeated back to back. Ends when everything has
// been played, on stop() or the stop callback, or with the raw stream's failure.
class RenderThread {
public:
    explicit RenderThread(std::string name) : name_(std::move(name)) {}
    ~RenderThread() { stop(); }
    RenderThread(const RenderThread&) = delete;
    RenderThread& operator=(const RenderThread&) = delete;

    HResult start(RawDevice& device, const WAVEFORMATEX& format,
                  std::span<const unsigned char> samples, std::uint32_t repetitions,
                  StopCallback stopRequested);
    bool running() const { return thread_ && thread_->isRunning(); }
    void stop();
    int exitCode() const { return running() || !thread_ ? 0 : thread_->exitCode(); }

private:
    int run(const StopCallback& stopRequested);
    void endStream();

    std::string name_;
    std::mutex streamMutex_;  // render() and end() never overlap
    std::unique_ptr<RawRender> stream_;
    bool ended_ = true;
    std::atomic<bool> stopping_{false};
    std::unique_ptr<kvo::ManagedThread> thread_;
};

}  // namespace audio
