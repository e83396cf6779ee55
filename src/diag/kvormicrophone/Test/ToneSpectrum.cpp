#include "ToneSpectrum.hpp"

#include <algorithm>
#include <cmath>

#include "ToneFigures.hpp"

namespace kvormicrophone {
namespace {

constexpr double kTwoPi = 6.283185307179586;

// The sum of the Hann window over the samples: it spans the padded length, so
// a count short of it sees only the window's rising part.
double windowSum(std::uint32_t count, std::uint32_t size) {
    const double span = static_cast<double>(size - 1);
    double sum = 0.0;
    for (std::uint32_t i = 0; i < count && i < size; ++i) {
        sum += 0.5 - 0.5 * std::cos(i * kTwoPi / span);
    }
    return sum;
}

}  // namespace

std::vector<std::pair<double, double>> toneSpectrum(const libMath::FFT& fft, std::uint32_t count,
                                                    std::uint32_t points) {
    std::vector<std::pair<double, double>> spectrum;
    const std::uint32_t size = fft.size();
    const double window = size < 2 ? 0.0 : windowSum(count, size);
    if (points == 0 || !(window > 0.0) || !(fft.sampleRate() > 0.0)) {
        return spectrum;
    }
    const double binHz = fft.sampleRate() / size;
    const double highestHz = std::min(ToneFigures::kHighestHz, fft.sampleRate() / 2);
    if (!(highestHz > ToneFigures::kLowestHz)) {
        return spectrum;
    }
    // A sine of amplitude A gives a bin of A * window / 2; its RMS is A / sqrt(2).
    const double toLevel = std::sqrt(2.0) / (window * ToneFigures::kFullScale);
    const double bandRatio = std::pow(highestHz / ToneFigures::kLowestHz, 1.0 / points);
    auto bin = static_cast<std::uint32_t>(std::ceil(ToneFigures::kLowestHz / binHz));
    double bandEnd = ToneFigures::kLowestHz;
    for (std::uint32_t band = 0; band < points; ++band) {
        bandEnd = band + 1 == points ? highestHz : bandEnd * bandRatio;
        double strongest = -1.0;
        std::uint32_t strongestBin = 0;
        for (; bin <= size / 2 && bin * binHz <= bandEnd; ++bin) {
            const libMath::FFT::Complex value = fft.spectrum(bin);
            const double magnitude = std::hypot(value.re, value.im);
            if (magnitude > strongest) {
                strongest = magnitude;
                strongestBin = bin;
            }
        }
        if (strongest < 0.0) {
            continue;
        }
        const double level =
            strongest > 0.0 ? 20.0 * std::log10(strongest * toLevel) : ToneFigures::kFloorDb;
        spectrum.emplace_back(strongestBin * binHz, std::max(ToneFigures::kFloorDb, level));
    }
    return spectrum;
}

}  // namespace kvormicrophone
