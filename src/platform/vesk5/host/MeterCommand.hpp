#pragma once

#include "CommandLine.hpp"

namespace vesk5::host {

// `kvormicrophone meter`: the live levels of one microphone, with its volume,
// mute and boost as read from its controls, until Ctrl-C or --seconds. It only
// reads the controls. Returns the exit status.
int runMeter(const Options& options);

}  // namespace vesk5::host
