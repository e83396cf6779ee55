#pragma once

#include <memory>

#include "DeviceSource.hpp"
#include "platform/audio/Backends.hpp"

namespace vesk5::host {

// The audio backends of this build as the host's device sources: --audio
// chooses one by name (the first is the default), --machine and --realtime
// go to it. Opening throws kvo::Exception with one line for the user when the
// backend cannot be opened; what it installs (the audio system, and for a
// simulated PC its clock) lives as long as the returned source.
DeviceSources audioDeviceSources();

struct OpenedBackend {
    const audio::Backend* backend = nullptr;
    std::unique_ptr<audio::BackendSession> session;
};

// Opens the backend that --audio names (or the default) with --machine and
// --realtime. Throws UsageError when the options do not fit the backend, and
// kvo::Exception with one line for the user when it cannot be opened.
OpenedBackend openBackend(const Options& options);

}  // namespace vesk5::host
