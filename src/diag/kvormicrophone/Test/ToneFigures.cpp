#include "ToneFigures.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kvormicrophone {
namespace {

constexpr double kLowSnrDb = 20.0;
constexpr double kProminentPeakDb = 20.0;

double ratioDb(double numerator, double denominator) {
    if (!(numerator > 0.0)) {
        return ToneFigures::kFloorDb;
    }
    if (!(denominator > 0.0)) {
        return -ToneFigures::kFloorDb;
    }
    return std::clamp(10.0 * std::log10(numerator / denominator), ToneFigures::kFloorDb,
                      -ToneFigures::kFloorDb);
}

}  // namespace

kvo::String ToneFigures::diagnosis() const {
    kvo::String reasons;
    const auto add = [&reasons](const char* reason) {
        reasons += reasons.empty() ? reason : kvo::String(", ") + reason;
    };
    if (silent()) {
        add("no signal");
        return reasons;
    }
    if (clippedSamples > 0) {
        add("clipping");
    }
    if (!heard) {
        add(peakProminenceDb >= kProminentPeakDb ? "wrong frequency found"
                                                 : "tone not heard above the noise");
    }
    if (snrDb < kLowSnrDb) {
        add("low SNR");
    }
    return reasons;
}

namespace {

// Hann-windowed Goertzel filters run side by side over the samples: the tone
// at five points one analysis bin apart (its whole main lobe, wherever the
// tone lies between them) and its low harmonics at one point each. The
// verdict's padded spectrum cannot show a noise floor: its window ends in a
// step where the samples stop, and that leakage would swamp any noise.
struct ToneLevels {
    double tone = 0.0;       // mean square of the tone
    double harmonics = 0.0;  // mean square of harmonics 2 to 4
    // Mean square without the DC offset, weighted by the window like the
    // tone: what is not the tone is then exactly what lies outside its bins.
    double signal = 0.0;
};

constexpr int kTonePoints = 5;
constexpr int kHarmonics = 3;
constexpr int kFilters = kTonePoints + kHarmonics;

ToneLevels toneLevels(const std::int16_t* samples, std::uint32_t count, double sampleRate,
                      double toneHz) {
    ToneLevels levels;
    if (count < 2 || !(sampleRate > 0.0)) {
        return levels;
    }
    constexpr double kTwoPi = 6.283185307179586;
    const double binHz = sampleRate / count;
    double coefficient[kFilters];
    bool used[kFilters];
    for (int j = 0; j < kFilters; ++j) {
        const double hz = j < kTonePoints ? toneHz + (j - kTonePoints / 2) * binHz
                                          : toneHz * (j - kTonePoints + 2);
        used[j] = hz > 0.0 && hz < sampleRate / 2;
        coefficient[j] = 2.0 * std::cos(kTwoPi * hz / sampleRate);
    }
    double s1[kFilters] = {};
    double s2[kFilters] = {};
    // The window's cosine by rotation: one cos() per call, not per sample.
    const double step = kTwoPi / (count - 1);
    const double stepCos = std::cos(step);
    const double stepSin = std::sin(step);
    double c = 1.0;
    double sn = 0.0;
    double windowSquares = 0.0;
    double weightedSum = 0.0;      // sum of w^2 x
    double weightedSquares = 0.0;  // sum of w^2 x^2

    for (std::uint32_t i = 0; i < count; ++i) {
        const double x = samples[i];
        const double w = 0.5 - 0.5 * c;
        const double wx = w * x;
        windowSquares += w * w;
        weightedSum += w * wx;
        weightedSquares += wx * wx;
        for (int j = 0; j < kFilters; ++j) {
            const double s0 = wx + coefficient[j] * s1[j] - s2[j];
            s2[j] = s1[j];
            s1[j] = s0;
        }
        const double nextC = c * stepCos - sn * stepSin;
        sn = sn * stepCos + c * stepSin;
        c = nextC;
    }
    const double fullScale = ToneFigures::kFullScale * ToneFigures::kFullScale;
    const double mean = weightedSum / windowSquares;
    levels.signal = std::max(0.0, weightedSquares / windowSquares - mean * mean) / fullScale;
    // Parseval over the window: a sinusoid's power, half at +f and half at -f.
    const double scale = 2.0 / (static_cast<double>(count) * windowSquares) / fullScale;
    for (int j = 0; j < kFilters; ++j) {
        if (!used[j]) {
            continue;
        }
        const double power = s1[j] * s1[j] + s2[j] * s2[j] - coefficient[j] * s1[j] * s2[j];
        if (j < kTonePoints) {
            levels.tone += power * scale;
        } else {
            // One point on the harmonic's peak: its share of the main lobe is 1/1.5.
            levels.harmonics += power * scale * 1.5;
        }
    }
    return levels;
}

}  // namespace

