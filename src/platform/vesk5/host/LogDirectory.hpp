#pragma once

#include <cstdint>
#include <string>

namespace vesk5::host {

// "<base>/logs": the run's log file and the recordings a test writes.
std::string logDirectory(const std::string& baseDirectory);

// Creates "<base>/logs" when missing. Returns "" or the reason it cannot be
// used: a link there would send the run's files out of the base folder.
std::string prepareLogDirectory(const std::string& baseDirectory);

// Holds "<base>/logs/kvormicrophone.lock" for as long as it lives, so that a
// second run on the same base folder is refused instead of mixing its log,
// recordings and the user's levels with this one's. The operating system
// drops the hold when the process ends, however it ends.
class BaseFolderLock {
public:
    // Returns "" when held, else the one-line reason.
    std::string acquire(const std::string& baseDirectory);
    ~BaseFolderLock();

private:
    std::intptr_t handle_ = -1;
};

}  // namespace vesk5::host
