#pragma once

#include "common/libAudio-common/StaticPCMBuffer.hpp"
#include "platform/audio/WaveFormat.hpp"
#include "platform/kvo/Array.hpp"
#include "platform/kvo/String.hpp"

namespace kvormicrophone {

using audio::WAVEFORMATEX;

// Chooses the record format (highest rate, then most channels, with 16 bits)
// and the playback format (the same order, stereo 16 bits) from the formats
// two endpoints accept. The lists are not changed. After a failure the
// outputs hold the last format tried.
bool negotiateWaveFormat(const kvo::Array<WAVEFORMATEX>& playbackFormats,
                         const kvo::Array<WAVEFORMATEX>& recordFormats,
                         WAVEFORMATEX& playbackFormat, WAVEFORMATEX& recordFormat);

// Loads a WAV file into `track` as 16-bit PCM; a mono file becomes stereo with
// each sample in both channels. False when the file cannot be read.
bool createStereoPlayback(const kvo::String& path, libAudio::StaticPCMBuffer& track);

}  // namespace kvormicrophone
