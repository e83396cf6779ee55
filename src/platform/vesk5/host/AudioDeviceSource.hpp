#pragma once

#include <memory>

#include "DeviceSource.hpp"

namespace vesk5::host {

// Opens the audio system that the options name (--audio, --machine,
// --realtime) for one command; throws kvo::Exception with one line for the
// user when it cannot. A simulated system runs on a virtual clock unless
// --realtime is given; the clock and the audio system are installed for the
// lifetime of the returned source.
std::unique_ptr<DeviceSource> openAudioDevices(const Options& options);

}  // namespace vesk5::host
