#pragma once

#include <memory>
#include <string>

#include "platform/audio/Backends.hpp"

// What one backend's instantiation of the conformance suite (AudioContract.hpp)
// tells it. A backend adds one file that defines a target and instantiates
// the suite with it:
//
//   struct WasapiTarget : audio::contract::ContractTarget { ... };
//   INSTANTIATE_TYPED_TEST_SUITE_P(Wasapi, AudioContract, WasapiTarget);
//
// The target is made once per test program (start a private server in its
// constructor); every case opens the backend afresh through the backend table.

namespace audio::contract {

// What a backend may be unable to show. A case that needs one is skipped with
// the reason the target gives.
enum class Feature {
    Loopback,       // a microphone that hears a speaker
    DeviceRemoval,  // a device the test can make go away
    Notifications,  // observers are told of endpoint changes
    VolumeControl,  // an endpoint's level and mute can be set and read back
};

class ContractTarget {
public:
    virtual ~ContractTarget() = default;

    // The backend's name in the backend table, and the options it is opened with.
    virtual std::string backend() const = 0;
    virtual BackendOptions options() const { return {}; }

    // Why the backend cannot show `feature` here; empty when it can.
    virtual std::string lacks(Feature) const { return {}; }

    // Endpoint ids: a render endpoint, and a capture endpoint that hears it
    // (when there is a loopback).
    virtual std::string speaker() const = 0;
    virtual std::string microphone() const = 0;

    // A capture endpoint that goes away when removeDevice is called, for a
    // session opened at most a moment ago.
    virtual std::string removableMicrophone() const { return {}; }
    virtual void prepareRemovableDevice() {}
    virtual void removeDevice() {}
};

}  // namespace audio::contract
