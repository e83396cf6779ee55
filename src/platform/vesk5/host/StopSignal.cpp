#include "StopSignal.hpp"

#include <atomic>
#include <csignal>
#include <cstdlib>

#include "platform/kvo/RawKeyboard.hpp"
#include "platform/vesk5/TestResult.hpp"

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace vesk5::host {
namespace {

std::atomic<int> interruptions{0};

// After a second interrupt the run has this long to put the user's levels back
// and end by itself before the process is ended regardless.
constexpr unsigned kSecondInterruptGraceSeconds = 5;

[[noreturn]] void endNow() {
    kvo::restoreKeyboard();
    std::_Exit(TestResult::USERABORTED().value());
}

void armDeadline();

// First: a stop request. Second: the run ends as soon as the test has stopped and
// the levels are back, within the grace time. Third: at once.
void onInterrupt() {
    const int count = interruptions.fetch_add(1) + 1;
    if (count == 2) {
        armDeadline();
    } else if (count > 2) {
        endNow();
    }
}

#ifdef _WIN32
BOOL WINAPI consoleHandler(DWORD type) {
    if (type == CTRL_C_EVENT || type == CTRL_BREAK_EVENT || type == CTRL_CLOSE_EVENT) {
        onInterrupt();
        return TRUE;
    }
    return FALSE;
}

DWORD WINAPI deadlineThread(LPVOID) {
    Sleep(kSecondInterruptGraceSeconds * 1000);
    endNow();
}

void armDeadline() {
    CreateThread(nullptr, 0, deadlineThread, nullptr, 0, nullptr);
}
#else
extern "C" void signalHandler(int) {
    onInterrupt();
}

extern "C" void deadlineHandler(int) {
    endNow();
}

void armDeadline() {
    ::alarm(kSecondInterruptGraceSeconds);
}
#endif

}  // namespace

void installStopSignal() {
#ifdef _WIN32
    SetConsoleCtrlHandler(consoleHandler, TRUE);
#else
    struct sigaction action {};
    action.sa_handler = signalHandler;
    sigemptyset(&action.sa_mask);
    // A closed terminal (SIGHUP) stops the run as Ctrl-C does, so that the levels go back.
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaction(signal, &action, nullptr);
    }
    action.sa_handler = deadlineHandler;
    sigaction(SIGALRM, &action, nullptr);
    // Output to a closed pipe is an EPIPE error that the run output turns into a stop.
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
#endif
}

bool endRequested() {
    return interruptions.load() > 1;
}

bool stopSignalled() {
    return interruptions.load() > 0;
}

void requestStop() {
    interruptions.fetch_add(1);
}

void clearStopRequest() {
    interruptions.store(0);
}

}  // namespace vesk5::host
