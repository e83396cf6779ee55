#include "Win32Dialog.hpp"

#include <commctrl.h>

#include <algorithm>

#include "WideText.hpp"
#include "platform/kvo/Clock.hpp"
#include "platform/kvo/Exception.hpp"
#include "platform/kvo/System.hpp"
#include "platform/ui/win32/DialogResources.h"

namespace ui::win32 {
namespace {

// How long the loop blocks for window messages before it gives a virtual
// clock the same time, so that the module's stopwatches move at the pace of
// the window timers.
constexpr DWORD kWaitStepMs = 10;

HINSTANCE programInstance() {
    return GetModuleHandleW(nullptr);
}

HICON loadIcon(int size) {
    return static_cast<HICON>(LoadImageW(programInstance(), MAKEINTRESOURCEW(IDI_KVO_MICROPHONE),
                                         IMAGE_ICON, size, size, LR_DEFAULTCOLOR));
}

}  // namespace

Win32Dialog::Win32Dialog(const DialogTemplate& layout, DialogHandler& handler)
    : layout_(layout), handler_(handler) {}

Win32Dialog::~Win32Dialog() {
    if (window_ != nullptr) {
        DestroyWindow(window_);
    }
    if (headingFont_ != nullptr) {
        DeleteObject(headingFont_);
    }
    for (HICON icon : {icon_, smallIcon_}) {
        if (icon != nullptr) {
            DestroyIcon(icon);
        }
    }
}

int Win32Dialog::run() {
    const INITCOMMONCONTROLSEX classes{sizeof(INITCOMMONCONTROLSEX),
                                       ICC_PROGRESS_CLASS | ICC_STANDARD_CLASSES};
    InitCommonControlsEx(&classes);
    const LPCWSTR resource = MAKEINTRESOURCEW(layout_.resourceId);
    if (FindResourceW(programInstance(), resource, MAKEINTRESOURCEW(5) /* RT_DIALOG */) ==
        nullptr) {
        throw kvo::Exception("dialog resource " + std::to_string(layout_.resourceId) +
                             " is not part of this program");
    }
    const HWND created = CreateDialogParamW(programInstance(), resource, nullptr, dialogProc,
                                            reinterpret_cast<LPARAM>(this));
    if (created == nullptr) {
        throw kvo::Exception("cannot create the dialog window (error " +
                             std::to_string(GetLastError()) + ")");
    }
    if (!missingControl_.empty()) {
        throw kvo::Exception("dialog resource " + std::to_string(layout_.resourceId) +
                             " lacks control " + missingControl_);
    }
    if (!ended_) {
        ShowWindow(window_, SW_SHOW);
        SetForegroundWindow(window_);
        UpdateWindow(window_);
    }
    while (!ended_) {
        pumpMessages();
        if (!ended_) {
            waitForMessages();
        }
    }
    HWND window = nullptr;
    {
        std::lock_guard lock(postedMutex_);
        std::swap(window, window_);
        posted_.clear();
    }
    DestroyWindow(window);
    return result_;
}

INT_PTR CALLBACK Win32Dialog::dialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG) {
        auto* self = reinterpret_cast<Win32Dialog*>(lParam);
        SetWindowLongPtrW(window, DWLP_USER, lParam);
        {
            std::lock_guard lock(self->postedMutex_);
            self->window_ = window;
        }
        self->initialise();
        return FALSE;  // the handler has placed the focus
    }
    auto* self = reinterpret_cast<Win32Dialog*>(GetWindowLongPtrW(window, DWLP_USER));
    return self != nullptr ? self->handle(message, wParam, lParam) : FALSE;
}

