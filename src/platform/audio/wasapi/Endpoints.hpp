#pragma once

#include <memory>
#include <string>
#include <vector>

#include "AdapterInfo.hpp"
#include "Context.hpp"
#include "platform/audio/AudioDevice.hpp"

// Endpoints (IMMDevice) and the sound cards they are grouped into. An
// endpoint object keeps only its id and looks the device up for every call,
// so it answers for the device as it is now and fails once it is gone.

namespace audio::wasapi {

struct EndpointRecord {
    std::wstring id;
    std::string utf8Id;
    EndpointPlace place;
    DeviceProperty property;
    std::uint32_t state = 0;
    AdapterInfo card;
};

// Reads one endpoint (and the card it belongs to) and remembers its place.
EndpointRecord describeEndpoint(Context& context, IMMDevice& device);
// Every endpoint of a direction (eAll for both) whose state is in the mask.
std::vector<EndpointRecord> enumerateEndpoints(Context& context, EDataFlow flow,
                                               std::uint32_t stateMask);

AudioDevicePtr makeEndpoint(const std::shared_ptr<Context>& context, const EndpointRecord& record);
// The sound cards of every endpoint, in all states, in the order first seen.
std::vector<SoundCardPtr> soundCardsOf(const std::shared_ptr<Context>& context);

// For an endpoint without a device topology, where no jack can be read: a
// speaker or microphone form factor counts as built in, any other as a jack.
std::vector<KSJACK_DESCRIPTION> jacksFromFormFactor(EDataFlow flow, EndpointFormFactor formFactor,
                                                    bool active);

// The endpoint id of this backend's endpoint object; null for any other object.
const std::wstring* endpointIdOf(const AudioDevice& device, const Context& context);

}  // namespace audio::wasapi
