#pragma once

#include <optional>
#include <vector>

#include "AudioDevice.hpp"

namespace audio {

// What the endpoints of every backend share: the state as of the last
// refresh, and formats that an active endpoint offers as one list per share
// mode, matched field for field.
class EndpointBase : public AudioDevice {
public:
    std::uint32_t state() const final { return state_; }
    bool refresh() final;
    std::uint32_t compatibleFormats(kvo::Array<tWAVEFORMATEX>& formats,
                                    _AUDCLNT_SHAREMODE shareMode) final;
    HResult isFormatSupported(const WAVEFORMATEX& format, _AUDCLNT_SHAREMODE shareMode) final;
    // None, unless the backend has a topology to walk.
    std::uint32_t connector(kvo::Array<AudioComponent<IConnector>>& connectors) override {
        connectors.clear();
        return 0;
    }

protected:
    explicit EndpointBase(std::uint32_t state) : state_(state) {}
    // The state now; none when the endpoint cannot be reached any more.
    virtual std::optional<std::uint32_t> currentState() const = 0;
    // What an audio client in `shareMode` accepts; asked of active endpoints only.
    virtual std::vector<WAVEFORMATEX> offeredFormats(_AUDCLNT_SHAREMODE shareMode) const = 0;

private:
    std::uint32_t state_;
};

}  // namespace audio
