#include "common/libMath/FFT.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "support/CapturingLogSink.hpp"

namespace libMath {
namespace {

constexpr double kTwoPi = 6.283185307179586;

// The transform written out plainly, step by step as designed, with a full
// twiddle computation per stage: what the optimised FFT must equal bit for bit.
struct ReferenceTransform {
    std::uint32_t n = 0;
    double rate = 0.0;
    std::vector<double> re, im;

    ReferenceTransform(const std::vector<std::int16_t>& samples, double sampleRate)
        : rate(sampleRate) {
        const auto count = static_cast<std::uint32_t>(samples.size());
        n = 1;
        while (n < count) {
            n *= 2;
        }
        std::uint32_t stages = 0;
        for (std::uint32_t bits = count - 1; bits != 0; bits >>= 1) {
            ++stages;
        }
        std::vector<std::uint32_t> reverse(n);
        if (n > 1) {
            std::uint32_t j = 0;
            for (std::uint32_t i = 0; i < n - 1; ++i) {
                reverse[i] = j;
                std::uint32_t m = n / 2;
                while (j >= m) {
                    j -= m;
                    m /= 2;
                }
                j += m;
            }
            reverse[n - 1] = n - 1;
        }
        re.assign(n, 0.0);
        im.assign(n, 0.0);
        for (std::uint32_t i = 0; i < count; ++i) {
            const double w = 0.5 - std::cos(i * kTwoPi / (n - 1)) * 0.5;
            re[reverse[i]] = w * samples[i];
            im[reverse[i]] = 0.0;
        }
        for (std::uint32_t s = 1; s <= stages; ++s) {
            const std::uint32_t half = 1u << (s - 1), step = 1u << s;
            for (std::uint32_t j = 0; j < half; ++j) {
                const double angle = j * kTwoPi / std::pow(2.0, s);
                const double wr = std::cos(angle), wi = -std::sin(angle);
                for (std::uint32_t k = j; k < n; k += step) {
                    const double tr = re[k + half] * wr - im[k + half] * wi;
                    const double ti = im[k + half] * wr + re[k + half] * wi;
                    re[k + half] = re[k] - tr;
                    im[k + half] = im[k] - ti;
                    re[k] = re[k] + tr;
                    im[k] = im[k] + ti;
                }
            }
        }
    }

