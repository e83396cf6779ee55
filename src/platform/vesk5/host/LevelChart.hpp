#pragma once

#include <string>

#include "platform/vesk5/Measurement.hpp"

namespace vesk5::host {

// A microphone's amplitude check as an inline SVG chart: the levels of its
// four recordings as bars, with the two levels the unmuted loud recording had
// to exceed (above the muted loud one, and by the needed gain above the
// unmuted silent one), each marked as met or missed.
std::string levelChart(const Measurement& measurement);

}  // namespace vesk5::host
