#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "AudioDevice.hpp"
#include "AudioTypes.hpp"
#include "WaveFormat.hpp"
#include "platform/kvo/Array.hpp"

namespace libAudio {
struct StaticPCMBuffer;
}

// Capture and playback objects. Each runs its stream on a thread of its own
// that takes part in the process clock; the caller polls the object. The
// buffer handed to `initialize`/`open` stays the caller's and must outlive the
// stream; the object reads its format from `buffer->format.Format`.

namespace audio {

// Asked by the stream's thread between packets: true ends the stream early,
// as a normal end (exit code 0).
using StopCallback = std::function<bool()>;

// Exit code of a capture that ran into its timeout before its buffer was full.
inline constexpr HResult kCaptureTimedOut = static_cast<HResult>(0x800705B4u);  // ERROR_TIMEOUT

// Common interface of the endpoint capture (`AudioCaptureEx`) and the
// wave-device capture (`AudioCaptureLegacyWave`).
class AudioCapture {
public:
    virtual ~AudioCapture() = default;

    // Prepares a capture from `endpoint` into `buffer` in the buffer's format.
    // May be called again to switch endpoint or buffer; a running capture is
    // stopped first. False for a render endpoint, an inactive endpoint, a
    // format the endpoint refuses in this object's share mode, or a buffer
    // without storage; lastError() tells which.
    virtual bool initialize(const AudioDevicePtr& endpoint, libAudio::StaticPCMBuffer* buffer) = 0;
    // Records from the start of the buffer: `buffer->position` counts the bytes
    // captured. The capture ends by itself when the buffer is full. False when
    // the capture cannot start (not initialised, already running, endpoint gone,
    // the device refuses).
    virtual bool start(StopCallback stopRequested) = 0;
    virtual bool isStillRecording() = 0;
    // Drops what the device still buffers and rewinds the object for another
    // start. Keeps the exit code of the last capture.
    virtual void reset() = 0;
    // Ends the capture and its thread; true when nothing failed. Safe when idle.
    virtual bool stop() = 0;
    // Hard limit for one capture in ms (0 = none): a capture still running
    // after it ends with kCaptureTimedOut.
    virtual void setTimeout(std::uint32_t milliseconds) = 0;
    // 0 when the last capture ended normally (buffer full, stop(), stop
    // callback); otherwise the HResult that ended it (endpoint invalidated,
    // device error, timeout). Valid once the capture has ended.
    virtual int threadExitCode() = 0;
    virtual _AUDCLNT_SHAREMODE shareMode() = 0;

    // The HResult of the last failed operation (kOk when none failed).
    virtual HResult lastError() = 0;
};

// Common interface of the endpoint renderer (`AudioRendererEx`) and the
// wave-device renderer (`AudioRendererLegacyWave`).
class AudioRenderer {
public:
    virtual ~AudioRenderer() = default;

    // Prepares playback of `buffer` on `endpoint` in the buffer's format; same
    // refusals as AudioCapture::initialize.
    virtual bool initialize(const AudioDevicePtr& endpoint, libAudio::StaticPCMBuffer* buffer) = 0;
    // Plays the whole buffer `repetitions` times back to back (0 is refused).
    // The buffer is read when play is called.
    virtual bool play(std::uint32_t repetitions, StopCallback stopRequested) = 0;
    virtual bool isStillPlaying() = 0;
    virtual bool stop() = 0;
    // The formats the endpoint accepts in this object's share mode, as read by
    // the last initialize (empty before).
    virtual const kvo::Array<tWAVEFORMATEX>& compatibleFormat() = 0;
    virtual _AUDCLNT_SHAREMODE shareMode() = 0;

    virtual HResult lastError() = 0;
};

// Capture through the endpoint's audio client (IAudioClient + IAudioCaptureClient).
class AudioCaptureEx : public AudioCapture {};
// Playback through the endpoint's audio client (IAudioClient + IAudioRenderClient).
class AudioRendererEx : public AudioRenderer {};
// Capture through the wave-in device of the endpoint (always shared mode).
class AudioCaptureLegacyWave : public AudioCapture {};
// Playback through the wave-out device of the endpoint (always shared mode).
class AudioRendererLegacyWave : public AudioRenderer {};

// winmm's device number for "the default device of this direction".
inline constexpr std::uint32_t WAVE_MAPPER_ID = 0xFFFFFFFFu;

// Wave-in recording (waveInOpen...): fills the buffer once, then stops.
class WaveIn {
public:
    virtual ~WaveIn() = default;
    // Opens wave-in device `deviceId` (or WAVE_MAPPER_ID) for the buffer's
    // format; false when the device does not exist or refuses the format.
    virtual bool open(std::uint32_t deviceId, libAudio::StaticPCMBuffer* buffer) = 0;
    // Records into the buffer from its start; false when not open, already
    // recording, or the device refuses.
    virtual bool start() = 0;
    virtual bool stillRecording() = 0;
    // Ends the recording; `buffer->position` keeps the bytes recorded.
    virtual bool stop() = 0;
    virtual void close() = 0;
    // 0, or the HResult of the last failure: a refused open or start, or what
    // ended the last recording early (device removed). A successful start
    // clears it.
    virtual int errorCode() = 0;
};

// Wave-out playback (waveOutOpen...).
class WaveOut {
public:
    virtual ~WaveOut() = default;
    // Opens wave-out device `deviceId` (or WAVE_MAPPER_ID) for the track's
    // format; the track's samples are copied.
    virtual bool open(std::uint32_t deviceId, const libAudio::StaticPCMBuffer& track) = 0;
    // Plays the track `loops` times (0 is refused).
    virtual bool start(std::uint32_t loops = 1) = 0;
    virtual bool stillPlaying() = 0;
    virtual bool stop() = 0;
    virtual void close() = 0;
    // As WaveIn::errorCode.
    virtual int errorCode() = 0;
};

}  // namespace audio
