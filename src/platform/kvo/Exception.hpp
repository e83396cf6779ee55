#pragma once

#include <stdexcept>
#include <string>

namespace kvo {

// The common library's exception: raised for broken input that a caller can
// report (a malformed settings file, an unreadable file), never for bugs.
class Exception : public std::runtime_error {
public:
    explicit Exception(const std::string& message) : std::runtime_error(message) {}
    std::string getMessage() const { return what(); }
};

}  // namespace kvo
