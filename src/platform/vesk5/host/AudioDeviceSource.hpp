#pragma once

#include "DeviceSource.hpp"

namespace vesk5::host {

// The audio backends of this build as the host's device sources: --audio
// chooses one by name (the first is the default), --machine and --realtime
// go to it. Opening throws kvo::Exception with one line for the user when the
// backend cannot be opened; what it installs (the audio system, and for a
// simulated PC its clock) lives as long as the returned source.
DeviceSources audioDeviceSources();

}  // namespace vesk5::host
