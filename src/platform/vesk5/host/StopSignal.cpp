#include "StopSignal.hpp"

#include <atomic>
#include <csignal>
#include <cstdlib>

#include "platform/kvo/RawKeyboard.hpp"
#include "platform/vesk5/TestResult.hpp"

#ifdef _WIN32
#include <windows.h>
#endif

namespace vesk5::host {
namespace {

std::atomic<int> interruptions{0};

void onInterrupt() {
    if (interruptions.fetch_add(1) >= 1) {
        kvo::restoreKeyboard();
        std::_Exit(TestResult::USERABORTED().value());
    }
}

#ifdef _WIN32
BOOL WINAPI consoleHandler(DWORD type) {
    if (type == CTRL_C_EVENT || type == CTRL_BREAK_EVENT) {
        onInterrupt();
        return TRUE;
    }
    return FALSE;
}
#else
extern "C" void signalHandler(int) {
    onInterrupt();
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
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
#endif
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
