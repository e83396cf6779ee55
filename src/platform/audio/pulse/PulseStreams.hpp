#pragma once

#include <memory>

#include "PulseServer.hpp"
#include "platform/audio/RawStream.hpp"

// The raw streams of the PulseAudio backend. Captures ask for 10 ms
// fragments, playbacks keep a second queued on the server, so a stream thread
// that wakes late on a busy machine neither delays nor interrupts the sound.

namespace audio::pulse {

// The server's sample format for a wave format; false for one it cannot take.
bool pulseSampleFormat(const WAVEFORMATEX& format, pa_sample_spec& pulseFormat);

std::shared_ptr<RawStreamSource> makeStreamSource(std::shared_ptr<PulseServer> server);

}  // namespace audio::pulse
