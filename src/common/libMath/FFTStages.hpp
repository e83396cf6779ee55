#pragma once

#include <cstddef>
#include <cstdint>

// The butterflies behind FFT: the stages of a radix-2 transform over arrays of
// real and imaginary parts, two or four at a time, and the split that turns
// the transform of packed real samples into their spectrum.
namespace libMath::stages {

// Points per block of the early stages: 2^10 points, 16 KiB of real and imaginary parts.
inline constexpr std::uint32_t kBlockStages = 10;
// Factors computed at a time by the late stages of a plan without tables.
inline constexpr std::size_t kFactorChunk = 512;

// What the butterflies work on.
struct Work {
    double* re;
    double* im;
    const double* wr;  // twiddles of stage s from index 2^(s-1)
    const double* wi;
    const double* window;         // window value of the sample each point takes
    const std::int16_t* samples;  // zero-padded to the full length, or `count` long
    const std::uint32_t* reverse;
    std::size_t size;  // points of the complex transform
    std::uint32_t stages;
    std::size_t count;  // samples given
    double span;        // padded length of the samples less one, the window's span
};

// The factor W[k] = (cos(2 pi k / 2^stages), -sin(2 pi k / 2^stages)). Scaling by a
// power of two is exact in binary floating point, so W_s[k] has the bits of the
// last stage's W[k 2^(stages - s)].
void factorAt(std::uint32_t k, std::uint32_t stages, double& re, double& im);

// Point k's sample is the one at k with its `stages` bits reversed.
std::uint32_t reverseBits(std::uint32_t k, std::uint32_t stages);

// The Hann window over the padded length at sample i, as the plan computes it.
double hannAt(std::uint32_t i, double span);

// Every stage of `w`, in place. With at least 3 stages, `scratch`, when not
// null, holds 2^(kBlockStages + 1) and 6 kFactorChunk values for a plan without
// tables, whose input is packed.
void transform(const Work& w, double* scratch);

// The spectrum X[0..half] of 2 half real samples from the transform Z of their
// packing as half complex values, in place over half + 1 bins: with
// E = (Z[k] + conj Z[half - k]) / 2 and O = (Z[k] - conj Z[half - k]) / 2i, the
// transforms of the even and odd samples, X[k] = E + W[k] O and
// X[half - k] = conj(E - W[k] O), W[k] the factor of the full length.
void splitPacked(double* re, double* im, std::uint32_t half, std::uint32_t stages);

// The largest re[k]^2 + im[k]^2 for k in [first, end), 0 for none.
double largestMagnitude(const double* re, const double* im, std::uint32_t first, std::uint32_t end);

// Restricts the butterflies to the two-lane code every x86-64 runs.
void useBaselineVectorsOnly(bool baseline);

}  // namespace libMath::stages
