#pragma once

#include <ostream>
#include <string>
#include <string_view>

namespace vesk5::host {

// Whether the stream is the process's standard output and that is a terminal.
bool isTerminal(const std::ostream& stream);

// Text for people to read, with every control character (C0, DEL, and C1 in
// UTF-8) shown as '?' so that a device's name cannot send escape sequences to
// the terminal. Line feeds stay when `keepLineFeeds` is set.
std::string printable(std::string_view text, bool keepLineFeeds = false);

}  // namespace vesk5::host
