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

}  // namespace vesk5::host
