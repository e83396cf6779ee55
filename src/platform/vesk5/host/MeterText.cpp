#include "MeterText.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace vesk5::host {
namespace {

// The bar spans this many dB below full scale, one cell per 3 dB.
constexpr double kBarFloorDb = -60.0;
constexpr int kBarCells = 20;

std::string channelLabel(std::size_t index, std::size_t count) {
    if (count == 1) {
        return "M";
    }
    if (count == 2) {
        return index == 0 ? "L" : "R";
    }
    return std::to_string(index + 1);
}

std::string decibelText(double db) {
    return std::isfinite(db) ? fmt::format("{:.1f}", db) : "-inf";
}

// Cells lit up to the level, with the held peak marked.
std::string bar(const ChannelLevel& level) {
    const auto cellOf = [](double db) {
        if (!std::isfinite(db)) {
            return 0;
        }
        const double cells = (db - kBarFloorDb) / -kBarFloorDb * kBarCells;
        return static_cast<int>(std::clamp(std::round(cells), 0.0, double{kBarCells}));
    };
    const int lit = cellOf(level.rmsDbfs);
    const int peak = cellOf(level.peakDbfs);
    std::string cells;
    for (int i = 1; i <= kBarCells; ++i) {
        cells += i == peak ? '|' : (i <= lit ? '#' : '.');
    }
    return "[" + cells + "]";
}

bool anyClipped(const MeterReading& reading) {
    return std::any_of(reading.channels.begin(), reading.channels.end(),
                       [](const ChannelLevel& level) { return level.clipped; });
}

}  // namespace

std::string stateLine(const std::string& name, const std::string& id,
                      const MicrophoneState& state) {
    std::string volume = "volume unknown";
    if (state.volumePercent) {
        volume = fmt::format("volume {} %", *state.volumePercent);
        if (state.volumeDb) {
            volume += fmt::format(" ({:+.2f} dB)", *state.volumeDb);
        }
    }
    const std::string mute =
        state.muted ? (*state.muted ? "muted" : "not muted") : "mute state unknown";
    const std::string boosts = state.boosts.empty()
                                   ? "no boost control"
                                   : fmt::format("{}", fmt::join(state.boosts, ", "));
    return fmt::format("{} ({}): {}, {}, {}", name, id, volume, mute, boosts);
}

std::string plainLine(const MeterReading& reading, bool muted) {
    if (reading.frames == 0) {
        return "no audio captured in this interval";
    }
    std::string line;
    for (std::size_t c = 0; c < reading.channels.size(); ++c) {
        const ChannelLevel& level = reading.channels[c];
        line += fmt::format("{}{} {} dBFS peak {}", line.empty() ? "" : "  ",
                            channelLabel(c, reading.channels.size()), decibelText(level.rmsDbfs),
                            decibelText(level.peakDbfs));
    }
    line += anyClipped(reading) ? "  [clip]" : "";
    line += muted ? "  [muted]" : "";
    return line;
}

std::string terminalLine(const MeterReading& reading, bool muted) {
    std::string line;
    for (std::size_t c = 0; c < reading.channels.size(); ++c) {
        const ChannelLevel& level = reading.channels[c];
        line += fmt::format("{}{} {} {:>5} peak {:>5}", line.empty() ? "" : "  ",
                            channelLabel(c, reading.channels.size()), bar(level),
                            reading.frames == 0 ? "--" : decibelText(level.rmsDbfs),
                            reading.frames == 0 ? "--" : decibelText(level.peakDbfs));
    }
    line += anyClipped(reading) ? "  CLIP" : "      ";
    line += muted ? "  MUTED" : "       ";
    return line;
}

}  // namespace vesk5::host
