#pragma once

#include <memory>
#include <string>
#include <vector>

#include "CommandLine.hpp"
#include "platform/vesk5/Device.hpp"

namespace vesk5::host {

// Where the host's devices come from: the audio system chosen on the command
// line. Tests are handed the test devices that they accept; the optional
// devices (sound cards) are offered to tests that ask for them.
class DeviceSource {
public:
    virtual ~DeviceSource() = default;
    virtual std::vector<DiagDevice> testDevices() = 0;
    virtual std::vector<DiagDevice> optionalDevices() = 0;
    // The audio system's name (an audio choice), or "none".
    virtual std::string audioName() const = 0;
    virtual bool simulated() const = 0;
    // One line naming the audio system and its version, for reports.
    virtual std::string audioDescription() const { return audioName(); }
    // A stop the audio system's environment asks for (a simulated stop
    // request); the host ORs it into the run's stop flag.
    virtual bool stopRequested() { return false; }
    // Text (or JSON with `json`) for `kvormicrophone devices`.
    virtual std::string describeDevices(bool json) = 0;
};

// Opens the audio system of the options; throws kvo::Exception with one clear
// line when it cannot be reached or a machine file is malformed.
using DeviceSourceFactory = std::unique_ptr<DeviceSource> (*)(const Options& options);

// Runs `kvormicrophone meter` on the chosen audio system; returns the exit status.
using MeterCommand = int (*)(const Options& options);

// The audio systems the host can open: what --audio may name, best first,
// how the chosen one (or the first, by default) is opened, and the level meter on it.
struct DeviceSources {
    std::vector<AudioChoice> choices;
    DeviceSourceFactory open = nullptr;
    MeterCommand meter = nullptr;
};

}  // namespace vesk5::host
