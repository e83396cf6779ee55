#pragma once

#include <cstdint>
#include <string>

#include "platform/audio/AudioTypes.hpp"

namespace audio::wasapi {

// The winmm device number whose endpoint is `endpointId`: the wave devices
// of a direction answer DRV_QUERYFUNCTIONINSTANCEID with their endpoint's id.
bool waveDeviceNumberOf(EDataFlow flow, const std::wstring& endpointId, std::uint32_t& number);

}  // namespace audio::wasapi
