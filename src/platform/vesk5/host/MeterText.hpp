#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "LevelMeter.hpp"

namespace vesk5::host {

// What the endpoint's own controls say, as read (never set) by the meter.
struct MicrophoneState {
    std::optional<std::uint32_t> volumePercent;  // unknown when the control does not answer
    std::optional<float> volumeDb;
    std::optional<bool> muted;
    // "Microphone Boost +10 dB", one per gain stage found behind the endpoint.
    std::vector<std::string> boosts;

    bool operator==(const MicrophoneState&) const = default;
};

// "Microphone Array (mic-array): volume 70 % (-2.25 dB), not muted, Microphone Boost +10 dB"
std::string stateLine(const std::string& name, const std::string& id, const MicrophoneState& state);

// One reading as a line of its own, for a pipe or a file:
// "L -23.4 dBFS peak -18.0  R -24.1 dBFS peak -19.2  [clip]  [muted]".
std::string plainLine(const MeterReading& reading, bool muted);

// The same reading with a bar per channel, for redrawing in place on a terminal:
// "L [#######......|....] -23.4 peak -18.0  R [...] ...  CLIP  MUTED".
std::string terminalLine(const MeterReading& reading, bool muted);

}  // namespace vesk5::host
