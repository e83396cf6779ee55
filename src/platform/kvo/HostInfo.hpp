#pragma once

#include <string>

namespace kvo {

// The computer's name, for reports; "" when it cannot be told.
std::string hostName();
// The operating system and its release, e.g. "Linux 6.1.0-18-amd64" or "Windows 10.0.19045".
std::string operatingSystem();

}  // namespace kvo
