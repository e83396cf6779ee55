#pragma once

#include <string>

namespace vesk5::host {

// The per-user folder a run writes to when --base-dir is not given:
// %LOCALAPPDATA%\kvormicrophone on Windows; $XDG_STATE_HOME/kvormicrophone,
// else ~/.local/state/kvormicrophone elsewhere. "" when the environment
// names no such folder.
std::string userStateDirectory();

}  // namespace vesk5::host
