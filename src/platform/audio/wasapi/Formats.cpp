#include "Formats.hpp"

#include <algorithm>
#include <cstring>

namespace audio::wasapi {
namespace {

static_assert(sizeof(::WAVEFORMATEX) == sizeof(WAVEFORMATEX));

// KSDATAFORMAT_SUBTYPE_PCM: the PCM tag in the GUID of extensible formats.
constexpr GUID kPcmSubtype = {
    0x00000001, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71}};

::AUDCLNT_SHAREMODE windowsMode(_AUDCLNT_SHAREMODE mode) {
    return mode == AUDCLNT_SHAREMODE_EXCLUSIVE ? ::AUDCLNT_SHAREMODE_EXCLUSIVE
                                               : ::AUDCLNT_SHAREMODE_SHARED;
}

}  // namespace

::WAVEFORMATEX toWindows(const WAVEFORMATEX& format) {
    ::WAVEFORMATEX windows;
    std::memcpy(&windows, &format, sizeof(windows));
    windows.cbSize = 0;
    return windows;
}

bool pcmFormatOf(const ::WAVEFORMATEX& format, WAVEFORMATEX& pcm) {
    bool isPcm = format.wFormatTag == WAVE_FORMAT_PCM;
    if (format.wFormatTag == WAVE_FORMAT_EXTENSIBLE && format.cbSize >= 22) {
        const auto& extensible = reinterpret_cast<const ::WAVEFORMATEXTENSIBLE&>(format);
        isPcm = extensible.SubFormat == kPcmSubtype &&
                extensible.Samples.wValidBitsPerSample == format.wBitsPerSample;
    }
    if (!isPcm) {
        return false;
    }
    pcm = makePcmFormat(format.nChannels, format.nSamplesPerSec, format.wBitsPerSample);
    return true;
}

HResult supportsFormat(IAudioClient& client, const WAVEFORMATEX& format,
                       _AUDCLNT_SHAREMODE shareMode) {
    const ::WAVEFORMATEX windows = toWindows(format);
    ::WAVEFORMATEX* closest = nullptr;
    const HRESULT hr =
        client.IsFormatSupported(windowsMode(shareMode), &windows,
                                 shareMode == AUDCLNT_SHAREMODE_SHARED ? &closest : nullptr);
    CoTaskMemFree(closest);
    return hr == S_FALSE ? kUnsupportedFormat : hr;
}

std::vector<WAVEFORMATEX> acceptedFormats(IAudioClient& client, _AUDCLNT_SHAREMODE shareMode) {
    std::vector<WAVEFORMATEX> formats;
    if (shareMode == AUDCLNT_SHAREMODE_SHARED) {
        ::WAVEFORMATEX* mix = nullptr;
        WAVEFORMATEX pcm;
        if (SUCCEEDED(client.GetMixFormat(&mix)) && mix != nullptr && pcmFormatOf(*mix, pcm)) {
            formats.push_back(pcm);
        }
        CoTaskMemFree(mix);
    }
    for (const std::uint32_t rate : {8000U, 11025U, 16000U, 22050U, 32000U, 44100U, 48000U, 88200U,
                                     96000U, 176400U, 192000U}) {
        for (const std::uint16_t bits : {8, 16, 24, 32}) {
            for (const std::uint16_t channels : {1, 2}) {
                const WAVEFORMATEX candidate = makePcmFormat(channels, rate, bits);
                if (supportsFormat(client, candidate, shareMode) == kOk &&
                    std::find(formats.begin(), formats.end(), candidate) == formats.end()) {
                    formats.push_back(candidate);
                }
            }
        }
    }
    return formats;
}

}  // namespace audio::wasapi
