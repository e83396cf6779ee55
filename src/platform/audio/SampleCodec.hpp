#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "WaveFormat.hpp"

// Reading and writing single samples of PCM and IEEE-float wave data: the one
// place that knows their byte layouts (little-endian; 8-bit PCM unsigned
// around 128, wider PCM signed).

namespace audio {

struct SampleLayout {
    unsigned bytes = 2;  // 1 to 4 for PCM, 4 or 8 for float
    bool isFloat = false;
};

inline constexpr SampleLayout kPcm16{2, false};

// The layout of a format's samples; float only when its tag says IEEE float.
constexpr SampleLayout sampleLayoutOf(const WAVEFORMATEX& format) {
    return {format.wBitsPerSample / 8U, format.wFormatTag == WAVE_FORMAT_IEEE_FLOAT};
}

// The sample at full scale 1.0: PCM exactly, float as stored.
inline double readSample(const unsigned char* p, SampleLayout layout) {
    if (layout.bytes == 1) {
        return (static_cast<int>(p[0]) - 128) / 128.0;
    }
    std::uint32_t word = 0;
    for (unsigned i = 0; i < std::min(layout.bytes, 4U); ++i) {
        word |= static_cast<std::uint32_t>(p[i]) << (8 * i);
    }
    if (layout.isFloat) {
        if (layout.bytes == 8) {
            double value;
            std::memcpy(&value, p, sizeof value);
            return value;
        }
        float value;
        std::memcpy(&value, &word, sizeof value);
        return value;
    }
    // Shifted to the top of 32 bits, every width reads on one scale.
    return static_cast<std::int32_t>(word << (8 * (4 - std::min(layout.bytes, 4U)))) / 2147483648.0;
}

// The sample as 16 bits: PCM keeps its top 16 bits; float is scaled by 32768,
// rounded half up and clipped, NaN reading as 0.
inline std::int16_t readSample16(const unsigned char* p, SampleLayout layout) {
    if (layout.isFloat) {
        const double scaled = readSample(p, layout) * 32768.0;
        if (std::isnan(scaled)) {
            return 0;
        }
        if (scaled >= 32767.0) {
            return 32767;
        }
        if (scaled <= -32768.0) {
            return -32768;
        }
        return static_cast<std::int16_t>(std::floor(scaled + 0.5));
    }
    if (layout.bytes == 1) {
        return static_cast<std::int16_t>((p[0] - 128) * 256);
    }
    const unsigned char* const top = p + layout.bytes - 2;
    return static_cast<std::int16_t>(top[0] | top[1] << 8);
}

// Writes a 16-bit sample: PCM widened with zero bits below or cut to its top
// bits, float as value / 32768.
inline void writeSample16(unsigned char* p, SampleLayout layout, std::int16_t value) {
    std::uint32_t word = static_cast<std::uint32_t>(static_cast<std::int32_t>(value));
    if (layout.isFloat) {
        if (layout.bytes == 8) {
            const double scaled = value / 32768.0;
            std::memcpy(p, &scaled, sizeof scaled);
            return;
        }
        const float scaled = static_cast<float>(value / 32768.0);
        std::memcpy(&word, &scaled, sizeof word);
    } else if (layout.bytes == 1) {
        p[0] = static_cast<unsigned char>((value >> 8) + 128);
        return;
    } else {
        word <<= 8 * (layout.bytes - 2);
    }
    for (unsigned i = 0; i < layout.bytes; ++i) {
        p[i] = static_cast<unsigned char>((word >> (8 * i)) & 0xFF);
    }
}

// A full-scale value quantised to 16 bits (to nearest, clipped), written.
inline void writeSample(unsigned char* p, SampleLayout layout, double value) {
    const double scaled = std::clamp(std::nearbyint(value * 32768.0), -32768.0, 32767.0);
    writeSample16(p, layout, static_cast<std::int16_t>(scaled));
}

}  // namespace audio
