#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/audio/WaveFormat.hpp"
#include "platform/kvo/String.hpp"

namespace audio {

inline constexpr std::uint32_t kMaxWaveChannels = 256;
inline constexpr std::uint32_t kMaxWaveSampleRate = 1000000;

// Where a WAV parse reads its bytes: memory or a file read piece by piece.
class WaveBytes {
public:
    virtual ~WaveBytes() = default;
    virtual std::size_t size() const = 0;
    // `count` bytes at `offset`, valid until the next call; null, with error()
    // saying why, when they cannot be read.
    virtual const unsigned char* at(std::size_t offset, std::size_t count) = 0;
    virtual kvo::String error() const = 0;
};

// Where the samples of a RIFF/WAVE file are and how they are stored.
struct WaveLayout {
    WAVEFORMATEX file;  // the fmt chunk's fields as the file has them
    bool isFloat = false;
    unsigned sampleBytes = 0;
    std::size_t dataOffset = 0;
    std::size_t frames = 0;  // whole frames of the data chunk
};

// Walks the chunks and checks the format: PCM of 8, 16, 24 or 32 bits, IEEE
// float of 32 or 64 bits, plain or WAVE_FORMAT_EXTENSIBLE. Reads only chunk
// headers and the fmt chunk. False with the reason in `error`.
bool parseWaveLayout(WaveBytes& bytes, WaveLayout& layout, kvo::String& error);

// Converts `frames` frames stored as `layout` says to interleaved signed
// 16-bit: integer samples keep their top 16 bits (8-bit ones are unsigned and
// centred first), float samples are scaled by 32768, rounded and clipped.
void convertFrames(const WaveLayout& layout, const unsigned char* from, std::size_t frames,
                   std::int16_t* to);

}  // namespace audio
