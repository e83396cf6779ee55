#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "AudioTypes.hpp"

// The device topology behind an endpoint: the adapter's parts (connectors and
// subunits) linked into a graph, some of which carry a per-channel gain in dB.
// Shaped after IDeviceTopology so that a depth-first walk written against these
// interfaces runs unchanged on every backend. Every operation returns an
// HResult; out parameters are written only on success.

namespace audio {

class IPart;
class IPartsList;
class IAudioVolumeLevel;

enum PartType : int { Connector = 0, Subunit = 1 };

// One part's description, as IPart reports it.
struct AudioPart {
    std::string name;  // "Microphone Boost", "Capture", "Microphone Array"
    std::uint32_t localId = 0;
    PartType type = Subunit;
};

// An interface reference with the description of its part.
template <typename Interface>
struct AudioComponent {
    std::shared_ptr<Interface> component;
    AudioPart part;
};

// Per-channel gain in dB (IPerChannelDbLevel / IAudioVolumeLevel).
class IAudioVolumeLevel {
public:
    virtual ~IAudioVolumeLevel() = default;
    virtual HResult GetChannelCount(std::uint32_t& count) = 0;
    virtual HResult GetLevelRange(std::uint32_t channel, float& minDb, float& maxDb,
                                  float& stepDb) = 0;
    virtual HResult GetLevel(std::uint32_t channel, float& levelDb) = 0;
    // The level is clamped to the range and rounded to the nearest step from
    // the minimum; a channel beyond the count is kInvalidArg.
    virtual HResult SetLevel(std::uint32_t channel, float levelDb) = 0;
};

class IPartsList {
public:
    virtual ~IPartsList() = default;
    virtual HResult GetCount(std::uint32_t& count) = 0;
    virtual HResult GetPart(std::uint32_t index, std::shared_ptr<IPart>& part) = 0;
};

class IPart {
public:
    virtual ~IPart() = default;
    virtual HResult GetName(std::string& name) = 0;
    virtual HResult GetLocalId(std::uint32_t& localId) = 0;
    virtual HResult GetPartType(PartType& type) = 0;
    // Parts that the signal reaches from this one / that feed this one.
    // A part at the end of the graph answers kNotFound.
    virtual HResult EnumPartsOutgoing(std::shared_ptr<IPartsList>& parts) = 0;
    virtual HResult EnumPartsIncoming(std::shared_ptr<IPartsList>& parts) = 0;
    // IPart::Activate(CLSCTX_ALL, IID_IAudioVolumeLevel): kNoInterface for a
    // part without a gain stage.
    virtual HResult Activate(std::shared_ptr<IAudioVolumeLevel>& volumeLevel) = 0;
};

class IConnector {
public:
    virtual ~IConnector() = default;
    // The connector on the other side: for an endpoint's connector, the
    // adapter's. kNotFound when it is not connected.
    virtual HResult GetConnectedTo(std::shared_ptr<IConnector>& other) = 0;
    // QueryInterface(IID_IPart): every connector is also a part.
    virtual HResult QueryInterface(std::shared_ptr<IPart>& part) = 0;
};

}  // namespace audio
