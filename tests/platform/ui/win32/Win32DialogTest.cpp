// The Win32 dialog on its own, with a handler of the test's: needs a display
// (Wine on Xvfb), so it runs from wine_dialog_test.sh. IDOK and IDCANCEL are
// the Windows macros here, of the same values as the dialog interface's.
#include "platform/ui/win32/Win32DialogService.hpp"

#include <gtest/gtest.h>
#include <windows.h>

#include <functional>
#include <thread>
#include <vector>

#include "platform/kvo/Exception.hpp"

namespace {

using ui::ControlKind;
using ui::ControlRole;

constexpr int kRecord = 1000;
constexpr int kPlay = 1001;
constexpr int kProgress = 1002;
constexpr int kInputList = 1017;
constexpr int kInstructions = 1019;
constexpr unsigned kProgressMessage = WM_USER + 1;
constexpr unsigned kDoneMessage = WM_USER + 2;

ui::DialogTemplate layout(std::vector<ui::ControlSpec> extra = {}) {
    ui::DialogTemplate result{102,
                              {{kInstructions, ControlKind::Text, ControlRole::Instructions, true},
                               {kInputList, ControlKind::List, ControlRole::InputList, true},
                               {kProgress, ControlKind::Progress, ControlRole::Progress, true},
                               {kRecord, ControlKind::Button, ControlRole::Record, true},
                               {kPlay, ControlKind::Button, ControlRole::Play, false},
                               {IDCANCEL, ControlKind::Button, ControlRole::Close, true}}};
    result.controls.insert(result.controls.end(), extra.begin(), extra.end());
    return result;
}

// A handler whose steps the test writes as lambdas.
struct Handler : ui::DialogHandler {
    std::function<void(ui::Dialog&)> init;
    std::function<void(unsigned, std::uintptr_t, std::intptr_t)> message;
    std::function<void(unsigned)> timer;
    std::vector<int> commands;
    ui::Dialog* dialog = nullptr;

