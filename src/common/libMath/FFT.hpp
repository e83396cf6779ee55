#pragma once

#include <cstdint>

#include "platform/kvo/Assert.hpp"
#include "platform/kvo/GrowableArray.hpp"

namespace libMath {

// Radix-2 decimation-in-time transform of signed 16-bit samples behind a Hann
// window, and the strongest frequency of the audible band in the result.
//
// Every value is computed in double precision in one fixed order, so the
// spectrum is the same bit for bit on every target and however often the
// object is reused. The plan (bit-reversal table, twiddle factors, window)
// is kept while the padded length stays the same.
class FFT {
public:
    struct Complex {
        double re;
        double im;
    };

    FFT() = default;
    FFT(const FFT&) = delete;
    FFT& operator=(const FFT&) = delete;

    // Plans a transform for `count` samples, padded to the next power of two,
    // and clears the spectrum. Count 0 gives an empty plan; counts above 2^31
    // are refused.
    bool reset(unsigned count, double sampleRate);

    // Windows `count` samples, transforms them and keeps the unscaled spectrum.
    bool Transform(const std::int16_t* samples, unsigned count, double sampleRate);

    // The frequency in Hz of the strongest bin strictly between 20 Hz and
    // 22000 Hz, and at most half the sample rate (the lowest of equal bins);
    // 0.0 when no bin there is above 0.
    double dominantFrequency() const;

    std::uint32_t size() const { return size_; }
    double sampleRate() const { return sampleRate_; }
    std::uint32_t stages() const { return stages_; }
    double sqrtSize() const { return sqrtSize_; }
    // Empty for a plan without tables.
    const kvo::GrowableArray<std::uint32_t>& bitReverse() const { return bitReverse_; }
    // Bin `k` of the last spectrum. Plans without tables keep the bins up to
    // size / 2; those above mirror them, as for any real input.
    Complex spectrum(std::uint32_t k) const {
        KVO_ASSERT(k < size_);
        if (k < real_.size()) {
            return {real_[k], imag_[k]};
        }
        return {real_[size_ - k], -imag_[size_ - k]};
    }

    // Restricts the butterflies to the two-lane code every x86-64 runs, instead
    // of the four-lane code chosen on processors with AVX; both give the same
    // bits. For tests and benchmarks.
    static void useBaselineVectorsOnly(bool baseline);
    // Plans of at least `size` points (0: the default, 2^20; never below 16)
    // keep no window, bit-reversal, padding or late-stage factor table: they
    // pack sample pairs as complex values, transform half the length in place
    // and keep only the bins up to size / 2, 8 bytes per point for the long
    // transforms of long recordings, equal to the tabled spectrum within
    // rounding. For tests.
    static void keepNoTablesFrom(std::uint32_t size);

private:
    bool prepare(unsigned count, double sampleRate, bool clearSpectrum);
    void plan(std::uint32_t size);
    // `samples` holds `count` samples, or the padded length with the tables.
    void butterflies(const std::int16_t* samples, std::size_t count);

    std::uint32_t size_ = 0;
    double sampleRate_ = 0.0;
    std::uint32_t stages_ = 0;
    double sqrtSize_ = 0.0;
    bool planned_ = false;
    bool tableless_ = false;
    kvo::GrowableArray<std::uint32_t> bitReverse_;
    // The spectrum, real and imaginary parts apart so that butterflies run
    // several at once: all bins, or without tables those up to size / 2.
    kvo::GrowableArray<double> real_;
    kvo::GrowableArray<double> imag_;
    // W_s[k] = (cos(2 pi k / 2^s), -sin(2 pi k / 2^s)) for k < 2^(s-1), the
    // only factors the butterflies use, at offset 2^(s-1) (entry 0 unused, so
    // that every stage from 2 on starts 16-byte aligned). Without tables, for
    // the blocks' stages only.
    kvo::GrowableArray<double> twiddleReal_;
    kvo::GrowableArray<double> twiddleImag_;
    // Hann window over the padded length, in bit-reversed order.
    kvo::GrowableArray<double> windowReversed_;
    // The samples of the current transform, zero-padded to the full length.
    kvo::GrowableArray<std::int16_t> padded_;
    // Without tables: the packed input of the block being transformed, then
    // the factors of the late stages a chunk at a time.
    kvo::GrowableArray<double> scratch_;
};

}  // namespace libMath
