#include "FFT.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

#include "FFTStages.hpp"
#include "platform/kvo/Logger.hpp"
#include "platform/kvo/TraceLogger.hpp"

namespace libMath {
namespace {

using stages::factorAt;
using stages::hannAt;
using stages::kBlockStages;
using stages::kFactorChunk;
using stages::reverseBits;

constexpr double kLowestFrequency = 20.0;
constexpr double kHighestFrequency = 22000.0;

kvo::Logger& logger() {
    static kvo::Logger* const instance = &kvo::Logger::get("libMath");
    return *instance;
}

std::uint32_t paddedSize(unsigned count) {
    if (count == 0) {
        return 0;
    }
    std::uint32_t size = 1;
    while (size < count) {
        size *= 2;
    }
    return size;
}

// Plans of this many points and more keep no window, bit-reversal or padding
// tables: at 2^24 points those would take 235 MB beside the spectrum's 268 MB.
constexpr std::uint32_t kDefaultTablelessFrom = std::uint32_t{1} << 20;
std::atomic<std::uint32_t> tablelessFrom{kDefaultTablelessFrom};

}  // namespace

void FFT::plan(std::uint32_t size) {
    if (planned_ && size == size_) {
        return;
    }
    size_ = size;
    sqrtSize_ = std::sqrt(static_cast<double>(size));
    stages_ = 0;
    while (size > 1 && (std::uint32_t{1} << stages_) < size) {
        ++stages_;
    }
    // Below 16 points the packed transform has too few stages for the butterflies.
    tableless_ = size >= std::max<std::uint32_t>(16, tablelessFrom.load(std::memory_order_relaxed));
    // Without tables only the bins up to size / 2 are kept: the rest mirror them.
    real_.resize(tableless_ ? size / 2 + 1 : size);
    imag_.resize(tableless_ ? size / 2 + 1 : size);

    bitReverse_.resize(tableless_ ? 0 : size);
    windowReversed_.resize(tableless_ ? 0 : size);
    padded_.resize(tableless_ ? 0 : size);
    if (tableless_) {
        // The packed transform of size / 2 points keeps tables for its blocks' stages
        // only; the later ones compute their factors.
        const std::uint32_t tabled = std::min(stages_ - 1, kBlockStages);
        twiddleReal_.resize(std::size_t{1} << tabled);
        twiddleImag_.resize(std::size_t{1} << tabled);
        for (std::uint32_t stage = 1; stage <= tabled; ++stage) {
            const std::uint32_t count = std::uint32_t{1} << (stage - 1);
            for (std::uint32_t k = 0; k < count; ++k) {
                factorAt(k, stage, twiddleReal_[count + k], twiddleImag_[count + k]);
            }
        }
        scratch_.resize((std::size_t{2} << tabled) + 6 * kFactorChunk);
        planned_ = true;
        return;
    }
    scratch_.resize(0);

    for (std::uint32_t k = 0; k < size; ++k) {
        bitReverse_[k] = reverseBits(k, stages_);
    }
    // W_s[k] has the angle k 2pi / 2^s: bit for bit the last stage's
    // W[k 2^(stages - s)], so the sines and cosines of the last stage serve
    // every stage.
    const std::size_t used = size > 1 ? size : 0;
    twiddleReal_.resize(used);
    twiddleImag_.resize(used);
    if (stages_ > 0) {
        const std::uint32_t last = size / 2;
        double* const lastReal = twiddleReal_.data() + last;
        double* const lastImag = twiddleImag_.data() + last;
        for (std::uint32_t k = 0; k < last; ++k) {
            factorAt(k, stages_, lastReal[k], lastImag[k]);
        }
        for (std::uint32_t stage = 1; stage < stages_; ++stage) {
            const std::uint32_t count = std::uint32_t{1} << (stage - 1);
            const std::uint32_t stride = std::uint32_t{1} << (stages_ - stage);
            for (std::uint32_t k = 0; k < count; ++k) {
                twiddleReal_[count + k] = lastReal[k * stride];
                twiddleImag_[count + k] = lastImag[k * stride];
            }
        }
    }

    // The Hann window spans the padded length, so a count that is not a power
    // of two sees only its rising part. Kept in bit-reversed order, the order
    // in which the samples are taken.
    const double span = static_cast<double>(size - 1);
    for (std::uint32_t k = 0; k < size; ++k) {
        windowReversed_[k] = hannAt(bitReverse_[k], span);
    }
    planned_ = true;
}

bool FFT::reset(unsigned count, double sampleRate) {
    return prepare(count, sampleRate, true);
}

bool FFT::prepare(unsigned count, double sampleRate, bool clearSpectrum) {
    kvo::TraceLogger trace(logger(), "FFT::reset", "FFT");
    if (count > (1u << 31)) {
        return false;
    }
    plan(paddedSize(count));
    sampleRate_ = sampleRate;
    if (clearSpectrum && size_ > 0) {
        std::memset(real_.data(), 0, real_.size() * sizeof(double));
        std::memset(imag_.data(), 0, imag_.size() * sizeof(double));
    }
    return true;
}

bool FFT::Transform(const std::int16_t* samples, unsigned count, double sampleRate) {
    kvo::TraceLogger trace(logger(), "FFT::Transform", "FFT");
    // Every value of the spectrum is written below, so it need not be cleared first.
    if (!prepare(count, sampleRate, false)) {
        KVO_LOG_TAG(logger(), kvo::kLogError, 79, "Reset failed ");
        return false;
    }
    if (size_ < count) {
        KVO_LOG_TAG(logger(), kvo::kLogError, 85, "There are too many data to transform.");
        return false;
    }
    if (size_ == 0) {
        return true;
    }
    if (tableless_) {
        butterflies(samples, count);
        return true;
    }
    std::memcpy(padded_.data(), samples, count * sizeof(std::int16_t));
    std::memset(padded_.data() + count, 0, (size_ - count) * sizeof(std::int16_t));
    butterflies(padded_.data(), size_);
    return true;
}

void FFT::keepNoTablesFrom(std::uint32_t size) {
    tablelessFrom.store(size == 0 ? kDefaultTablelessFrom : size, std::memory_order_relaxed);
}

void FFT::useBaselineVectorsOnly(bool baseline) {
    stages::useBaselineVectorsOnly(baseline);
}

void FFT::butterflies(const std::int16_t* samples, std::size_t count) {
    if (tableless_) {
        // Samples 2j and 2j + 1 as one complex value: a transform of half the length.
        stages::transform(
            {real_.data(), imag_.data(), twiddleReal_.data(), twiddleImag_.data(), nullptr, samples,
             nullptr, size_ / 2, stages_ - 1, count, static_cast<double>(size_ - 1)},
            scratch_.data());
        stages::splitPacked(real_.data(), imag_.data(), size_ / 2, stages_);
        return;
    }
    stages::transform({real_.data(), imag_.data(), twiddleReal_.data(), twiddleImag_.data(),
                       windowReversed_.data(), samples, bitReverse_.data(), size_, stages_, count,
                       static_cast<double>(size_ - 1)},
                      nullptr);
}

double FFT::dominantFrequency() const {
    const std::uint32_t n = size_;
    if (n == 0) {
        return 0.0;
    }
    const double* const re = real_.data();
    const double* const im = imag_.data();
    const auto frequency = [&](std::uint32_t k) { return k * sampleRate_ / n; };
    const auto amplitude = [&](std::uint32_t k) {
        return 2 * std::sqrt(re[k] * re[k] + im[k] * im[k]) / n;
    };

    if (!(sampleRate_ > 0.0 && std::isfinite(sampleRate_))) {
        // No bin can lie in the band, but scan as for any rate.
        double best = 0.0, bestAmplitude = 0.0;
        for (std::uint32_t k = 0; k < real_.size(); ++k) {
            const double f = frequency(k);
            if (f > kLowestFrequency && f < kHighestFrequency && amplitude(k) > bestAmplitude) {
                best = f;
                bestAmplitude = amplitude(k);
            }
        }
        return best;
    }

    // With a positive rate the bin frequency never decreases with k, so the band
    // is one run of bins [first, end).
    const auto firstWhere = [&](std::uint32_t low, auto predicate) {
        std::uint32_t high = n;
        while (low < high) {
            const std::uint32_t middle = low + (high - low) / 2;
            if (predicate(middle)) {
                high = middle;
            } else {
                low = middle + 1;
            }
        }
        return low;
    };
    const std::uint32_t first =
        firstWhere(0, [&](std::uint32_t k) { return frequency(k) > kLowestFrequency; });
    // Bins above n/2 mirror those below for real samples and say nothing new, but
    // rounding can make a mirror image the larger: below 44 kHz it lies in the band
    // and would be taken for the tone (a 1000 Hz tone at 22050 Hz read as 21050 Hz).
    const std::uint32_t end = std::min(n / 2 + 1, firstWhere(first, [&](std::uint32_t k) {
                                           return !(frequency(k) < kHighestFrequency);
                                       }));

    // The amplitude never decreases with the squared magnitude, so the largest
    // amplitude is that of the largest squared magnitude. The first bin reaching
    // it wins, as with a strict comparison in bin order; bins of a slightly
    // smaller magnitude can round to the same amplitude, hence the second pass.
    const double largest = stages::largestMagnitude(re, im, first, end);
    if (!(largest > 0.0)) {
        return 0.0;
    }
    const double bestAmplitude = 2 * std::sqrt(largest) / n;
    const double candidate = largest * (1.0 - 1e-9);
    for (std::uint32_t k = first; k < end; ++k) {
        if (re[k] * re[k] + im[k] * im[k] >= candidate && amplitude(k) == bestAmplitude) {
            return frequency(k);
        }
    }
    return 0.0;
}

}  // namespace libMath