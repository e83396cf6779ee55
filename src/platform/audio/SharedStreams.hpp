#pragma once

#include <memory>

#include "AudioStreams.hpp"
#include "RawStream.hpp"

// The capture, playback and wave-device objects of every backend, over the
// backend's raw streams. A backend's AudioSystem returns these from its
// create... functions.

namespace audio {

// `shareMode` is what the objects report and ask the endpoint's formats in;
// always shared for a source without exclusive mode.
std::unique_ptr<AudioCaptureEx> makeCaptureEx(std::shared_ptr<RawStreamSource> source,
                                              _AUDCLNT_SHAREMODE shareMode);
std::unique_ptr<AudioRendererEx> makeRendererEx(std::shared_ptr<RawStreamSource> source,
                                                _AUDCLNT_SHAREMODE shareMode);
std::unique_ptr<WaveIn> makeWaveIn(std::shared_ptr<RawStreamSource> source);
std::unique_ptr<WaveOut> makeWaveOut(std::shared_ptr<RawStreamSource> source);

}  // namespace audio
