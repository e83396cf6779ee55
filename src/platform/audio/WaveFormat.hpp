#pragma once

#include <cstdint>

namespace audio {

inline constexpr std::uint16_t WAVE_FORMAT_PCM = 1;
inline constexpr std::uint16_t WAVE_FORMAT_IEEE_FLOAT = 3;
inline constexpr std::uint16_t WAVE_FORMAT_EXTENSIBLE = 0xFFFE;

// The Windows multimedia format record, field for field, so that the Windows
// backend converts it by copying and every other platform uses the same one.
#pragma pack(push, 1)
struct WAVEFORMATEX {
    std::uint16_t wFormatTag = 0;
    std::uint16_t nChannels = 0;
    std::uint32_t nSamplesPerSec = 0;
    std::uint32_t nAvgBytesPerSec = 0;
    std::uint16_t nBlockAlign = 0;
    std::uint16_t wBitsPerSample = 0;
    std::uint16_t cbSize = 0;

    bool operator==(const WAVEFORMATEX&) const = default;
};

// WAVEFORMATEX followed by the 22 bytes of the extensible part (40 bytes).
struct WAVEFORMATEXTENSIBLE {
    WAVEFORMATEX Format;
    std::uint8_t extension[22] = {};
};
#pragma pack(pop)
static_assert(sizeof(WAVEFORMATEX) == 18);
static_assert(sizeof(WAVEFORMATEXTENSIBLE) == 40);

using tWAVEFORMATEX = WAVEFORMATEX;

// A PCM format with its block alignment and byte rate derived from the other fields.
constexpr WAVEFORMATEX makePcmFormat(std::uint16_t channels, std::uint32_t samplesPerSec,
                                     std::uint16_t bitsPerSample) {
    WAVEFORMATEX format;
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = channels;
    format.nSamplesPerSec = samplesPerSec;
    format.wBitsPerSample = bitsPerSample;
    format.nBlockAlign = static_cast<std::uint16_t>(bitsPerSample / 8 * channels);
    format.nAvgBytesPerSec = format.nBlockAlign * samplesPerSec;
    return format;
}

// Block alignment and byte rate agree with channels, bits and rate.
constexpr bool isConsistentFormat(const WAVEFORMATEX& format) {
    return format.nChannels > 0 && format.wBitsPerSample > 0 && format.wBitsPerSample % 8 == 0 &&
           format.nBlockAlign == format.nChannels * format.wBitsPerSample / 8 &&
           format.nAvgBytesPerSec == format.nBlockAlign * format.nSamplesPerSec;
}

// What the wave mapper accepts: PCM of 8 or 16 bits, mono or stereo, 8 to 96 kHz.
constexpr bool isWaveFormat(const WAVEFORMATEX& format) {
    return format.wFormatTag == WAVE_FORMAT_PCM && isConsistentFormat(format) &&
           (format.wBitsPerSample == 8 || format.wBitsPerSample == 16) && format.nChannels <= 2 &&
           format.nSamplesPerSec >= 8000 && format.nSamplesPerSec <= 96000;
}

}  // namespace audio
