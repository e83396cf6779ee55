#include "RawKeyboard.hpp"

#include <atomic>

#ifndef _WIN32
#include <termios.h>
#include <unistd.h>
#endif

namespace kvo {
namespace {

#ifndef _WIN32
// Written before `held` is set and read only while it is: a signal handler
// may read it at any time.
termios saved{};
std::atomic<bool> held{false};
#endif

}  // namespace

RawKeyboard::RawKeyboard() {
#ifndef _WIN32
    if (held.load() || isatty(STDIN_FILENO) == 0 || tcgetattr(STDIN_FILENO, &saved) != 0) {
        return;
    }
    termios raw = saved;
    raw.c_lflag &= static_cast<tcflag_t>(~(ICANON | ECHO));
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    owner_ = tcsetattr(STDIN_FILENO, TCSANOW, &raw) == 0;
    held.store(owner_);
#endif
}

RawKeyboard::~RawKeyboard() {
    if (owner_) {
        restoreKeyboard();
    }
}

void restoreKeyboard() noexcept {
#ifndef _WIN32
    if (held.exchange(false)) {
        tcsetattr(STDIN_FILENO, TCSANOW, &saved);
    }
#endif
}

}  // namespace kvo
