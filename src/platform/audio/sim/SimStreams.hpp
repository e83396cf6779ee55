#pragma once

#include <memory>

#include "World.hpp"
#include "platform/audio/AudioStreams.hpp"

// Capture and playback objects of the simulated PC. A capture runs a thread
// that wakes every 10 ms of clock time and writes the audio of the time that
// passed, so a capture of N ms takes N ms of (virtual or real) time.

namespace audio::sim {

std::unique_ptr<AudioCaptureEx> makeCaptureEx(std::shared_ptr<World> world,
                                              _AUDCLNT_SHAREMODE shareMode);
std::unique_ptr<AudioRendererEx> makeRendererEx(std::shared_ptr<World> world,
                                                _AUDCLNT_SHAREMODE shareMode);
std::unique_ptr<WaveIn> makeWaveIn(std::shared_ptr<World> world);
std::unique_ptr<WaveOut> makeWaveOut(std::shared_ptr<World> world);

}  // namespace audio::sim
