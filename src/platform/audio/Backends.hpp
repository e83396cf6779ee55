#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "AudioSystem.hpp"

// The audio backends of this build, in the order they are preferred. The
// command line's choices, its help, the default backend and the device
// listing all come from this table (BackendTable.cpp), so adding a backend is
// one folder and one entry there.

namespace audio {

// What the command line tells a backend when it is opened.
struct BackendOptions {
    std::string machineFile;  // --machine: the simulated PC ("" = the built-in one)
    bool realtime = false;    // --realtime: a simulated PC on the steady clock
};

// A backend opened for one command: its audio system, installed as the
// current one, together with whatever the backend installs next to it for
// that time (a virtual clock, an MCI service). Destroying it closes them all,
// in reverse order.
class BackendSession {
public:
    virtual ~BackendSession() = default;
    virtual AudioSystem& system() = 0;
    // A stop the backend's environment asks for on its own, such as a
    // simulated user's stop request; the host polls it with the user's stop flag.
    virtual bool stopRequested() { return false; }
};

struct Backend {
    const char* name;         // the value of --audio
    const char* description;  // one line for --help
    bool simulated;           // its devices are simulated: results and reports say so
    bool takesMachineFile;    // --machine applies to it
    // Opens the backend; throws kvo::Exception with one line for the user
    // when it cannot (no server, a machine file that cannot be used).
    std::unique_ptr<BackendSession> (*open)(const BackendOptions& options);
};

// This build's backends, best first; the first is the default.
std::span<const Backend> backends();
// Null when this build has no backend of that name.
const Backend* findBackend(std::string_view name);
// The names in table order, ", "-separated: "pulse, sim".
std::string backendNames();

}  // namespace audio
