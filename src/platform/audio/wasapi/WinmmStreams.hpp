#pragma once

#include <cstdint>
#include <memory>

#include "platform/audio/RawStream.hpp"

namespace audio::wasapi {

// Wave device `deviceId` of a direction (WAVE_MAPPER_ID: the wave mapper,
// which plays or records on the default device), or null when there is no
// such device. Its streams are winmm's waveIn/waveOut.
std::shared_ptr<RawDevice> makeWaveDevice(EDataFlow flow, std::uint32_t deviceId);

// The layer's HResult for a winmm error.
HResult resultOfWinmm(unsigned error);

}  // namespace audio::wasapi
