// Works the program's dialog from outside, as a person at the screen would see
// it: finds the window by its caption and reads its controls with window
// messages. Prints screen positions for real mouse clicks.
//
//   dialogdriver wait CAPTION                   the window is shown
//   dialogdriver state CAPTION                  controls: enabled, progress, lists, focus
//   dialogdriver wait-enabled CAPTION ID        prints the control's centre "X Y"
//   dialogdriver wait-progress CAPTION PERCENT  the progress bar reached PERCENT
//   dialogdriver size CAPTION                   prints the window's "WIDTH HEIGHT" in pixels
//   dialogdriver has CAPTION ID                 exit 0 when the control exists
//
// Every wait gives up after KVO_DRIVER_TIMEOUT seconds (default 60) with exit 2.
#include <windows.h>

// After windows.h, which it builds on.
#include <commctrl.h>

#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>

namespace {

DWORD timeoutMs() {
    const char* value = std::getenv("KVO_DRIVER_TIMEOUT");
    return (value != nullptr ? static_cast<DWORD>(std::atoi(value)) : 60u) * 1000u;
}

template <typename Condition>
bool waitFor(Condition condition) {
    const ULONGLONG until = GetTickCount64() + timeoutMs();
    while (!condition()) {
        if (GetTickCount64() >= until) {
            return false;
        }
        Sleep(50);
    }
    return true;
}

HWND findDialog(const wchar_t* caption) {
    HWND window = FindWindowW(nullptr, caption);
    return window != nullptr && IsWindowVisible(window) != FALSE ? window : nullptr;
}

HWND waitDialog(const wchar_t* caption) {
    HWND window = nullptr;
    if (!waitFor([&] { return (window = findDialog(caption)) != nullptr; })) {
        std::fprintf(stderr, "dialogdriver: no window captioned '%ls'\n", caption);
        std::exit(2);
    }
    return window;
}

HWND waitEnabled(const wchar_t* caption, int id) {
    HWND item = nullptr;
    const bool enabled = waitFor([&] {
        const HWND window = findDialog(caption);
        item = window != nullptr ? GetDlgItem(window, id) : nullptr;
        return item != nullptr && IsWindowEnabled(item) != FALSE;
    });
    if (!enabled) {
        std::fprintf(stderr, "dialogdriver: control %d never became enabled\n", id);
        std::exit(2);
    }
    return item;
}

int progressOf(HWND window) {
    const HWND bar = GetDlgItem(window, 1002);
    return bar != nullptr ? static_cast<int>(SendMessageW(bar, PBM_GETPOS, 0, 0)) : -1;
}

void printState(HWND window) {
    const struct {
        const char* name;
        int id;
    } buttons[] = {{"record", 1000}, {"play", 1001}, {"pass", 1013}, {"fail", 1012}, {"close", 2}};
    for (const auto& button : buttons) {
        const HWND item = GetDlgItem(window, button.id);
        std::printf("%s=%d ", button.name,
                    item == nullptr ? -1 : (IsWindowEnabled(item) != FALSE ? 1 : 0));
    }
    const HWND inputs = GetDlgItem(window, 1017);
    const HWND outputs = GetDlgItem(window, 1018);
    std::printf("progress=%d inputs=%d outputs=%d", progressOf(window),
                static_cast<int>(SendMessageW(inputs, CB_GETCOUNT, 0, 0)),
                static_cast<int>(SendMessageW(outputs, CB_GETCOUNT, 0, 0)));
    GUITHREADINFO thread{};
    thread.cbSize = sizeof thread;
    const DWORD owner = GetWindowThreadProcessId(window, nullptr);
    if (GetGUIThreadInfo(owner, &thread) != FALSE && thread.hwndFocus != nullptr) {
        std::printf(" focus=%d", GetDlgCtrlID(thread.hwndFocus));
    }
    std::printf("\n");
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    SetProcessDPIAware();
    if (argc < 3) {
        std::fprintf(stderr, "usage: dialogdriver COMMAND CAPTION [ARG]\n");
        return 2;
    }
    const std::wstring command = argv[1];
    const wchar_t* caption = argv[2];
    const int argument = argc > 3 ? std::wcstol(argv[3], nullptr, 10) : 0;
    if (command == L"wait") {
        waitDialog(caption);
        return 0;
    }
    if (command == L"state") {
        printState(waitDialog(caption));
        return 0;
    }
    if (command == L"has") {
        return GetDlgItem(waitDialog(caption), argument) != nullptr ? 0 : 1;
    }
    if (command == L"size") {
        RECT rect{};
        GetWindowRect(waitDialog(caption), &rect);
        std::printf("%ld %ld\n", rect.right - rect.left, rect.bottom - rect.top);
        return 0;
    }
    if (command == L"wait-enabled") {
        RECT rect{};
        GetWindowRect(waitEnabled(caption, argument), &rect);
        std::printf("%ld %ld\n", (rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2);
        return 0;
    }
    if (command == L"wait-progress") {
        if (!waitFor([&] {
                const HWND window = findDialog(caption);
                return window != nullptr && progressOf(window) >= argument;
            })) {
            std::fprintf(stderr, "dialogdriver: the progress never reached %d\n", argument);
            return 2;
        }
        return 0;
    }
    std::fprintf(stderr, "dialogdriver: unknown command\n");
    return 2;
}
