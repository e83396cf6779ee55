#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "common/libMath/FFT.hpp"
#include "diag/kvormicrophone/Test/ToneFigures.hpp"

namespace kvormicrophone {
namespace {

constexpr double kRate = 48000.0;
constexpr std::uint32_t kCount = 19200;  // what the tone test analyses of one second
constexpr double kTwoPi = 6.283185307179586;

struct Channel {
    std::vector<double> values = std::vector<double>(kCount, 0.0);

    Channel& tone(double hz, double amplitude) {
        for (std::uint32_t i = 0; i < kCount; ++i) {
            values[i] += amplitude * std::sin(kTwoPi * hz * i / kRate + 0.3);
        }
        return *this;
    }
    // Gaussian noise of the given standard deviation, the same every run.
    Channel& noise(double deviation) {
        std::mt19937 generator(7);
        std::normal_distribution<double> normal(0.0, deviation);
        for (double& value : values) {
            value += normal(generator);
        }
        return *this;
    }
    // Rounded and limited to 16 bits, then measured as the tone test does.
    ToneFigures measure(double expectedHz) const {
        std::vector<std::int16_t> samples;
        for (const double value : values) {
            samples.push_back(
                static_cast<std::int16_t>(std::clamp(std::round(value), -32768.0, 32767.0)));
        }
        libMath::FFT fft;
        EXPECT_TRUE(fft.Transform(samples.data(), kCount, kRate));
        const double tolerance = fft.size() / kRate;
        return measureTone(samples.data(), kCount, fft, expectedHz, fft.dominantFrequency(),
                           tolerance);
    }
};

double dbfs(double rms) {
    return 20.0 * std::log10(rms / 32768.0);
}

// A tone in noise read back by sox, and silent, noisy, humming and clipping microphones with
// each failure's reason, are the end-to-end runs' (MeasurementE2E); these are the cases they
// cannot make: a tone between bins, and harmonics apart from the noise.
TEST(ToneFigures, ToneBetweenBinsLosesNothingToTheWindow) {
    const ToneFigures figures = Channel().tone(1001.3, 8000.0).noise(8.0).measure(1001.3);
    EXPECT_NEAR(figures.toneDbfs, dbfs(8000.0 / std::sqrt(2.0)), 0.02);
    EXPECT_NEAR(figures.snrDb, 20.0 * std::log10(8000.0 / std::sqrt(2.0) / 8.0), 0.5);
}

TEST(ToneFigures, HarmonicsCountInThdPlusNoiseButNotInTheNoiseFloor) {
    // A second harmonic 20 dB below the tone, noise 60 dB below it.
    const ToneFigures figures =
        Channel().tone(500.0, 10000.0).tone(1000.0, 1000.0).noise(7.07).measure(500.0);
    EXPECT_NEAR(figures.thdnDb, -20.0, 0.2);
    EXPECT_NEAR(figures.snrDb, 60.0, 1.0);
    EXPECT_EQ(figures.diagnosis(), "");
}

}  // namespace
}  // namespace kvormicrophone
