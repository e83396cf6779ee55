#pragma once

#include <memory>

#include "platform/audio/AudioSystem.hpp"

namespace audio::pulse {

// The "pulse" backend: the sinks and sources of a PulseAudio server, or of
// PipeWire through its PulseAudio interface. Connects to the server libpulse
// finds (PULSE_SERVER honoured); throws ConnectionError, a kvo::Exception
// whose one line names --audio sim, when none answers. Its objects keep the
// connection alive and stay usable after the system itself is destroyed.
std::unique_ptr<AudioSystem> createPulseSystem();

}  // namespace audio::pulse
