#include "EndpointBase.hpp"

#include <algorithm>

namespace audio {
namespace {

// True when `format` is one of `formats`, field for field (the fields the
// format derives are checked too, so an inconsistent record never matches).
bool containsFormat(const std::vector<WAVEFORMATEX>& formats, const WAVEFORMATEX& format) {
    return std::any_of(formats.begin(), formats.end(), [&](const WAVEFORMATEX& offered) {
        return offered.wFormatTag == format.wFormatTag && offered.nChannels == format.nChannels &&
               offered.nSamplesPerSec == format.nSamplesPerSec &&
               offered.wBitsPerSample == format.wBitsPerSample &&
               offered.nBlockAlign == format.nBlockAlign &&
               offered.nAvgBytesPerSec == format.nAvgBytesPerSec;
    });
}

}  // namespace

bool EndpointBase::refresh() {
    const std::optional<std::uint32_t> now = currentState();
    if (!now) {
        return false;
    }
    state_ = *now;
    return true;
}

std::uint32_t EndpointBase::compatibleFormats(kvo::Array<tWAVEFORMATEX>& formats,
                                              _AUDCLNT_SHAREMODE shareMode) {
    formats.clear();
    // An audio client can be created on active endpoints only.
    if (currentState() != DEVICE_STATE_ACTIVE) {
        return 0;
    }
    for (const WAVEFORMATEX& format : offeredFormats(shareMode)) {
        formats.append(format);
    }
    return formats.size();
}

HResult EndpointBase::isFormatSupported(const WAVEFORMATEX& format, _AUDCLNT_SHAREMODE shareMode) {
    if (currentState() != DEVICE_STATE_ACTIVE) {
        return kDeviceInvalidated;
    }
    return containsFormat(offeredFormats(shareMode), format) ? kOk : kUnsupportedFormat;
}

}  // namespace audio
