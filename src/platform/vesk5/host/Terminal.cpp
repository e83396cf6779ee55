#include "Terminal.hpp"

#include <iostream>

#ifdef _WIN32
#include <io.h>
#define KVO_ISATTY _isatty
#define KVO_FILENO _fileno
#else
#include <unistd.h>
#define KVO_ISATTY isatty
#define KVO_FILENO fileno
#endif

namespace vesk5::host {

bool isTerminal(const std::ostream& stream) {
    return &stream == &std::cout && KVO_ISATTY(KVO_FILENO(stdout)) != 0;
}

std::string printable(std::string_view text, bool keepLineFeeds) {
    std::string shown;
    shown.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const bool c1 = byte == 0xC2 && i + 1 < text.size() &&
                        static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
                        static_cast<unsigned char>(text[i + 1]) <= 0x9F;
        if (c1) {
            shown += '?';
            ++i;
        } else if ((byte < 0x20 && !(keepLineFeeds && byte == '\n')) || byte == 0x7F) {
            shown += '?';
        } else {
            shown += static_cast<char>(byte);
        }
    }
    return shown;
}

}  // namespace vesk5::host
