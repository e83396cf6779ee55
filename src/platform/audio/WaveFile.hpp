#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/audio/WaveFormat.hpp"
#include "platform/audio/WaveLayout.hpp"
#include "platform/kvo/String.hpp"

namespace audio {

// Reads RIFF/WAVE files: PCM of 8, 16, 24 or 32 bits, IEEE float of 32 or 64
// bits, either plain or as WAVE_FORMAT_EXTENSIBLE, with any other chunks
// skipped. Samples are converted to interleaved signed 16-bit: integer samples
// keep their top 16 bits (8-bit ones are unsigned and centred first), float
// samples are scaled by 32768, rounded to nearest and clipped.
//
// Errors are results, not exceptions: a load returns false, error() names the
// problem, and the object is left empty. A malformed file never makes the
// reader read outside its input or allocate more than twice the input's size.
class WaveFile {
public:
    static constexpr std::uint32_t kMaxChannels = kMaxWaveChannels;
    static constexpr std::uint32_t kMaxSampleRate = kMaxWaveSampleRate;
    // A file's size is bounded: ten minutes of 48 kHz stereo 16-bit audio
    // (115.2 MB) with room for its chunks.
    static constexpr std::size_t kMaxFileBytes = 120000000;

    // Reads a regular file of at most kMaxFileBytes; a FIFO or device is refused unread.
    // Memory holds the converted samples only, never the file's bytes as well.
    bool loadFile(const kvo::String& path);
    bool loadMemory(const void* bytes, std::size_t size);

    bool isLoaded() const { return loaded_; }
    const kvo::String& error() const { return error_; }

    // 16-bit PCM with the file's channels and rate.
    const WAVEFORMATEX& format() const { return format_; }
    // The fmt chunk's fields as the file has them.
    const WAVEFORMATEX& fileFormat() const { return fileFormat_; }
    // Interleaved, numBlocks() x channels; a partial frame at the end is dropped.
    const std::vector<std::int16_t>& samples() const { return samples_; }
    std::uint32_t numBlocks() const;
    // Size of samples() in bytes.
    std::uint64_t dataBytes() const { return samples_.size() * sizeof(std::int16_t); }

private:
    bool fail(kvo::String message);

    bool loaded_ = false;
    kvo::String error_;
    WAVEFORMATEX format_;
    WAVEFORMATEX fileFormat_;
    std::vector<std::int16_t> samples_;
};

}  // namespace audio
