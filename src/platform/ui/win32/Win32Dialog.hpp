#pragma once

// First: windows.h makes macros of names that the dialog interface declares.
#include "platform/ui/Dialog.hpp"

#include <windows.h>

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

namespace ui::win32 {

// One modal dialog window built from a dialog resource. All calls but post()
// belong to the thread that runs it.
class Win32Dialog final : public Dialog {
public:
    Win32Dialog(const DialogTemplate& layout, DialogHandler& handler);
    ~Win32Dialog() override;
    Win32Dialog(const Win32Dialog&) = delete;
    Win32Dialog& operator=(const Win32Dialog&) = delete;

    // Creates the window from the resource, runs the modal loop until a
    // handler ends it and returns the value given to end().
    int run();

    bool hasControl(int id) const override;
    void setCaption(const std::string& text) override;
    void setText(int id, const std::string& text) override;
    std::string text(int id) const override;
    void enable(int id, bool enabled) override;
    bool isEnabled(int id) const override;
    void setFocus(int id) override;
    int focus() const override;
    void setProgress(int id, int position) override;
    int progress(int id) const override;
    void clearList(int id) override;
    int addListItem(int id, const std::string& text, std::uintptr_t data) override;
    int listCount(int id) const override;
    void selectListItem(int id, int index) override;
    int selectedListItem(int id) const override;
    std::uintptr_t listItemData(int id, int index) const override;
    void setTimer(unsigned timerId, unsigned periodMs) override;
    void killTimer(unsigned timerId) override;
    void post(unsigned message, std::uintptr_t wParam, std::intptr_t lParam) override;
    void end(int result) override;
    MessageBoxResult messageBox(const std::string& caption, const std::string& text) override;

private:
    struct Posted {
        UINT message;
        WPARAM wParam;
        LPARAM lParam;
        bool operator==(const Posted&) const = default;
    };

    static INT_PTR CALLBACK dialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    INT_PTR handle(UINT message, WPARAM wParam, LPARAM lParam);
    void initialise();
    void onCommand(WPARAM wParam, LPARAM lParam);
    // True when the message is one that post() queued, which is then taken off the queue.
    bool takePosted(UINT message, WPARAM wParam, LPARAM lParam);
    void pumpMessages();
    void waitForMessages();
    HWND control(int id) const;

    const DialogTemplate& layout_;
    DialogHandler& handler_;
    HWND window_ = nullptr;
    HFONT headingFont_ = nullptr;
    HICON icon_ = nullptr;
    HICON smallIcon_ = nullptr;
    std::mutex postedMutex_;
    std::deque<Posted> posted_;
    std::string missingControl_;
    bool ended_ = false;
    int result_ = 0;
};

}  // namespace ui::win32
