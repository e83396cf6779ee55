#include "Win32DialogService.hpp"

#include <windows.h>

#include "Win32Dialog.hpp"

namespace ui::win32 {

int Win32DialogService::runModal(const DialogTemplate& layout, DialogHandler& handler) {
    Win32Dialog dialog(layout, handler);
    return dialog.run();
}

bool displayAvailable(std::string& reason) {
    // A window that is never shown: creating one needs the same display
    // driver as the dialogs do. Under Wine without an X server it fails at once.
    const HWND probe = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr,
                                       GetModuleHandleW(nullptr), nullptr);
    if (probe == nullptr) {
        const DWORD error = GetLastError();
        reason =
            "no display to show the dialogs on (under Wine: is DISPLAY set to a running X "
            "server?)";
        if (error != 0) {
            reason += ", error " + std::to_string(error);
        }
        return false;
    }
    DestroyWindow(probe);
    return true;
}

}  // namespace ui::win32
