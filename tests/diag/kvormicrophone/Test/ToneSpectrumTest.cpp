#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "common/libMath/FFT.hpp"
#include "diag/kvormicrophone/Test/ToneSpectrum.hpp"

namespace kvormicrophone {
namespace {

constexpr double kTwoPi = 6.283185307179586;

std::vector<std::int16_t> sine(double hz, double amplitude, double rate, std::uint32_t count) {
    std::vector<std::int16_t> samples(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        samples[i] =
            static_cast<std::int16_t>(std::lround(amplitude * std::sin(kTwoPi * hz * i / rate)));
    }
    return samples;
}

std::pair<double, double> strongest(const std::vector<std::pair<double, double>>& spectrum) {
    return *std::max_element(spectrum.begin(), spectrum.end(),
                             [](const auto& a, const auto& b) { return a.second < b.second; });
}

TEST(ToneSpectrum, KeepsATonesPeakAtItsFrequencyAndLevelOnARisingLogScale) {
    // 19200 samples padded to 32768, as the tone test analyses one second at 48 kHz;
    // and a whole power of two at 44.1 kHz.
    for (const auto& [rate, count] : {std::pair{48000.0, 19200u}, std::pair{44100.0, 16384u}}) {
        SCOPED_TRACE(rate);
        const double amplitude = 16384.0;  // half scale: RMS -9.03 dBFS
        const std::vector<std::int16_t> samples = sine(1000.0, amplitude, rate, count);
        libMath::FFT fft;
        ASSERT_TRUE(fft.Transform(samples.data(), count, rate));
        const auto spectrum = toneSpectrum(fft, count, 400);

        ASSERT_GT(spectrum.size(), 200u);
        EXPECT_LE(spectrum.size(), 400u);
        EXPECT_GE(spectrum.front().first, 20.0);
        EXPECT_LE(spectrum.back().first, std::min(22000.0, rate / 2));
        EXPECT_GT(spectrum.back().first, std::min(22000.0, rate / 2) * 0.95);
        for (std::size_t i = 1; i < spectrum.size(); ++i) {
            ASSERT_GT(spectrum[i].first, spectrum[i - 1].first);
        }
        // Where bands hold bins, every decade gets the same share of the points.
        const auto inDecade = std::count_if(spectrum.begin(), spectrum.end(), [](const auto& p) {
            return p.first > 2000.0 && p.first <= 20000.0;
        });
        const double share = 400 / std::log10(std::min(22000.0, rate / 2) / 20.0);
        EXPECT_NEAR(static_cast<double>(inDecade), share, 1.0);

        const auto peak = strongest(spectrum);
        EXPECT_NEAR(peak.first, 1000.0, fft.sampleRate() / fft.size());
        // The bin nearest the tone loses at most the window's scalloping, 1.5 dB.
        const double rmsDbfs = 20.0 * std::log10(amplitude / std::sqrt(2.0) / 32768.0);
        EXPECT_LE(peak.second, rmsDbfs + 0.05);
        EXPECT_GE(peak.second, rmsDbfs - 1.5);
        // Far from the tone its leakage is low even where the padding cuts the window short.
        EXPECT_LT(spectrum.front().second, rmsDbfs - 40.0);
    }
}

}  // namespace
}  // namespace kvormicrophone