void Win32Dialog::initialise() {
    icon_ = loadIcon(GetSystemMetrics(SM_CXICON));
    smallIcon_ = loadIcon(GetSystemMetrics(SM_CXSMICON));
    SendMessageW(window_, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(icon_));
    SendMessageW(window_, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(smallIcon_));
    if (const HWND heading = GetDlgItem(window_, IDC_KVO_HEADING)) {
        // The heading in the dialog's own font, half as large again and bold.
        LOGFONTW font{};
        const auto dialogFont = reinterpret_cast<HFONT>(SendMessageW(window_, WM_GETFONT, 0, 0));
        if (dialogFont != nullptr && GetObjectW(dialogFont, sizeof font, &font) != 0) {
            font.lfHeight = font.lfHeight * 3 / 2;
            font.lfWeight = FW_BOLD;
            headingFont_ = CreateFontIndirectW(&font);
            SendMessageW(heading, WM_SETFONT, reinterpret_cast<WPARAM>(headingFont_), FALSE);
        }
    }
    for (const ControlSpec& definition : layout_.controls) {
        const HWND item = control(definition.id);
        if (item == nullptr) {
            missingControl_ = std::to_string(definition.id);
            end(IDCANCEL);
            return;
        }
        EnableWindow(item, definition.enabled ? TRUE : FALSE);
        if (definition.kind == ControlKind::Progress) {
            SendMessageW(item, PBM_SETRANGE32, 0, 100);
        }
    }
    handler_.onInitDialog(*this);
}

INT_PTR Win32Dialog::handle(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_COMMAND:
            onCommand(wParam, lParam);
            return TRUE;
        case WM_TIMER:
            handler_.onTimer(static_cast<unsigned>(wParam));
            return TRUE;
        case WM_CLOSE:
            // The close box and Alt+F4 close the dialog even while its Close button is disabled.
            handler_.onCommand(IDCANCEL);
            return TRUE;
        default:
            break;
    }
    if (message >= WM_USER && message < WM_APP && takePosted(message, wParam, lParam)) {
        handler_.onMessage(message, wParam, lParam);
        SetWindowLongPtrW(window_, DWLP_MSGRESULT, 0);
        return TRUE;
    }
    return FALSE;
}

void Win32Dialog::onCommand(WPARAM wParam, LPARAM /*lParam*/) {
    const int id = LOWORD(wParam);
    const int code = HIWORD(wParam);
    if (code == CBN_SELCHANGE) {
        handler_.onSelectionChange(id);
        return;
    }
    if (code != BN_CLICKED) {
        return;
    }
    if (id == IDCANCEL) {
        // Escape and the Close button.
        handler_.onCommand(IDCANCEL);
        return;
    }
    // Enter reaches the dialog as the default button's command; a disabled one does nothing.
    if (const HWND item = control(id); item != nullptr && IsWindowEnabled(item) != FALSE) {
        handler_.onCommand(id);
    }
}

bool Win32Dialog::takePosted(UINT message, WPARAM wParam, LPARAM lParam) {
    // The dialog manager's own messages share these numbers (DM_SETDEFID is
    // WM_USER+1); they are sent, never queued here, so they pass on to it.
    std::lock_guard lock(postedMutex_);
    if (posted_.empty() || !(posted_.front() == Posted{message, wParam, lParam})) {
        return false;
    }
    posted_.pop_front();
    return true;
}

void Win32Dialog::pumpMessages() {
    MSG message{};
    while (!ended_ && PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
        if (message.message == WM_QUIT) {
            // Someone ends the program's message loops: close like the user would, and pass it on.
            PostQuitMessage(static_cast<int>(message.wParam));
            handler_.onCommand(IDCANCEL);
            return;
        }
        if (IsDialogMessageW(window_, &message) == FALSE) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }
}

void Win32Dialog::waitForMessages() {
    {
        // Waiting for the user is no wait of the program's own threads.
        const kvo::ClockBlockedScope blocked;
        MsgWaitForMultipleObjectsEx(0, nullptr, kWaitStepMs, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    }
    if (kvo::detail::participatingClock() != nullptr) {
        kvo::System::mssleep(kWaitStepMs);
    }
}

HWND Win32Dialog::control(int id) const {
    return window_ != nullptr ? GetDlgItem(window_, id) : nullptr;
}

bool Win32Dialog::hasControl(int id) const {
    return control(id) != nullptr;
}

void Win32Dialog::setCaption(const std::string& text) {
    SetWindowTextW(window_, widen(text).c_str());
}

void Win32Dialog::setText(int id, const std::string& text) {
    if (const HWND item = control(id)) {
        SetWindowTextW(item, widen(text).c_str());
    }
}

std::string Win32Dialog::text(int id) const {
    const HWND item = control(id);
    if (item == nullptr) {
        return {};
    }
    std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(item)) + 1, L'\0');
    text.resize(
        static_cast<std::size_t>(GetWindowTextW(item, text.data(), static_cast<int>(text.size()))));
    return narrow(text);
}

