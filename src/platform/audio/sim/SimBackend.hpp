#pragma once

#include <memory>

#include "platform/audio/Backends.hpp"

namespace audio::sim {

// The "sim" entry of the backend table: the simulated PC of the options, on
// a virtual clock (unless realtime) that is in place before the PC starts,
// with the MCI service on its wave devices. Throws MachineFileError.
std::unique_ptr<BackendSession> openSimulatedPc(const BackendOptions& options);

}  // namespace audio::sim