    void onInitDialog(ui::Dialog& d) override {
        dialog = &d;
        d.setCaption("Win32DialogTest");
        if (init) {
            init(d);
        }
    }
    void onCommand(int id) override {
        commands.push_back(id);
        if (id == IDCANCEL) {
            dialog->end(IDCANCEL);
        }
    }
    void onTimer(unsigned id) override {
        if (timer) {
            timer(id);
        }
    }
    void onMessage(unsigned m, std::uintptr_t w, std::intptr_t l) override {
        if (message) {
            message(m, w, l);
        }
    }
};

HWND dialogWindow() {
    return FindWindowW(nullptr, L"Win32DialogTest");
}

TEST(Win32Dialog, TheDialogManagersOwnMessagesOfTheSameNumbersStayWithIt) {
    // DM_SETDEFID is WM_USER+1, the number of the progress message.
    Handler handler;
    int handled = 0;
    LRESULT defaultButton = 0;
    handler.init = [&](ui::Dialog& dialog) { dialog.post(kDoneMessage); };
    handler.message = [&](unsigned message, std::uintptr_t, std::intptr_t) {
        if (message == kDoneMessage) {
            SendMessageW(dialogWindow(), DM_SETDEFID, kPlay, 0);
            defaultButton = SendMessageW(dialogWindow(), DM_GETDEFID, 0, 0);
            handler.dialog->end(IDOK);
        } else {
            ++handled;
        }
    };
    ui::win32::Win32DialogService service;
    service.runModal(layout(), handler);
    EXPECT_EQ(handled, 0);
    EXPECT_EQ(LOWORD(defaultButton), kPlay);
}

// One dialog for what the handler sets, what reaches it and its timers: each is a
// window of Wine's own, and starting one per check costs more than the checks.
TEST(Win32Dialog, ControlsKeepWhatTheHandlerSetsEnabledButtonsAndTimersReachItAndEscapeCloses) {
    Handler handler;
    std::vector<unsigned> fired;
    handler.init = [](ui::Dialog& dialog) {
        EXPECT_TRUE(dialog.isEnabled(kRecord));
        EXPECT_FALSE(dialog.isEnabled(kPlay));  // as the template says, not as the resource
        EXPECT_FALSE(dialog.hasControl(4242));
        EXPECT_FALSE(dialog.isEnabled(4242));
        dialog.setText(kInstructions,
                       "Mikrofon \xE2\x80\x93 pr\xC3\xBC"
                       "fen\r\n\r\nzweite Zeile");
        EXPECT_EQ(dialog.text(kInstructions),
                  "Mikrofon \xE2\x80\x93 pr\xC3\xBC"
                  "fen\r\n\r\nzweite Zeile");
        EXPECT_EQ(dialog.addListItem(kInputList, "first", 11), 0);
        EXPECT_EQ(dialog.addListItem(kInputList, "second", 22), 1);
        EXPECT_EQ(dialog.listCount(kInputList), 2);
        EXPECT_EQ(dialog.selectedListItem(kInputList), -1);
        dialog.selectListItem(kInputList, 1);
        EXPECT_EQ(dialog.selectedListItem(kInputList), 1);
        EXPECT_EQ(dialog.listItemData(kInputList, 1), 22u);
        EXPECT_EQ(dialog.listItemData(kInputList, 5), 0u);
        dialog.clearList(kInputList);
        EXPECT_EQ(dialog.listCount(kInputList), 0);
        dialog.setProgress(kProgress, 57);
        EXPECT_EQ(dialog.progress(kProgress), 57);
        dialog.setProgress(kProgress, 250);
        EXPECT_EQ(dialog.progress(kProgress), 100);
        dialog.enable(kPlay, true);
        EXPECT_TRUE(dialog.isEnabled(kPlay));
        dialog.setFocus(kPlay);
        EXPECT_EQ(dialog.focus(), kPlay);
        // Disabling the focused button hands the focus on instead of losing it.
        dialog.enable(kPlay, false);
        EXPECT_NE(dialog.focus(), 0);
        EXPECT_NE(dialog.focus(), kPlay);
        const HWND window = dialogWindow();
        PostMessageW(GetDlgItem(window, kPlay), BM_CLICK, 0, 0);    // disabled
        PostMessageW(GetDlgItem(window, kRecord), BM_CLICK, 0, 0);  // enabled
        dialog.setTimer(7, 100);
    };
    handler.timer = [&](unsigned id) {
        fired.push_back(id);
        if (id == 8) {
            handler.dialog->killTimer(8);
            // Escape closes even while the Close button is disabled.
            handler.dialog->enable(IDCANCEL, false);
            PostMessageW(dialogWindow(), WM_KEYDOWN, VK_ESCAPE, 0);
        } else if (fired.size() == 3) {
            // A killed timer fires no more, even after a wait longer than its period.
            handler.dialog->killTimer(7);
            Sleep(250);
            handler.dialog->setTimer(8, 10);
        }
    };
    ui::win32::Win32DialogService service;
    EXPECT_EQ(service.runModal(layout(), handler), IDCANCEL);
    EXPECT_EQ(handler.commands, (std::vector<int>{kRecord, IDCANCEL}));
    EXPECT_EQ(fired, (std::vector<unsigned>{7, 7, 7, 8}));
}

TEST(Win32Dialog, AMessageBoxIsModalToTheDialogWhichStillGetsItsPostedMessages) {
    Handler handler;
    HWND owner = nullptr;
    HWND dialogHandle = nullptr;
    std::wstring boxText;
    std::vector<std::uintptr_t> receivedDuringBox;
    bool inBox = false;
    std::thread user;
    handler.message = [&](unsigned message, std::uintptr_t w, std::intptr_t) {
        if (message == kProgressMessage && inBox) {
            receivedDuringBox.push_back(w);
        }
    };
    handler.init = [&](ui::Dialog& dialog) {
        dialogHandle = dialogWindow();
        user = std::thread([&dialog, &owner, &boxText] {
            HWND box = nullptr;
            while ((box = FindWindowW(nullptr, L"Box caption")) == nullptr) {
                Sleep(20);
            }
            owner = GetWindow(box, GW_OWNER);
            wchar_t text[256] = {};
            GetDlgItemTextW(box, 0xFFFF, text, 256);
            boxText = text;
            // The engine goes on posting while the person reads the box.
            dialog.post(kProgressMessage, 42, 0);
            Sleep(300);
            PostMessageW(box, WM_COMMAND, IDOK, 0);
        });
        inBox = true;
        EXPECT_EQ(dialog.messageBox("Box caption", "Something to read"), ui::MessageBoxResult::Ok);
        inBox = false;
        dialog.end(IDOK);
    };
    ui::win32::Win32DialogService service;
    EXPECT_EQ(service.runModal(layout(), handler), IDOK);
    user.join();
    EXPECT_EQ(owner, dialogHandle);
    EXPECT_EQ(boxText, L"Something to read");
    EXPECT_EQ(receivedDuringBox, (std::vector<std::uintptr_t>{42}));
}

TEST(Win32Dialog, AResourceWithoutAControlTheHandlerNeedsIsRefused) {
    Handler handler;
    bool initialised = false;
    handler.init = [&](ui::Dialog&) { initialised = true; };
    ui::win32::Win32DialogService service;
    EXPECT_THROW(
        service.runModal(layout({{4242, ControlKind::Button, ControlRole::None, true}}), handler),
        kvo::Exception);
    EXPECT_FALSE(initialised);
    EXPECT_THROW(service.runModal(ui::DialogTemplate{999, {}}, handler), kvo::Exception);
}

}  // namespace
