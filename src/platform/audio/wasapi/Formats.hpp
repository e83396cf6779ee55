#pragma once

#include <vector>

#include "platform/audio/AudioTypes.hpp"
#include "platform/audio/WaveFormat.hpp"
// The SDK after the layer's headers (see WindowsHeaders.hpp).
#include "ComSupport.hpp"

// The formats an audio client accepts, in the layer's terms.

namespace audio::wasapi {

// The layer's format record is Windows' own, byte for byte.
::WAVEFORMATEX toWindows(const WAVEFORMATEX& format);
// The PCM format a Windows record describes (an extensible one with PCM
// samples as plain PCM); false for any other kind of samples.
bool pcmFormatOf(const ::WAVEFORMATEX& format, WAVEFORMATEX& pcm);

// IsFormatSupported for exactly this format: kOk, or why not. A shared-mode
// answer of "not this one, but a close one" (S_FALSE) is kUnsupportedFormat,
// since a stream in that format would be refused.
HResult supportsFormat(IAudioClient& client, const WAVEFORMATEX& format,
                       _AUDCLNT_SHAREMODE shareMode);

// The mix format when it is PCM (shared mode only), then every PCM candidate
// (8 to 32 bits, 1 or 2 channels, 8 to 192 kHz) the client accepts as it is.
std::vector<WAVEFORMATEX> acceptedFormats(IAudioClient& client, _AUDCLNT_SHAREMODE shareMode);

}  // namespace audio::wasapi