    double dominantFrequency() const {
        double best = 0.0, bestAmplitude = 0.0;
        // The upper half of a real signal's spectrum only mirrors the lower.
        for (std::uint32_t k = 0; k <= n / 2; ++k) {
            const double f = k * rate / n;
            if (f > 20.0 && f < 22000.0) {
                const double amplitude = 2 * std::sqrt(re[k] * re[k] + im[k] * im[k]) / n;
                if (amplitude > bestAmplitude) {
                    best = f;
                    bestAmplitude = amplitude;
                }
            }
        }
        return best;
    }
};

std::vector<std::int16_t> randomSamples(std::uint32_t count, std::mt19937& random) {
    std::uniform_int_distribution<int> value(-32768, 32767);
    std::vector<std::int16_t> samples(count);
    for (auto& sample : samples) {
        sample = static_cast<std::int16_t>(value(random));
    }
    return samples;
}

// A cosine exactly on bin `bin` of a transform of `count` samples.
std::vector<std::int16_t> onBinTone(std::uint32_t count, std::uint32_t bin, double amplitude) {
    std::vector<std::int16_t> samples(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        samples[i] = static_cast<std::int16_t>(
            std::lround(amplitude * std::cos(kTwoPi * bin * i / static_cast<double>(count))));
    }
    return samples;
}

void expectSameBits(const FFT& fft, const ReferenceTransform& reference) {
    ASSERT_EQ(fft.size(), reference.n);
    for (std::uint32_t k = 0; k < reference.n; ++k) {
        const FFT::Complex value = fft.spectrum(k);
        ASSERT_EQ(std::memcmp(&value.re, &reference.re[k], sizeof(double)), 0)
            << "real part of bin " << k << ": " << value.re << " vs " << reference.re[k];
        ASSERT_EQ(std::memcmp(&value.im, &reference.im[k], sizeof(double)), 0)
            << "imaginary part of bin " << k << ": " << value.im << " vs " << reference.im[k];
    }
    EXPECT_EQ(fft.dominantFrequency(), reference.dominantFrequency());
}

// The largest distance of a bin from the reference's, the mirrored upper half
// included, against the reference's largest magnitude; and the same dominant
// frequency.
void expectCloseTo(const FFT& fft, const ReferenceTransform& reference, double tolerance) {
    ASSERT_EQ(fft.size(), reference.n);
    double largest = 0.0, worst = 0.0;
    std::uint32_t worstBin = 0;
    for (std::uint32_t k = 0; k < reference.n; ++k) {
        const FFT::Complex value = fft.spectrum(k);
        largest = std::max(largest, std::hypot(reference.re[k], reference.im[k]));
        const double distance = std::hypot(value.re - reference.re[k], value.im - reference.im[k]);
        if (distance > worst) {
            worst = distance;
            worstBin = k;
        }
    }
    ASSERT_GT(largest, 0.0);
    EXPECT_LT(worst / largest, tolerance) << "worst at bin " << worstBin << " of " << reference.n;
    EXPECT_EQ(fft.dominantFrequency(), reference.dominantFrequency());
}

// Every test of the transform runs with the widest vectors the processor
// has and with the two-lane code that every x86-64 runs.
class FFTTransform : public testing::TestWithParam<bool> {
protected:
    void SetUp() override { FFT::useBaselineVectorsOnly(GetParam()); }
    void TearDown() override {
        FFT::useBaselineVectorsOnly(false);
        FFT::keepNoTablesFrom(0);
    }
};

INSTANTIATE_TEST_SUITE_P(Vectors, FFTTransform, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool>& info) {
                             return info.param ? "TwoLanes" : "Widest";
                         });

TEST_P(FFTTransform, EqualsThePlainAlgorithmBitForBit) {
    std::mt19937 random(20240611);
    FFT fft;  // one object throughout: reused plans must not change a result
    for (const std::uint32_t count :
         {1u, 2u, 3u, 5u, 8u, 100u, 1000u, 4096u, 19200u, 30000u, 19200u, 44100u, 65536u}) {
        for (const double rate : {8000.0, 48000.0}) {
            const std::vector<std::int16_t> samples = randomSamples(count, random);
            ASSERT_TRUE(fft.Transform(samples.data(), count, rate));
            SCOPED_TRACE("count " + std::to_string(count));
            expectSameBits(fft, ReferenceTransform(samples, rate));
        }
    }
}

TEST_P(FFTTransform, WithoutTablesMatchesThePlainAlgorithmWithinRounding) {
    FFT::keepNoTablesFrom(16);
    std::mt19937 random(20261123);
    FFT fft;
    for (const std::uint32_t count : {9u, 16u, 17u, 1000u, 4096u, 44100u, 65536u, 300000u}) {
        const std::vector<std::int16_t> samples = randomSamples(count, random);
        ASSERT_TRUE(fft.Transform(samples.data(), count, 48000.0));
        SCOPED_TRACE("count " + std::to_string(count));
        EXPECT_TRUE(fft.bitReverse().empty());
        expectCloseTo(fft, ReferenceTransform(samples, 48000.0), 1e-12);
    }
}

TEST(FFTLongTransform, ToneInNoiseMatchesThePlainAlgorithm) {
    // The transforms of long recordings: from 2^20 points by default.
    std::mt19937 random(20261124);
    std::uniform_int_distribution<int> noise(-3000, 3000);
    FFT fft;
    for (const std::uint32_t count : {1u << 20, 1u << 21}) {
        std::vector<std::int16_t> samples(count);
        for (std::uint32_t i = 0; i < count; ++i) {
            samples[i] = static_cast<std::int16_t>(
                std::lround(9000.0 * std::sin(kTwoPi * 1000.0 * i / 48000.0)) + noise(random));
        }
        ASSERT_TRUE(fft.Transform(samples.data(), count, 48000.0));
        SCOPED_TRACE("count " + std::to_string(count));
        EXPECT_TRUE(fft.bitReverse().empty());
        const ReferenceTransform reference(samples, 48000.0);
        expectCloseTo(fft, reference, 1e-12);
        EXPECT_NEAR(fft.dominantFrequency(), 1000.0, 48000.0 / reference.n);
    }
}

// Two on-bin cosines summed.
std::vector<std::int16_t> twoTones(std::uint32_t count, std::uint32_t binA, double amplitudeA,
                                   std::uint32_t binB, double amplitudeB) {
    std::vector<std::int16_t> samples = onBinTone(count, binA, amplitudeA);
    const std::vector<std::int16_t> other = onBinTone(count, binB, amplitudeB);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<std::int16_t>(samples[i] + other[i]);
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
        {"a tone on a bin", onBinTone(4096, 100, 12000.0), 48000.0, 100 * 48000.0 / 4096},
        // At 8 kHz the mirrored upper half lies inside the band. The mirror bin 209 has a
        // slightly larger squared magnitude than bin 47, yet both round to the same
        // amplitude, so the lower bin must still win.
        {"a tone over its mirror", onBinTone(256, 47, 16383.0), 8000.0, 47 * 8000.0 / 256},
        // The strongest bin lies exactly on a band edge; its window leakage into the next
        // bin is weaker than the second tone, which must win.
        {"20 Hz edge", twoTones(8192, 2, 16000.0, 40, 12000.0), 81920.0, 400.0},
        {"22 kHz edge", twoTones(1024, 512, 10000.0, 100, 16000.0), 44000.0, 100 * 44000.0 / 1024},
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
    const std::vector<std::int16_t> mirrored = onBinTone(256, 47, 16383.0);
    ASSERT_TRUE(fft.Transform(mirrored.data(), 256, 8000.0));
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
