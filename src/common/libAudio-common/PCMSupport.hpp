#pragma once

#include <cstdint>

#include "StaticPCMBuffer.hpp"
#include "platform/audio/WaveFormat.hpp"
#include "platform/kvo/String.hpp"

namespace libAudio {

// Builds a zero-filled buffer of `format` holding `seconds` of audio, rounded to
// the nearest block. False for a format without byte rate or block alignment
// (buffer untouched) or when the block count does not fit the 32-bit storage size.
bool createPCMBuffer(const audio::WAVEFORMATEX& format, double seconds, StaticPCMBuffer& buffer);

// Writes a 16-bit sine tone of phase 0 into one channel of every frame; a mono
// buffer takes it in its only channel whatever `channel` says. False for an
// empty buffer.
bool createSinusoid(int channel, unsigned amplitude, double frequency, StaticPCMBuffer& buffer);

// Mean and population standard deviation of `count` signed 16-bit samples
// `strideBytes` apart, summed in index order.
double mean(const void* samples, unsigned count, int strideBytes);
double stdDev(const void* samples, unsigned count, unsigned strideBytes);

// Writes a RIFF/WAVE file with a 16-byte fmt chunk and the PCM bytes unchanged,
// as a new file renamed over `path` (see kvo::FileWriter). False when any byte
// could not be written; `path` is then left as it was.
bool createPCMWaveFile(const kvo::String& path, const audio::WAVEFORMATEX& format, const void* data,
                       std::uint64_t dataBytes);

}  // namespace libAudio
