#include "platform/vesk5/host/StopSignal.hpp"

#include <gtest/gtest.h>

#ifndef _WIN32
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>

#include "platform/kvo/RawKeyboard.hpp"
#include "platform/vesk5/TestResult.hpp"

namespace vesk5::host {
namespace {

bool echoes(int terminal) {
    termios mode{};
    return tcgetattr(terminal, &mode) == 0 && (mode.c_lflag & ECHO) != 0 &&
           (mode.c_lflag & ICANON) != 0;
}

// The console dialog reads single keys without echo; a second Ctrl-C ends the
// process at once. The user's shell must not go on without echo afterwards.
TEST(StopSignal, ASecondInterruptEndsTheProcessWithTheTerminalPutBack) {
    int master = -1;
    int terminal = -1;
    ASSERT_EQ(openpty(&master, &terminal, nullptr, nullptr, nullptr), 0);
    ASSERT_TRUE(echoes(terminal));
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        dup2(terminal, STDIN_FILENO);
        installStopSignal();
        const kvo::RawKeyboard keyboard;
        if (echoes(terminal)) {
            _exit(98);  // the keyboard was not taken: nothing would be tested
        }
        raise(SIGINT);  // asks the test to stop
        raise(SIGINT);  // ends the process
        _exit(99);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), TestResult::USERABORTED().value());
    EXPECT_TRUE(echoes(terminal));
    close(terminal);
    close(master);
}

}  // namespace
}  // namespace vesk5::host
#endif
