#pragma once

#include <string>

#include "platform/vesk5/Measurement.hpp"

namespace vesk5::host {

// One check of a test as a card of the visual report: what was checked, its
// verdict and why, its chart and its figures.
std::string checkCard(const Measurement& measurement);

}  // namespace vesk5::host
