#pragma once

#include <string>

namespace kvo::test {

// How often `part` occurs in `text`, overlapping occurrences included.
inline std::size_t countOf(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

}  // namespace kvo::test
