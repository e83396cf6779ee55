#pragma once

#include <string>

#include "RunReport.hpp"

namespace vesk5::host {

// A run as one self-contained HTML page, written by --html: the verdicts at a
// glance, every check with its chart and figures, the devices, the events in
// order and the files saved. It loads nothing and runs no script.
std::string htmlReport(const RunReport& report);

}  // namespace vesk5::host
