#pragma once

#include <string>

namespace kvo::test {

// `text` as one word of a POSIX shell command line, whatever it holds.
inline std::string shellQuoted(const std::string& text) {
    std::string result = "'";
    for (const char c : text) {
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return result + "'";
}

}  // namespace kvo::test
