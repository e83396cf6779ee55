#include "common/libMath/FFT.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "support/CapturingLogSink.hpp"

namespace libMath {
namespace {

constexpr double kTwoPi = 6.283185307179586;

std::vector<std::int16_t> randomSamples(std::uint32_t count, std::mt19937& random) {
    std::uniform_int_distribution<int> value(-32768, 32767);
    std::vector<std::int16_t> samples(count);
    for (auto& sample : samples) {
        sample = static_cast<std::int16_t>(value(random));
    }
    return samples;
}

std::vector<FFT::Complex> spectrumOf(const FFT& fft) {
    std::vector<FFT::Complex> bins(fft.size());
    for (std::uint32_t k = 0; k < fft.size(); ++k) {
        bins[k] = fft.spectrum(k);
    }
    return bins;
}

// The largest distance of a bin from the expected one against the largest
// expected magnitude: rounding only stays far below 1e-12.
void expectClose(const std::vector<FFT::Complex>& actual,
                 const std::vector<FFT::Complex>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    double largest = 0.0, worst = 0.0;
    for (std::size_t k = 0; k < expected.size(); ++k) {
        largest = std::max(largest, std::hypot(expected[k].re, expected[k].im));
        worst = std::max(worst,
                         std::hypot(actual[k].re - expected[k].re, actual[k].im - expected[k].im));
    }
    ASSERT_GT(largest, 0.0);
    EXPECT_LT(worst / largest, 1e-12) << "of " << expected.size() << " bins";
}

// The Hann-windowed, zero-padded transform summed term by term.
std::vector<FFT::Complex> windowedDft(const std::vector<std::int16_t>& samples, std::uint32_t n) {
    std::vector<double> windowed(n, 0.0);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        windowed[i] = (0.5 - 0.5 * std::cos(kTwoPi * i / (n - 1))) * samples[i];
    }
    std::vector<FFT::Complex> bins(n, FFT::Complex{0.0, 0.0});
    for (std::uint32_t k = 0; k < n; ++k) {
        for (std::uint32_t i = 0; i < n; ++i) {
            const double angle = kTwoPi * static_cast<double>((std::uint64_t{k} * i) % n) / n;
            bins[k].re += windowed[i] * std::cos(angle);
            bins[k].im -= windowed[i] * std::sin(angle);
        }
    }
    return bins;
}

// Every plan with the widest vectors the processor has and with the two-lane
// code that every x86-64 runs, with tables and without.
TEST(FFTTransform, EqualsTheWindowedDftForEveryVectorWidthAndPlan) {
    std::mt19937 random(20240611);
    FFT fft;  // one object throughout: reused plans must not change a result
    for (const std::uint32_t count : {3u, 5u, 8u, 17u, 100u, 1000u, 4096u}) {
        const std::vector<std::int16_t> samples = randomSamples(count, random);
        ASSERT_TRUE(fft.reset(count, 48000.0));
        const std::vector<FFT::Complex> expected = windowedDft(samples, fft.size());
        for (const bool twoLanes : {false, true}) {
            FFT::useBaselineVectorsOnly(twoLanes);
            SCOPED_TRACE("count " + std::to_string(count) + (twoLanes ? ", two lanes" : ""));
            ASSERT_TRUE(fft.Transform(samples.data(), count, 48000.0));
            expectClose(spectrumOf(fft), expected);
            FFT::keepNoTablesFrom(16);
            FFT tableless;
            ASSERT_TRUE(tableless.Transform(samples.data(), count, 48000.0));
            expectClose(spectrumOf(tableless), expected);
            FFT::keepNoTablesFrom(0);
        }
    }
    FFT::useBaselineVectorsOnly(false);
}

// Too long for a term-by-term sum: a plan without tables, the default from
// 2^20 points, equals one with them.
TEST(FFTLongTransform, WithoutTablesEqualsWithTables) {
    std::mt19937 random(20261123);
    for (const std::uint32_t count : {44100u, 1u << 20}) {
        SCOPED_TRACE("count " + std::to_string(count));
        const std::vector<std::int16_t> samples = randomSamples(count, random);
        FFT::keepNoTablesFrom(1u << 21);
        FFT tabled;
        ASSERT_TRUE(tabled.Transform(samples.data(), count, 48000.0));
        FFT::keepNoTablesFrom(count == (1u << 20) ? 0 : 16);  // 0: the default
        FFT tableless;
        ASSERT_TRUE(tableless.Transform(samples.data(), count, 48000.0));
        EXPECT_TRUE(tableless.bitReverse().empty());
        expectClose(spectrumOf(tableless), spectrumOf(tabled));
    }
    FFT::keepNoTablesFrom(0);
}

// A cosine exactly on bin `bin` of a transform of `count` samples, plus another.
std::vector<std::int16_t> onBinTones(std::uint32_t count, std::uint32_t bin, double amplitude,
                                     std::uint32_t otherBin = 0, double otherAmplitude = 0.0) {
    std::vector<std::int16_t> samples(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        samples[i] = static_cast<std::int16_t>(
            std::lround(amplitude * std::cos(kTwoPi * bin * i / static_cast<double>(count))) +
            std::lround(otherAmplitude *
                        std::cos(kTwoPi * otherBin * i / static_cast<double>(count))));
    }
    return samples;
}

struct DominantCase {
    const char* what;
    std::vector<std::int16_t> samples;
    double rate, expected;
};

TEST(FFTDominantFrequency, IsTheStrongestBinInsideTheBand) {
    const std::vector<DominantCase> cases{
        {"a tone on a bin", onBinTones(4096, 100, 12000.0), 48000.0, 100 * 48000.0 / 4096},
        // At 8 kHz the mirrored upper half lies inside the band. The mirror bin 209 has a
        // slightly larger squared magnitude than bin 47, yet both round to the same
        // amplitude, so the lower bin must still win.
        {"a tone over its mirror", onBinTones(256, 47, 16383.0), 8000.0, 47 * 8000.0 / 256},
        // The strongest bin lies exactly on a band edge; its window leakage into the next
        // bin is weaker than the second tone, which must win.
        {"20 Hz edge", onBinTones(8192, 2, 16000.0, 40, 12000.0), 81920.0, 400.0},
        {"22 kHz edge", onBinTones(1024, 512, 10000.0, 100, 16000.0), 44000.0,
         100 * 44000.0 / 1024},
        // Without a taper at its end (3000 of 4096 points) a constant leaks into the low
        // bins; bin 0 is outside the band, so the first in-band bin wins.
        {"direct current", std::vector<std::int16_t>(3000, 10000), 48000.0, 2 * 48000.0 / 4096},
        {"silence", std::vector<std::int16_t>(2048, 0), 48000.0, 0.0},
    };
    FFT fft;
    EXPECT_EQ(fft.dominantFrequency(), 0.0) << "no plan yet";
    for (const DominantCase& c : cases) {
        const auto count = static_cast<std::uint32_t>(c.samples.size());
        ASSERT_TRUE(fft.Transform(c.samples.data(), count, c.rate)) << c.what;
        EXPECT_EQ(fft.dominantFrequency(), c.expected) << c.what;
    }
    const auto squared = [&](std::uint32_t k) {
        return fft.spectrum(k).re * fft.spectrum(k).re + fft.spectrum(k).im * fft.spectrum(k).im;
    };
    ASSERT_TRUE(fft.Transform(cases[1].samples.data(), 256, 8000.0));
    EXPECT_LT(squared(47), squared(209)) << "the mirror case tests what it says";
}

TEST(FFTLimits, CountsBeyondTwoToThe31AreRefused) {
    kvo::test::CapturingLogSink capture;
    FFT fft;
    const std::int16_t unused = 0;  // never read: the plan is refused first
    EXPECT_FALSE(fft.Transform(&unused, (1u << 31) + 1, 48000.0));
    EXPECT_FALSE(fft.reset((1u << 31) + 1, 48000.0));
    EXPECT_TRUE(capture.contains("libMath", "79 Reset failed "));
}

}  // namespace
}  // namespace libMath
