#include "FFT.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

#include "platform/kvo/Logger.hpp"
#include "platform/kvo/TraceLogger.hpp"

namespace libMath {
namespace {

constexpr double kTwoPi = 6.283185307179586;
constexpr double kLowestFrequency = 20.0;
constexpr double kHighestFrequency = 22000.0;
// Points per block of the early stages: 2^10 points, 16 KiB of real and imaginary parts.
constexpr std::uint32_t kBlockStages = 10;
// Factors computed at a time by the late stages of a plan without tables.
constexpr std::size_t kFactorChunk = 512;

kvo::Logger& logger() {
    static kvo::Logger* const instance = &kvo::Logger::get("libMath");
    return *instance;
}

// Two or four doubles processed together. The operations are the scalar ones
// lane by lane (no fused multiply-add: the build turns contraction off), so
// results are those of the plain loop whatever the width.
using Pair = double __attribute__((vector_size(16)));
using Quad = double __attribute__((vector_size(32)));
typedef double AlignedPair __attribute__((vector_size(16), may_alias));

// Memory access per width. Pairs sit at even indexes of arrays that operator
// new[] aligns to 16 bytes, so SSE2 arithmetic may read them from memory;
// quads are only used with AVX, whose arithmetic takes unaligned operands.
// Vectors go in and out by reference: a four-lane vector passed by value
// outside AVX code would change the calling convention.
template <typename V>
struct Lanes;

template <>
struct Lanes<Pair> {
    static constexpr std::size_t count = 2;
    [[gnu::always_inline]] static void load(Pair& to, const double* from) {
        to = *reinterpret_cast<const AlignedPair*>(from);
    }
    [[gnu::always_inline]] static void store(double* to, const Pair& value) {
        *reinterpret_cast<AlignedPair*>(to) = value;
    }
};

template <>
struct Lanes<Quad> {
    static constexpr std::size_t count = 4;
    [[gnu::always_inline]] static void load(Quad& to, const double* from) {
        std::memcpy(&to, from, sizeof to);
    }
    [[gnu::always_inline]] static void store(double* to, const Quad& value) {
        std::memcpy(to, &value, sizeof value);
    }
};

Pair loadUnaligned(const double* from) {
    Pair value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

// One butterfly: t = W x[b]; x[b] = x[a] - t; x[a] = x[a] + t, with the
// complex product re = xr wr - xi wi, im = xi wr + xr wi.
template <typename T>
[[gnu::always_inline]] inline void butterfly(T& ar, T& ai, T& br, T& bi, const T& wr, const T& wi) {
    const T tr = br * wr - bi * wi;
    const T ti = bi * wr + br * wi;
    br = ar - tr;
    bi = ai - ti;
    ar = ar + tr;
    ai = ai + ti;
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
void factorAt(std::uint32_t k, std::uint32_t stages, double& re, double& im) {
    const double angle = k * kTwoPi / static_cast<double>(std::uint64_t{1} << stages);
    re = std::cos(angle);
    im = -std::sin(angle);
}

// The windowed sample that point k takes, from the plan's tables: real input.
struct TableInput {
    static constexpr bool complex = false;
    const Work& w;
    double operator()(std::size_t k) const { return w.window[k] * w.samples[w.reverse[k]]; }
};

// The packed input of a plan without tables, one block of points at a time:
// point k takes windowed samples 2j and 2j + 1 as real and imaginary part.
struct PackedInput {
    static constexpr bool complex = true;
    const double* blockRe;
    const double* blockIm;
    std::size_t begin;
    double operator()(std::size_t k) const { return blockRe[k - begin]; }
    double imag(std::size_t k) const { return blockIm[k - begin]; }
};

// Point k's sample is the one at k with its `stages` bits reversed.
std::uint32_t reverseBits(std::uint32_t k, std::uint32_t stages) {
    std::uint32_t reversed = 0;
    for (std::uint32_t bit = 0; bit < stages; ++bit) {
        reversed = (reversed << 1) | ((k >> bit) & 1u);
    }
    return reversed;
}

// The Hann window over the padded length at sample i, as the plan computes it.
double hannAt(std::uint32_t i, double span) {
    return 0.5 - std::cos(i * kTwoPi / span) * 0.5;
}

// The packed input of points [begin, end) of a plan without tables: point k
// takes pair j, k with its `stages` bits reversed, samples 2j and 2j + 1 behind
// the window over the padded length. Kept out of line, so that it is compiled
// as the plan's window is.
[[gnu::noinline]] void computePackedInput(const Work& w, std::size_t begin, std::size_t end,
                                          double* blockRe, double* blockIm) {
    for (std::size_t k = begin; k < end; ++k) {
        const std::uint32_t i = 2 * reverseBits(static_cast<std::uint32_t>(k), w.stages);
        const std::int16_t even = i < w.count ? w.samples[i] : std::int16_t{0};
        const std::int16_t odd = i + 1 < w.count ? w.samples[i + 1] : std::int16_t{0};
        blockRe[k - begin] = hannAt(i, w.span) * even;
        blockIm[k - begin] = hannAt(i + 1, w.span) * odd;
    }
}

// Stages 1 and 2 of points [begin, end). The windowed samples go to their
// bit-reversed places (the permutation is its own inverse, so point k takes
// sample reverse[k]) with imaginary parts of +0 for real input, straight into W_1[0] on
// (0,1) and (2,3), then W_2[0] on (0,2) and W_2[1] on (1,3) of every four points.
// A padding point takes window x 0, which is +0 as the window is never negative.
template <typename Input>
[[gnu::always_inline]] inline void firstTwoStages(const Work& w, std::size_t begin, std::size_t end,
                                                  const Input& x) {
    using L = Lanes<Pair>;
    const Pair zero = {0.0, 0.0};
    const Pair w1r = {w.wr[1], w.wr[1]}, w1i = {w.wi[1], w.wi[1]};
    const Pair w20r = {w.wr[2], w.wr[2]}, w20i = {w.wi[2], w.wi[2]};
    const Pair w21r = {w.wr[3], w.wr[3]}, w21i = {w.wi[3], w.wi[3]};
    // Two groups of four at once: lane 0 is points g..g+3, lane 1 is g+4..g+7.
    for (std::size_t g = begin; g < end; g += 8) {
        Pair ar = {x(g), x(g + 4)}, ai = zero;
        Pair br = {x(g + 1), x(g + 5)}, bi = zero;
        Pair cr = {x(g + 2), x(g + 6)}, ci = zero;
        Pair dr = {x(g + 3), x(g + 7)}, di = zero;
        if constexpr (Input::complex) {
            ai = Pair{x.imag(g), x.imag(g + 4)}, bi = Pair{x.imag(g + 1), x.imag(g + 5)};
            ci = Pair{x.imag(g + 2), x.imag(g + 6)}, di = Pair{x.imag(g + 3), x.imag(g + 7)};
        }
        butterfly(ar, ai, br, bi, w1r, w1i);
        butterfly(cr, ci, dr, di, w1r, w1i);
        butterfly(ar, ai, cr, ci, w20r, w20i);
        butterfly(br, bi, dr, di, w21r, w21i);
        L::store(w.re + g, __builtin_shufflevector(ar, br, 0, 2));
        L::store(w.re + g + 2, __builtin_shufflevector(cr, dr, 0, 2));
        L::store(w.re + g + 4, __builtin_shufflevector(ar, br, 1, 3));
        L::store(w.re + g + 6, __builtin_shufflevector(cr, dr, 1, 3));
        L::store(w.im + g, __builtin_shufflevector(ai, bi, 0, 2));
        L::store(w.im + g + 2, __builtin_shufflevector(ci, di, 0, 2));
        L::store(w.im + g + 4, __builtin_shufflevector(ai, bi, 1, 3));
        L::store(w.im + g + 6, __builtin_shufflevector(ci, di, 1, 3));
    }
}

// The factors a pass of butterflies takes for j in [first, first + count),
// indexed by j - first: W_s[j] in x, and for a second stage W_s+1[j] in y and
// W_s+1[j + half] in z.
struct Factors {
    const double *xr, *xi, *yr, *yi, *zr, *zi;
    std::size_t first;
    std::size_t count;
};

// Stage s's factors for every j, from the plan's per-stage tables.
// With `both`, the next stage's too.
Factors tabledFactors(const Work& w, std::uint32_t stage, bool both) {
    const std::size_t half = std::size_t{1} << (stage - 1);
    if (!both) {
        return {w.wr + half, w.wi + half, nullptr, nullptr, nullptr, nullptr, 0, half};
    }
    return {w.wr + half,
            w.wi + half,
            w.wr + 2 * half,
            w.wi + 2 * half,
            w.wr + 3 * half,
            w.wi + 3 * half,
            0,
            half};
}

// Stages `stage` and `stage` + 1 of points [begin, end), for the j the factors
// cover, in one pass over groups of four: W_s[j] on (a,b) and (c,d), then
// W_s+1[j] on (a,c) and W_s+1[j+half] on (b,d). Needs half and the factors'
// count to be multiples of the vector width.
template <typename V>
[[gnu::always_inline]] inline void twoStages(const Work& w, std::uint32_t stage, std::size_t begin,
                                             std::size_t end, const Factors& f) {
    using L = Lanes<V>;
    double* const re = w.re;
    double* const im = w.im;
    const std::size_t half = std::size_t{1} << (stage - 1);
    for (std::size_t g = begin; g < end; g += 4 * half) {
        for (std::size_t n = 0; n < f.count; n += L::count) {
            const std::size_t a = g + f.first + n, b = a + half, c = b + half, d = c + half;
            V ar, ai, br, bi, cr, ci, dr, di, xr, xi, yr, yi, zr, zi;
            L::load(ar, re + a), L::load(ai, im + a), L::load(br, re + b), L::load(bi, im + b);
            L::load(cr, re + c), L::load(ci, im + c), L::load(dr, re + d), L::load(di, im + d);
            L::load(xr, f.xr + n), L::load(xi, f.xi + n);
            butterfly(ar, ai, br, bi, xr, xi);
            butterfly(cr, ci, dr, di, xr, xi);
            L::load(yr, f.yr + n), L::load(yi, f.yi + n);
            butterfly(ar, ai, cr, ci, yr, yi);
            L::load(zr, f.zr + n), L::load(zi, f.zi + n);
            butterfly(br, bi, dr, di, zr, zi);
            L::store(re + a, ar), L::store(im + a, ai), L::store(re + b, br);
            L::store(im + b, bi), L::store(re + c, cr), L::store(im + c, ci);
            L::store(re + d, dr), L::store(im + d, di);
        }
    }
}

// Stage `stage` alone on points [begin, end), for the j the factors cover
// (x only). Same widths as above.
template <typename V>
[[gnu::always_inline]] inline void oneStage(const Work& w, std::uint32_t stage, std::size_t begin,
                                            std::size_t end, const Factors& f) {
    using L = Lanes<V>;
    const std::size_t half = std::size_t{1} << (stage - 1);
    for (std::size_t g = begin; g < end; g += 2 * half) {
        for (std::size_t n = 0; n < f.count; n += L::count) {
            const std::size_t a = g + f.first + n, b = a + half;
            V ar, ai, br, bi, xr, xi;
            L::load(ar, w.re + a), L::load(ai, w.im + a);
            L::load(br, w.re + b), L::load(bi, w.im + b);
            L::load(xr, f.xr + n), L::load(xi, f.xi + n);
            butterfly(ar, ai, br, bi, xr, xi);
            L::store(w.re + a, ar), L::store(w.im + a, ai);
            L::store(w.re + b, br), L::store(w.im + b, bi);
        }
    }
}

// The factors of stage `stage` (and of the next when `both`) for j in
// [first, first + kFactorChunk), into `scratch` (6 kFactorChunk values).
[[gnu::noinline]] Factors computeFactors(std::uint32_t stage, bool both, std::size_t first,
                                         double* scratch) {
    double* const x = scratch;
    double* const y = scratch + 2 * kFactorChunk;
    double* const z = scratch + 4 * kFactorChunk;
    const std::size_t half = std::size_t{1} << (stage - 1);
    for (std::size_t n = 0; n < kFactorChunk; ++n) {
        const auto j = static_cast<std::uint32_t>(first + n);
        factorAt(j, stage, x[n], x[kFactorChunk + n]);
        if (both) {
            factorAt(j, stage + 1, y[n], y[kFactorChunk + n]);
            factorAt(static_cast<std::uint32_t>(j + half), stage + 1, z[n], z[kFactorChunk + n]);
        }
    }
    return {x, x + kFactorChunk, y, y + kFactorChunk, z, z + kFactorChunk, first, kFactorChunk};
}

// The stages from `first` on, over the whole array: with the plan's tables, or
// (`scratch` not null) with factors computed a chunk at a time, for plans too
// large to keep them.
template <typename V>
[[gnu::always_inline]] inline void lateStages(const Work& w, std::uint32_t first, double* scratch) {
    std::uint32_t stage = first;
    for (; stage <= w.stages; stage += 2) {
        const bool both = stage + 1 <= w.stages;
        const std::size_t half = std::size_t{1} << (stage - 1);
        if (scratch == nullptr) {
            both ? twoStages<V>(w, stage, 0, w.size, tabledFactors(w, stage, true))
                 : oneStage<V>(w, stage, 0, w.size, tabledFactors(w, stage, false));
            continue;
        }
        for (std::size_t j = 0; j < half; j += kFactorChunk) {
            const Factors factors = computeFactors(stage, both, j, scratch);
            both ? twoStages<V>(w, stage, 0, w.size, factors)
                 : oneStage<V>(w, stage, 0, w.size, factors);
        }
    }
}

// The butterflies of one stage are independent of each other, and those of
// stages 1 to b only combine points inside blocks of 2^b. So the order may
// change as long as every butterfly sees the values it would see stage by
// stage: the early stages run block by block while a block fits the first
// level cache, two stages at a time, and the late ones over the whole array.
// Needs at least 3 stages.
// `scratch`, when not null, holds 2^(kBlockStages + 1) and 6 kFactorChunk values
// for a plan without tables, whose input is packed.
template <typename V>
[[gnu::always_inline]] inline void allStages(const Work& w, double* scratch) {
    const std::uint32_t blockStages = std::min(w.stages, kBlockStages);
    const std::size_t block = std::size_t{1} << blockStages;
    for (std::size_t begin = 0; begin < w.size; begin += block) {
        if (scratch != nullptr) {
            computePackedInput(w, begin, begin + block, scratch, scratch + block);
            firstTwoStages(w, begin, begin + block, PackedInput{scratch, scratch + block, begin});
        } else {
            firstTwoStages(w, begin, begin + block, TableInput{w});
        }
        std::uint32_t stage = 3;
        for (; stage + 1 <= blockStages; stage += 2) {
            twoStages<V>(w, stage, begin, begin + block, tabledFactors(w, stage, true));
        }
        if (stage == blockStages) {
            oneStage<V>(w, stage, begin, begin + block, tabledFactors(w, stage, false));
        }
    }
    lateStages<V>(w, blockStages + 1, scratch == nullptr ? nullptr : scratch + 2 * block);
}

void allStagesBaseline(const Work& w, double* scratch) {
    allStages<Pair>(w, scratch);
}

// The spectrum X[0..half] of 2 half real samples from the transform Z of their
// packing as half complex values, in place over half + 1 bins: with
// E = (Z[k] + conj Z[half - k]) / 2 and O = (Z[k] - conj Z[half - k]) / 2i, the
// transforms of the even and odd samples, X[k] = E + W[k] O and
// X[half - k] = conj(E - W[k] O), W[k] the factor of the full length.
void splitPacked(double* re, double* im, std::uint32_t half, std::uint32_t stages) {
    const double zr = re[0], zi = im[0];
    re[0] = zr + zi, im[0] = 0.0;
    re[half] = zr - zi, im[half] = 0.0;
    for (std::uint32_t k = 1; 2 * k <= half; ++k) {
        const std::uint32_t m = half - k;
        const double er = (re[k] + re[m]) * 0.5, ei = (im[k] - im[m]) * 0.5;
        const double odr = (im[k] + im[m]) * 0.5, odi = (re[m] - re[k]) * 0.5;
        double wr, wi;
        factorAt(k, stages, wr, wi);
        const double tr = wr * odr - wi * odi, ti = wr * odi + wi * odr;
        re[k] = er + tr, im[k] = ei + ti;
        re[m] = er - tr, im[m] = ti - ei;
    }
}

std::atomic<bool> baselineOnly{false};
// Plans of this many points and more keep no window, bit-reversal or padding
// tables: at 2^24 points those would take 235 MB beside the spectrum's 268 MB.
constexpr std::uint32_t kDefaultTablelessFrom = std::uint32_t{1} << 20;
std::atomic<std::uint32_t> tablelessFrom{kDefaultTablelessFrom};

#if defined(__x86_64__) || defined(__i386__)
// The same operations four lanes wide, for processors that have AVX (chosen
// at run time, so the program still runs on any x86-64).
__attribute__((target("avx"))) void allStagesWide(const Work& w, double* scratch) {
    allStages<Quad>(w, scratch);
}

bool useWide() {
    static const bool available = __builtin_cpu_supports("avx");
    return available && !baselineOnly.load(std::memory_order_relaxed);
}
#else
void allStagesWide(const Work& w, double* scratch) {
    allStages<Pair>(w, scratch);
}

bool useWide() {
    return false;
}
#endif

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
    baselineOnly.store(baseline, std::memory_order_relaxed);
}

void FFT::butterflies(const std::int16_t* samples, std::size_t count) {
    if (tableless_) {
        // Samples 2j and 2j + 1 as one complex value: a transform of half the length.
        const Work packed{real_.data(),
                          imag_.data(),
                          twiddleReal_.data(),
                          twiddleImag_.data(),
                          nullptr,
                          samples,
                          nullptr,
                          size_ / 2,
                          stages_ - 1,
                          count,
                          static_cast<double>(size_ - 1)};
        if (useWide()) {
            allStagesWide(packed, scratch_.data());
        } else {
            allStagesBaseline(packed, scratch_.data());
        }
        splitPacked(real_.data(), imag_.data(), size_ / 2, stages_);
        return;
    }
    const Work work{real_.data(),
                    imag_.data(),
                    twiddleReal_.data(),
                    twiddleImag_.data(),
                    windowReversed_.data(),
                    samples,
                    bitReverse_.data(),
                    size_,
                    stages_,
                    count,
                    static_cast<double>(size_ - 1)};
    if (stages_ >= 3) {
        if (useWide()) {
            allStagesWide(work, nullptr);
        } else {
            allStagesBaseline(work, nullptr);
        }
        return;
    }
    // Up to four points: plainly, stage by stage.
    for (std::size_t k = 0; k < work.size; ++k) {
        work.re[k] = work.window[k] * work.samples[work.reverse[k]];
        work.im[k] = 0.0;
    }
    for (std::uint32_t stage = 1; stage <= stages_; ++stage) {
        const std::size_t half = std::size_t{1} << (stage - 1);
        for (std::size_t g = 0; g < work.size; g += 2 * half) {
            for (std::size_t j = 0; j < half; ++j) {
                butterfly(work.re[g + j], work.im[g + j], work.re[g + j + half],
                          work.im[g + j + half], work.wr[half + j], work.wi[half + j]);
            }
        }
    }
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
    Pair largestPair = {0.0, 0.0};
    std::uint32_t k = first;
    for (; k + 2 <= end; k += 2) {
        const Pair r = loadUnaligned(re + k), i = loadUnaligned(im + k);
        const Pair magnitude = r * r + i * i;
        largestPair = magnitude > largestPair ? magnitude : largestPair;
    }
    double largest = largestPair[0] > largestPair[1] ? largestPair[0] : largestPair[1];
    for (; k < end; ++k) {
        const double magnitude = re[k] * re[k] + im[k] * im[k];
        largest = magnitude > largest ? magnitude : largest;
    }
    if (!(largest > 0.0)) {
        return 0.0;
    }
    const double bestAmplitude = 2 * std::sqrt(largest) / n;
    const double candidate = largest * (1.0 - 1e-9);
    for (k = first; k < end; ++k) {
        if (re[k] * re[k] + im[k] * im[k] >= candidate && amplitude(k) == bestAmplitude) {
            return frequency(k);
        }
    }
    return 0.0;
}

}  // namespace libMath
