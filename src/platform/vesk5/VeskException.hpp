#pragma once

#include <stdexcept>
#include <string>

namespace vesk5 {

// A framework failure the module cannot recover from.
class VeskException : public std::runtime_error {
public:
    explicit VeskException(const std::string& message) : std::runtime_error(message) {}
    std::string toString() const { return what(); }
};

}  // namespace vesk5
