#pragma once

#include <memory>

#include "PulseServer.hpp"
#include "platform/audio/AudioStreams.hpp"

// Capture and playback objects on PulseAudio streams. Each stream is served
// by a thread of its own that wakes every 10 ms, moves the audio between the
// caller's buffer and the server, and asks the stop callback. Captures ask for
// 10 ms fragments, playbacks keep a second queued on the server, so a thread
// that wakes late on a busy machine neither delays nor interrupts the sound.

namespace audio::pulse {

// The server's sample format for a wave format; false for one it cannot take.
bool pulseSampleFormat(const WAVEFORMATEX& format, pa_sample_spec& pulseFormat);

std::unique_ptr<AudioCaptureEx> makeCaptureEx(std::shared_ptr<PulseServer> server);
std::unique_ptr<AudioRendererEx> makeRendererEx(std::shared_ptr<PulseServer> server);
std::unique_ptr<WaveIn> makeWaveIn(std::shared_ptr<PulseServer> server);
std::unique_ptr<WaveOut> makeWaveOut(std::shared_ptr<PulseServer> server);

}  // namespace audio::pulse
