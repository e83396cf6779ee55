#include "FFTStages.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

namespace libMath::stages {
namespace {

constexpr double kTwoPi = 6.283185307179586;

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

}  // namespace

void factorAt(std::uint32_t k, std::uint32_t stages, double& re, double& im) {
    const double angle = k * kTwoPi / static_cast<double>(std::uint64_t{1} << stages);
    re = std::cos(angle);
    im = -std::sin(angle);
}

std::uint32_t reverseBits(std::uint32_t k, std::uint32_t stages) {
    std::uint32_t reversed = 0;
    for (std::uint32_t bit = 0; bit < stages; ++bit) {
        reversed = (reversed << 1) | ((k >> bit) & 1u);
    }
    return reversed;
}

double hannAt(std::uint32_t i, double span) {
    return 0.5 - std::cos(i * kTwoPi / span) * 0.5;
}

namespace {

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

std::atomic<bool> baselineOnly{false};

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

// Up to four points: plainly, stage by stage.
void fewStages(const Work& w) {
    for (std::size_t k = 0; k < w.size; ++k) {
        w.re[k] = w.window[k] * w.samples[w.reverse[k]];
        w.im[k] = 0.0;
    }
    for (std::uint32_t stage = 1; stage <= w.stages; ++stage) {
        const std::size_t half = std::size_t{1} << (stage - 1);
        for (std::size_t g = 0; g < w.size; g += 2 * half) {
            for (std::size_t j = 0; j < half; ++j) {
                butterfly(w.re[g + j], w.im[g + j], w.re[g + j + half], w.im[g + j + half],
                          w.wr[half + j], w.wi[half + j]);
            }
        }
    }
}

}  // namespace

void transform(const Work& w, double* scratch) {
    if (w.stages < 3) {
        fewStages(w);
    } else if (useWide()) {
        allStagesWide(w, scratch);
    } else {
        allStagesBaseline(w, scratch);
    }
}

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

double largestMagnitude(const double* re, const double* im, std::uint32_t first,
                        std::uint32_t end) {
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
    return largest;
}

void useBaselineVectorsOnly(bool baseline) {
    baselineOnly.store(baseline, std::memory_order_relaxed);
}

}  // namespace libMath::stages
