#include "String.hpp"

#include <algorithm>
#include <limits>

namespace kvo {

std::vector<String> tokenize(std::string_view text, char delimiter) {
    std::vector<String> tokens;
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t end = std::min(text.find(delimiter, pos), text.size());
        if (end > pos) {
            tokens.emplace_back(text.substr(pos, end - pos));
        }
        pos = end + 1;
    }
    return tokens;
}

bool strToUInt(std::string_view text, std::uint32_t& value) {
    if (text.empty()) {
        return false;
    }
    std::uint64_t result = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            return false;
        }
        result = result * 10 + static_cast<std::uint64_t>(c - '0');
        if (result > std::numeric_limits<std::uint32_t>::max()) {
            return false;
        }
    }
    value = static_cast<std::uint32_t>(result);
    return true;
}

bool equalsIgnoreCase(std::string_view a, std::string_view b) {
    const auto lower = [](char c) {
        return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    };
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                              [&](char x, char y) { return lower(x) == lower(y); });
}

bool strToBoolean(std::string_view text, bool& value) {
    for (const std::string_view yes : {"true", "yes", "on", "1"}) {
        if (equalsIgnoreCase(text, yes)) {
            value = true;
            return true;
        }
    }
    for (const std::string_view no : {"false", "no", "off", "0"}) {
        if (equalsIgnoreCase(text, no)) {
            value = false;
            return true;
        }
    }
    return false;
}

String trim(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    const std::size_t last = text.find_last_not_of(blanks);
    return String(text.substr(first, last - first + 1));
}

}  // namespace kvo
