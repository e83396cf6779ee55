#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "AudioDevice.hpp"
#include "AudioStreams.hpp"
#include "AudioTypes.hpp"
#include "WaveFormat.hpp"

// What a backend implements so that the capture, playback and wave-device
// objects of the layer (SharedStreams.hpp) run on its devices.
//
// How a backend implements it:
// - `RawStreamSource`, one per audio system, finds the backend's device behind
//   an endpoint (`device`; null for an endpoint of another system or backend)
//   and behind a wave device number (`waveDevice`; WAVE_MAPPER_ID is the
//   default device of the direction, null when there is none).
// - `RawDevice::openCapture` / `openRender` open and start one stream in the
//   given format and return kOk, or the reason they cannot (kDeviceInUse,
//   kDeviceInvalidated, kUnsupportedFormat, kFail...). The shared code has
//   already checked the endpoint, its direction, the buffer and the format.
// - The shared code then runs the stream on a thread of its own: it sleeps
//   10 ms of clock time (kvo::System::mssleep), calls `read` / `render` once,
//   asks the caller's stop callback, and repeats. A raw stream therefore never
//   blocks, never makes a thread, and needs no lock of its own against the
//   shared code: `read`/`render` and `end` are never called at the same time.
// - `end` is called exactly once, when the stream stops for whatever reason:
//   on the caller's thread from stop(), or on the stream's thread when the
//   stream ended by itself. Nothing is called after it; release the device's
//   stream there. The destructor runs after the stream's thread has ended.
// - Failures are HResults (AudioTypes.hpp); a Windows backend passes its own
//   HRESULTs through. A device that went away is kDeviceInvalidated.
//
// Parameter checks, lastError() bookkeeping, timeouts, the stop callback,
// repetitions of wave-out loops and exit codes are the shared code's.

namespace audio {

// One capture stream, open and started.
class RawCapture {
public:
    virtual ~RawCapture() = default;
    // Copies what the device captured since the last call into the start of
    // `free` (the unused rest of the caller's buffer) and sets `written` to
    // the bytes copied (whole frames). kOk while the capture goes on; a
    // failure ends it with that exit code, after the `written` bytes are kept.
    virtual HResult read(std::span<unsigned char> free, std::size_t& written) = 0;
    virtual void end() {}
};

// One playback stream, open and started with its samples.
class RawRender {
public:
    virtual ~RawRender() = default;
    // Keeps the device fed. kOk while playing, kFalse once everything has
    // been played out, a failure when the stream broke.
    virtual HResult render() = 0;
    virtual void end() {}
};

// A device of the backend that streams are opened on.
class RawDevice {
public:
    virtual ~RawDevice() = default;
    virtual HResult openCapture(const WAVEFORMATEX& format,
                                std::unique_ptr<RawCapture>& stream) = 0;
    // Plays `samples` (whole frames of `format`) `repetitions` times back to
    // back; the samples are copied or consumed before it returns.
    virtual HResult openRender(const WAVEFORMATEX& format, std::span<const unsigned char> samples,
                               std::uint32_t repetitions, std::unique_ptr<RawRender>& stream) = 0;
};

// The streams side of one audio system.
class RawStreamSource {
public:
    virtual ~RawStreamSource() = default;
    // Names the stream threads ("sim capture", "pulse playback").
    virtual std::string name() const = 0;
    // False for a backend without exclusive mode: its stream objects are all shared.
    virtual bool hasExclusiveMode() const { return true; }
    // The device of `endpoint` when it is an endpoint of this system.
    virtual std::shared_ptr<RawDevice> device(const AudioDevice& endpoint) = 0;
    // Wave device `deviceId` of a direction, WAVE_MAPPER_ID for the default one.
    virtual std::shared_ptr<RawDevice> waveDevice(EDataFlow flow, std::uint32_t deviceId) = 0;
};

}  // namespace audio
