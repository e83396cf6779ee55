#pragma once

#include <functional>
#include <string>

#include "platform/kvo/Stopwatch.hpp"
#include "platform/kvo/System.hpp"
#include "platform/ui/ModalDialog.hpp"

namespace ui::test {

// A dialog worked by the test: whenever it is idle, `onIdle` may look at it and
// act as the user. Message boxes are counted and answered OK. A dialog still
// open after a minute of clock time is closed, so that a broken flow fails its
// test instead of hanging it.
class TestDialog : public ModalDialog {
public:
    using ModalDialog::choose;
    using ModalDialog::press;

    TestDialog(const DialogTemplate& layout, DialogHandler& handler,
               std::function<void(TestDialog&)> onIdle)
        : ModalDialog(layout, handler), onIdle_(std::move(onIdle)) {}

    MessageBoxResult messageBox(const std::string& caption, const std::string& text) override {
        ++messageBoxes;
        lastMessage = caption + ": " + text;
        return MessageBoxResult::Ok;
    }

    int messageBoxes = 0;
    std::string lastMessage;
    bool timedOut = false;

protected:
    void idle(std::uint32_t maxWaitMs) override {
        if (onIdle_) {
            onIdle_(*this);
        }
        if (!ended() && clock_.elapsedMs() > 60000) {
            timedOut = true;
            cancelByUser();
        }
        if (!ended()) {
            kvo::System::mssleep(maxWaitMs);
        }
    }

private:
    std::function<void(TestDialog&)> onIdle_;
    kvo::Stopwatch clock_;
};

// Runs every dialog asked for as a TestDialog and keeps what it saw.
class TestDialogService : public DialogService {
public:
    explicit TestDialogService(std::function<void(TestDialog&)> onIdle)
        : onIdle_(std::move(onIdle)) {}
    std::string name() const override { return "test"; }
    int runModal(const DialogTemplate& layout, DialogHandler& handler) override {
        TestDialog dialog(layout, handler, onIdle_);
        const int result = dialog.run();
        messageBoxes = dialog.messageBoxes;
        lastMessage = dialog.lastMessage;
        timedOut = dialog.timedOut;
        return result;
    }
    int messageBoxes = 0;
    std::string lastMessage;
    bool timedOut = false;

private:
    std::function<void(TestDialog&)> onIdle_;
};

}  // namespace ui::test
