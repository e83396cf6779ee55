#pragma once

#include <memory>

#include "Context.hpp"
#include "platform/audio/RawStream.hpp"

namespace audio::wasapi {

// Streams on the endpoints' audio clients (IAudioClient in `shareMode`) and
// on the winmm wave devices, for the layer's shared stream objects.
std::shared_ptr<RawStreamSource> makeStreamSource(std::shared_ptr<Context> context,
                                                  _AUDCLNT_SHAREMODE shareMode);

}  // namespace audio::wasapi
