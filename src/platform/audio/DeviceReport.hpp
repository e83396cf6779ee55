#pragma once

#include <string>
#include <vector>

#include "AudioDevice.hpp"
#include "AudioSystem.hpp"

// The "devices" listing: what the audio system offers, card by card.

namespace audio {

// One gain stage found behind an endpoint.
struct GainStage {
    std::string name;
    std::uint32_t channels = 0;
    float levelDb = 0.0F;  // channel 0
    float minDb = 0.0F;
    float maxDb = 0.0F;
    float stepDb = 0.0F;
};

// Walks the topology from the endpoint's first connector depth first, along
// outgoing parts, and lists every part that has a volume level, in walk order.
std::vector<GainStage> findGainStages(AudioDevice& endpoint);

// The listing as a JSON document indented by 2 (docs/audio-layer.md shows its
// fields); `simulated` says whether the system's devices are simulated.
std::string deviceReportJson(AudioSystem& system, bool simulated);
// The same listing as text for a terminal.
std::string deviceReportText(AudioSystem& system, bool simulated);

}  // namespace audio
