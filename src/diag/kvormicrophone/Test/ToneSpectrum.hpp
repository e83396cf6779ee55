#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "common/libMath/FFT.hpp"

namespace kvormicrophone {

// The spectrum `fft` last transformed from `count` samples, thinned out to at
// most `points` levels on a log-frequency scale from 20 Hz to 22 kHz (or half
// the sample rate). Each point is the strongest bin of its band, at that
// bin's frequency, so a tone's peak survives the thinning; bands holding no
// bin are left out. Levels are dBFS as a tone's are reported (a full-scale
// sine in one bin reads -3 dB), no lower than ToneFigures::kFloorDb.
std::vector<std::pair<double, double>> toneSpectrum(const libMath::FFT& fft, std::uint32_t count,
                                                    std::uint32_t points);

}  // namespace kvormicrophone
