#pragma once

#include <memory>

#include "Context.hpp"
#include "platform/audio/AudioDevice.hpp"

namespace audio::wasapi {

// The layer's volume control over an endpoint's IAudioEndpointVolume.
std::shared_ptr<VolumeControllerInterface> makeEndpointVolume(std::shared_ptr<Context> context,
                                                              ComPtr<IAudioEndpointVolume> volume);

}  // namespace audio::wasapi
