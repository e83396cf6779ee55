// libFuzzer entry for the WAV reader: any input either loads into a consistent
// 16-bit format or fails with a message, and never reads outside its input
// (the address sanitizer sees to that) or allocates beyond twice its size.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "platform/audio/WaveFile.hpp"

namespace {

void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "WaveFile invariant broken: %s\n", what);
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    audio::WaveFile wave;
    const bool loaded = wave.loadMemory(data, size);
    require(loaded == wave.isLoaded(), "result and state agree");
    if (!loaded) {
        require(!wave.error().empty(), "a failure names its problem");
        require(wave.samples().empty(), "a failure keeps no samples");
        return 0;
    }
    const audio::WAVEFORMATEX& format = wave.format();
    require(wave.error().empty(), "a success has no error");
    require(format.wFormatTag == audio::WAVE_FORMAT_PCM && format.wBitsPerSample == 16,
            "the result is 16-bit PCM");
    require(format.nChannels >= 1 && format.nChannels <= audio::WaveFile::kMaxChannels,
            "channel count in range");
    require(format.nSamplesPerSec >= 1 && format.nSamplesPerSec <= audio::WaveFile::kMaxSampleRate,
            "rate in range");
    require(format.nBlockAlign == 2 * format.nChannels, "block alignment of 16-bit frames");
    require(wave.samples().size() == std::size_t{wave.numBlocks()} * format.nChannels,
            "whole frames only");
    require(wave.dataBytes() <= 2 * size, "output at most twice the input");
    return 0;
}
