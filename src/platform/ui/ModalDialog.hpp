#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Dialog.hpp"
#include "platform/kvo/Clock.hpp"

namespace ui {

// The controls and the message loop shared by the front ends that draw no
// windows: they keep each control's state, deliver posted messages and timers
// on the dialog's thread, and give the front end the idle moments in which it
// shows the dialog and takes the user's next action.
class ModalDialog : public Dialog {
public:
    struct Control {
        ControlSpec definition;
        std::string text;
        bool enabled = true;
        int position = 0;
        std::vector<std::pair<std::string, std::uintptr_t>> items;
        int selection = -1;
    };

    ModalDialog(const DialogTemplate& layout, DialogHandler& handler);

    // Initialises the dialog and runs it until a handler ends it.
    int run();

    bool hasControl(int id) const override { return find(id) != nullptr; }
    void setCaption(const std::string& text) override;
    void setText(int id, const std::string& text) override;
    std::string text(int id) const override;
    void enable(int id, bool enabled) override;
    bool isEnabled(int id) const override;
    void setFocus(int id) override;
    int focus() const override { return focus_; }
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

protected:
    // Called when no message or timer is due. The front end shows the dialog,
    // may act for the user, and then waits at most `maxWaitMs` on the clock.
    virtual void idle(std::uint32_t maxWaitMs) = 0;

    // The user's actions. A press of a disabled or missing button does nothing.
    void press(int id);
    void pressRole(ControlRole role);
    void choose(int listId, int index);
    // Closing the dialog (Escape, the window's close box) works even while the Close button is
    // disabled.
    void cancelByUser();

    const Control* find(int id) const;
    const Control* findRole(ControlRole role) const;
    bool roleEnabled(ControlRole role) const;
    const std::vector<Control>& controls() const { return controls_; }
    const std::string& caption() const { return caption_; }
    bool ended() const { return ended_; }
    bool anyTimerRunning() const { return !timers_.empty(); }
    // Grows with every change the user can see, so a front end redraws only when needed.
    std::uint64_t revision() const { return revision_; }

private:
    Control* find(int id);
    bool dispatchMessage();
    bool fireTimer();
    std::uint32_t msUntilNextTimer() const;

    struct Timer {
        kvo::Clock::Duration period;
        kvo::Clock::Duration due;
    };
    struct Message {
        unsigned message;
        std::uintptr_t wParam;
        std::intptr_t lParam;
    };

    DialogHandler& handler_;
    std::vector<Control> controls_;
    std::string caption_;
    int focus_ = 0;
    std::map<unsigned, Timer> timers_;
    std::mutex queueMutex_;
    std::deque<Message> queue_;
    bool ended_ = false;
    int result_ = 0;
    std::uint64_t revision_ = 0;
};

}  // namespace ui
