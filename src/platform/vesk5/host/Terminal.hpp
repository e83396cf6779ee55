#pragma once

#include <ostream>

namespace vesk5::host {

// Whether the stream is the process's standard output and that is a terminal.
bool isTerminal(const std::ostream& stream);

}  // namespace vesk5::host
