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

// Runs a child that takes the keyboard as the console dialog does, is interrupted
// `interrupts` times and then never ends by itself; returns its wait status.
int interruptedChild(int terminal, int interrupts) {
    const pid_t child = fork();
    if (child == 0) {
        dup2(terminal, STDIN_FILENO);
        installStopSignal();
        const kvo::RawKeyboard keyboard;
        if (echoes(terminal)) {
            _exit(98);  // the keyboard was not taken: nothing would be tested
        }
        for (int i = 0; i < interrupts; ++i) {
            raise(SIGINT);
        }
        for (;;) {
            pause();  // a test that does not stop
        }
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

// The console dialog reads single keys without echo. A second Ctrl-C gives a
// test that does not stop a few seconds to put the levels back, a third ends the
// process at once; either way the user's shell must not go on without echo.
TEST(StopSignal, ASecondInterruptEndsAStuckProcessAndAThirdAtOnceWithTheTerminalPutBack) {
    for (const int interrupts : {2, 3}) {
        int master = -1;
        int terminal = -1;
        ASSERT_EQ(openpty(&master, &terminal, nullptr, nullptr, nullptr), 0);
        ASSERT_TRUE(echoes(terminal));
        const int status = interruptedChild(terminal, interrupts);
        ASSERT_TRUE(WIFEXITED(status)) << interrupts;
        EXPECT_EQ(WEXITSTATUS(status), TestResult::USERABORTED().value()) << interrupts;
        EXPECT_TRUE(echoes(terminal)) << interrupts;
        close(terminal);
        close(master);
    }
}

}  // namespace
}  // namespace vesk5::host
#endif