void Win32Dialog::enable(int id, bool enabled) {
    const HWND item = control(id);
    if (item == nullptr) {
        return;
    }
    if (!enabled && GetFocus() == item) {
        // A disabled control cannot keep the focus; hand it on so the keyboard still works.
        SendMessageW(window_, WM_NEXTDLGCTL, 0, FALSE);
    }
    EnableWindow(item, enabled ? TRUE : FALSE);
}

bool Win32Dialog::isEnabled(int id) const {
    const HWND item = control(id);
    return item != nullptr && IsWindowEnabled(item) != FALSE;
}

void Win32Dialog::setFocus(int id) {
    if (const HWND item = control(id); item != nullptr && IsWindowEnabled(item) != FALSE) {
        SendMessageW(window_, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(item), TRUE);
    }
}

int Win32Dialog::focus() const {
    const HWND focused = GetFocus();
    return focused != nullptr && GetParent(focused) == window_ ? GetDlgCtrlID(focused) : 0;
}

void Win32Dialog::setProgress(int id, int position) {
    if (const HWND item = control(id)) {
        SendMessageW(item, PBM_SETPOS, static_cast<WPARAM>(std::clamp(position, 0, 100)), 0);
    }
}

int Win32Dialog::progress(int id) const {
    const HWND item = control(id);
    return item != nullptr ? static_cast<int>(SendMessageW(item, PBM_GETPOS, 0, 0)) : 0;
}

void Win32Dialog::clearList(int id) {
    if (const HWND item = control(id)) {
        SendMessageW(item, CB_RESETCONTENT, 0, 0);
    }
}

int Win32Dialog::addListItem(int id, const std::string& text, std::uintptr_t data) {
    const HWND item = control(id);
    if (item == nullptr) {
        return -1;
    }
    const std::wstring wide = widen(text);
    const auto index = static_cast<int>(
        SendMessageW(item, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(wide.c_str())));
    if (index >= 0) {
        SendMessageW(item, CB_SETITEMDATA, static_cast<WPARAM>(index), static_cast<LPARAM>(data));
    }
    return index;
}

int Win32Dialog::listCount(int id) const {
    const HWND item = control(id);
    return item != nullptr ? static_cast<int>(SendMessageW(item, CB_GETCOUNT, 0, 0)) : 0;
}

void Win32Dialog::selectListItem(int id, int index) {
    if (const HWND item = control(id)) {
        SendMessageW(item, CB_SETCURSEL, static_cast<WPARAM>(index), 0);
    }
}

int Win32Dialog::selectedListItem(int id) const {
    const HWND item = control(id);
    return item != nullptr ? static_cast<int>(SendMessageW(item, CB_GETCURSEL, 0, 0)) : -1;
}

std::uintptr_t Win32Dialog::listItemData(int id, int index) const {
    const HWND item = control(id);
    if (item == nullptr || index < 0 || index >= listCount(id)) {
        return 0;
    }
    return static_cast<std::uintptr_t>(
        SendMessageW(item, CB_GETITEMDATA, static_cast<WPARAM>(index), 0));
}

void Win32Dialog::setTimer(unsigned timerId, unsigned periodMs) {
    SetTimer(window_, timerId, std::max(periodMs, 1u), nullptr);
}

void Win32Dialog::killTimer(unsigned timerId) {
    KillTimer(window_, timerId);
}

void Win32Dialog::post(unsigned message, std::uintptr_t wParam, std::intptr_t lParam) {
    std::lock_guard lock(postedMutex_);
    if (window_ == nullptr) {
        return;
    }
    posted_.push_back({message, wParam, lParam});
    if (PostMessageW(window_, message, wParam, lParam) == FALSE) {
        posted_.pop_back();
    }
}

void Win32Dialog::end(int result) {
    if (!ended_) {
        ended_ = true;
        result_ = result;
        if (window_ != nullptr) {
            ShowWindow(window_, SW_HIDE);
        }
    }
}

MessageBoxResult Win32Dialog::messageBox(const std::string& caption, const std::string& text) {
    const kvo::ClockBlockedScope blocked;
    const int answer = MessageBoxW(window_, widen(text).c_str(), widen(caption).c_str(),
                                   MB_OK | MB_ICONINFORMATION);
    return answer == IDCANCEL ? MessageBoxResult::Cancel : MessageBoxResult::Ok;
}

}  // namespace ui::win32
