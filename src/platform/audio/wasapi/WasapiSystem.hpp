#pragma once

#include <memory>

#include "platform/audio/AudioSystem.hpp"

namespace audio::wasapi {

// The "wasapi" backend: Windows Core Audio endpoints and streams, winmm wave
// devices, the sound cards' drivers from Plug and Play. COM is initialised
// on the calling thread for the system's lifetime, which ends on that thread.
// Throws kvo::Exception, naming --audio sim, when the audio endpoints cannot
// be enumerated.
std::unique_ptr<AudioSystem> createWasapiSystem();

}  // namespace audio::wasapi
