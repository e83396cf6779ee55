#include "AudioTestHelper.hpp"

#include <tuple>

#include "diag/kvormicrophone/ModuleLogger.hpp"
#include "platform/audio/WaveFile.hpp"

namespace kvormicrophone {
namespace {

// The fields are copied: the record is packed, and a tuple of references to them would be
// misaligned.
std::tuple<std::uint32_t, std::uint16_t, std::uint16_t> sortKey(const WAVEFORMATEX& format) {
    return {std::uint32_t(format.nSamplesPerSec), std::uint16_t(format.nChannels),
            std::uint16_t(format.wBitsPerSample)};
}

// Ascending insertion sort in which an element moves in front of every earlier
// element that is greater or equal, so of two equal formats the later one comes first.
kvo::Array<WAVEFORMATEX> sortedCopy(const kvo::Array<WAVEFORMATEX>& formats) {
    kvo::Array<WAVEFORMATEX> sorted = formats;
    for (std::uint32_t i = 1; i < sorted.size(); ++i) {
        const WAVEFORMATEX moving = sorted[i];
        std::uint32_t j = i;
        while (j > 0 && sortKey(sorted[j - 1]) >= sortKey(moving)) {
            sorted[j] = sorted[j - 1];
            --j;
        }
        sorted[j] = moving;
    }
    return sorted;
}

// Walks from the best format down and stops at the first that `fits`.
template <typename Fits>
bool pickBest(const kvo::Array<WAVEFORMATEX>& sorted, const char* attempt, WAVEFORMATEX& chosen,
              Fits fits) {
    for (std::uint32_t i = sorted.size(); i-- > 0;) {
        KVO_LOG(moduleLogger(), kvo::kLogInfo, "{}", attempt);
        chosen = sorted[i];
        // The record is packed: its fields are copied before they are formatted by reference.
        const unsigned channels = chosen.nChannels;
        const unsigned bits = chosen.wBitsPerSample;
        const unsigned rate = chosen.nSamplesPerSec;
        KVO_LOG(moduleLogger(), kvo::kLogInfo, "Waveformatex : {} chan {} bits {}Hz", channels,
                bits, rate);
        if (fits(chosen)) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool negotiateWaveFormat(const kvo::Array<WAVEFORMATEX>& playbackFormats,
                         const kvo::Array<WAVEFORMATEX>& recordFormats,
                         WAVEFORMATEX& playbackFormat, WAVEFORMATEX& recordFormat) {
    if (playbackFormats.empty() || recordFormats.empty()) {
        KVO_LOG(moduleLogger(), kvo::kLogError, "One of the input format list is empty.");
        return false;
    }
    const kvo::Array<WAVEFORMATEX> playback = sortedCopy(playbackFormats);
    const kvo::Array<WAVEFORMATEX> record = sortedCopy(recordFormats);
    playbackFormat = WAVEFORMATEX{};
    recordFormat = WAVEFORMATEX{};
    playbackFormat.wFormatTag = audio::WAVE_FORMAT_PCM;
    recordFormat.wFormatTag = audio::WAVE_FORMAT_PCM;

    if (!pickBest(record, "Negotiating recordFormat", recordFormat,
                  [](const WAVEFORMATEX& f) { return f.wBitsPerSample == 16; })) {
        KVO_LOG(moduleLogger(), kvo::kLogError, "Unable to negotiate a 16 bit recording format");
        return false;
    }
    if (!pickBest(playback, "Negotiated playbackFormat", playbackFormat, [](const WAVEFORMATEX& f) {
            return f.nChannels == 2 && f.wBitsPerSample == 16;
        })) {
        KVO_LOG(moduleLogger(), kvo::kLogError, "Unable to negotitate stereo 16 bits playback");
        return false;
    }
    return true;
}

bool createStereoPlayback(const kvo::String& path, libAudio::StaticPCMBuffer& track) {
    audio::WaveFile file;
    if (!file.loadFile(path)) {
        KVO_LOG(moduleLogger(), kvo::kLogError, "Cannot read {}: {}", path, file.error());
        return false;
    }
    const WAVEFORMATEX& format = file.format();
    const auto* samples = reinterpret_cast<const unsigned char*>(file.samples().data());
    track.position = 0;
    if (format.nChannels >= 2) {
        track.format.Format = format;
        track.pcmStorage.assign(samples, static_cast<std::size_t>(file.dataBytes()));
        return true;
    }
    WAVEFORMATEX stereo;
    stereo.wFormatTag = audio::WAVE_FORMAT_PCM;
    stereo.nChannels = 2;
    stereo.nSamplesPerSec = format.nSamplesPerSec;
    stereo.wBitsPerSample = format.wBitsPerSample;
    stereo.nBlockAlign = static_cast<std::uint16_t>(format.wBitsPerSample * 2 / 8);
    stereo.nAvgBytesPerSec = stereo.nBlockAlign * format.nSamplesPerSec;
    stereo.cbSize = 0;
    track.format.Format = stereo;
    track.pcmStorage.resize(0);
    track.pcmStorage.resize(static_cast<std::size_t>(file.dataBytes() * 2));
    auto* out = reinterpret_cast<std::int16_t*>(track.pcmStorage.data());
    for (const std::int16_t sample : file.samples()) {
        *out++ = sample;
        *out++ = sample;
    }
    return true;
}

}  // namespace kvormicrophone
