#pragma once

#include <string>

#include "platform/vesk5/Measurement.hpp"

namespace vesk5::host {

// A tone check's spectrum as an inline SVG chart: dBFS over a log-frequency
// axis, the expected frequency with its tolerance band and the peak the
// analysis found. Marks carry their frequency in `data-hz`.
std::string spectrumChart(const Measurement& measurement);

}  // namespace vesk5::host
