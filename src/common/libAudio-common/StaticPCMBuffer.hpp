#pragma once

#include <cstdint>

#include "platform/audio/WaveFormat.hpp"
#include "platform/kvo/GrowableArray.hpp"

namespace libAudio {

// The one container of PCM audio: a wave format and interleaved PCM bytes.
// Capture and playback objects of the audio layer read and write it directly,
// so it stays a plain record with its members in this order.
struct StaticPCMBuffer {
    audio::WAVEFORMATEXTENSIBLE format;  // only the WAVEFORMATEX part is ever filled
    kvo::ByteArray pcmStorage;
    std::uint64_t position = 0;  // belongs to the capture/playback side

    // Bytes / nBlockAlign.
    std::uint32_t numBlocks() const;
    // Bytes / nBlockAlign / nSamplesPerSec, in seconds.
    double duration() const;
    // Copies one channel's samples, de-interleaved, into `out`.
    bool getChannelData(int channel, kvo::ByteArray& out) const;
    // Drops the first `seconds` of audio.
    bool truncateFront(double seconds);
};

}  // namespace libAudio