ToneFigures measureTone(const std::int16_t* samples, std::uint32_t count, const libMath::FFT& fft,
                        double expectedHz, double foundHz, double toleranceHz) {
    ToneFigures figures;
    figures.expectedHz = expectedHz;
    figures.foundHz = foundHz;
    figures.toleranceHz = toleranceHz;
    figures.heard = !(foundHz - toleranceHz > expectedHz || expectedHz > foundHz + toleranceHz);

    double sumOfSquares = 0.0;
    std::int32_t peak = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::int32_t sample = samples[i];
        sumOfSquares += static_cast<double>(sample) * sample;
        peak = std::max(peak, sample < 0 ? -sample : sample);
        figures.clippedSamples += sample == std::numeric_limits<std::int16_t>::max() ||
                                  sample == std::numeric_limits<std::int16_t>::min();
    }
    if (count > 0) {
        figures.rmsDbfs =
            ratioDb(sumOfSquares / count, ToneFigures::kFullScale * ToneFigures::kFullScale);
        figures.peakDbfs = ratioDb(static_cast<double>(peak) * peak,
                                   ToneFigures::kFullScale * ToneFigures::kFullScale);
    }

    const ToneLevels levels = toneLevels(samples, count, fft.sampleRate(), expectedHz);
    const double tone = std::min(levels.tone, levels.signal);
    const double rest = std::max(0.0, levels.signal - tone);
    const double noise = std::max(0.0, rest - levels.harmonics);
    figures.toneDbfs = ratioDb(tone, 1.0);
    figures.noiseFloorDbfs = ratioDb(noise, 1.0);
    figures.snrDb = ratioDb(tone, noise);
    figures.thdnDb = ratioDb(rest, tone);

    const std::uint32_t size = fft.size();
    if (size < 2 || !(fft.sampleRate() > 0.0)) {
        return figures;
    }
    const double binWidth = fft.sampleRate() / size;
    figures.binWidthHz = binWidth;
    // The found bin against the average bin of the band the analysis scans.
    const auto first =
        static_cast<std::uint32_t>(std::floor(ToneFigures::kLowestHz / binWidth)) + 1;
    const auto last = std::min<std::uint32_t>(
        size / 2 + 1, static_cast<std::uint32_t>(std::ceil(ToneFigures::kHighestHz / binWidth)));
    const auto foundBin = static_cast<std::uint32_t>(std::llround(foundHz / binWidth));
    double bandPower = 0.0;
    double foundPower = 0.0;
    for (std::uint32_t k = first; k < last; ++k) {
        const libMath::FFT::Complex bin = fft.spectrum(k);
        const double power = bin.re * bin.re + bin.im * bin.im;
        bandPower += power;
        if (k == foundBin) {
            foundPower = power;
        }
    }
    if (last > first) {
        figures.peakProminenceDb = ratioDb(foundPower, bandPower / (last - first));
    }
    return figures;
}

}  // namespace kvormicrophone
