#pragma once

#include <memory>

#include "World.hpp"
#include "platform/audio/RawStream.hpp"

// The raw streams of the simulated PC. A capture computes, at each wake-up,
// the audio of the clock time that passed, so a capture of N ms takes N ms
// of (virtual or real) time; a playback hands its samples to the World at
// once and only watches for its end.

namespace audio::sim {

std::shared_ptr<RawStreamSource> makeStreamSource(std::shared_ptr<World> world);

}  // namespace audio::sim
