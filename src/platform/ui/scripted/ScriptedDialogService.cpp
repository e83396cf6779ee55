#include "ScriptedDialogService.hpp"

#include "platform/kvo/Logger.hpp"
#include "platform/kvo/Stopwatch.hpp"
#include "platform/kvo/System.hpp"
#include "platform/ui/ModalDialog.hpp"
#include "platform/vesk5/DiagModule.hpp"

namespace ui {
namespace {

// A step that cannot go on within this much clock time is given up (answered
// where the dialog offers the answer, else closed), so that a dialog that
// never enables the next button ends the run instead of hanging it.
constexpr std::uint64_t kStepTimeoutMs = 60000;

kvo::Logger& logger() {
    static kvo::Logger& logger = kvo::Logger::get("ui");
    return logger;
}

class ScriptedDialog final : public ModalDialog {
public:
    ScriptedDialog(const DialogTemplate& layout, DialogHandler& handler,
                   ScriptedDialogService::Answer answer)
        : ModalDialog(layout, handler), answer_(answer) {}

    MessageBoxResult messageBox(const std::string& caption, const std::string& text) override {
        vesk5::DiagModule::createMessageBox2(caption, text)->show();
        messageSinceRecord_ = true;
        return MessageBoxResult::Ok;
    }

protected:
    void idle(std::uint32_t maxWaitMs) override {
        act();
        if (!ended()) {
            kvo::System::mssleep(maxWaitMs);
        }
    }

private:
    enum class Step { Record, Play, Judge };

    void advance(Step next) {
        step_ = next;
        stepClock_.reset();
    }

    ControlRole verdict() const {
        return answer_ == ScriptedDialogService::Answer::Pass ? ControlRole::Pass
                                                              : ControlRole::Fail;
    }

    void record() {
        KVO_LOG(logger(), kvo::kLogInfo, "scripted answer: record");
        messageSinceRecord_ = false;
        pressRole(ControlRole::Record);
    }

    // Gives the answer where the dialog offers it; closes the dialog where it does not.
    void judge() {
        if (roleEnabled(verdict())) {
            KVO_LOG(logger(), kvo::kLogInfo, "scripted answer: {}",
                    verdict() == ControlRole::Pass ? "pass" : "fail");
            pressRole(verdict());
            return;
        }
        KVO_LOG(logger(), kvo::kLogInfo,
                "scripted answer: the dialog does not offer the answer; closing it");
        cancelByUser();
    }

    bool nothingToRecordFrom() const {
        const Control* inputs = findRole(ControlRole::InputList);
        return inputs != nullptr && inputs->items.empty();
    }

    void act() {
        if (answer_ == ScriptedDialogService::Answer::Cancel) {
            KVO_LOG(logger(), kvo::kLogInfo, "scripted answer: close the dialog");
            cancelByUser();
            return;
        }
        switch (step_) {
            case Step::Record:
                if (roleEnabled(ControlRole::Record)) {
                    record();
                    advance(Step::Play);
                    return;
                }
                if (nothingToRecordFrom()) {
                    judge();
                    return;
                }
                break;
            case Step::Play:
                if (roleEnabled(ControlRole::Play)) {
                    KVO_LOG(logger(), kvo::kLogInfo, "scripted answer: play");
                    pressRole(ControlRole::Play);
                    advance(Step::Judge);
                    return;
                }
                // Record offered again without Play: the recording was refused,
                // or it is over and there is nothing to play it on.
                if (roleEnabled(ControlRole::Record)) {
                    if (messageSinceRecord_ && !retried_) {
                        retried_ = true;
                        record();
                        stepClock_.reset();
                    } else {
                        judge();
                    }
                    return;
                }
                break;
            case Step::Judge:
                // Once the playback is over, which gives Play back, or was
                // refused, which offers Pass without it.
                if (roleEnabled(verdict()) &&
                    (roleEnabled(ControlRole::Play) || roleEnabled(ControlRole::Pass))) {
                    judge();
                    return;
                }
                break;
        }
        if (stepClock_.elapsedMs() >= kStepTimeoutMs) {
            KVO_LOG(logger(), kvo::kLogError,
                    "scripted answer: the dialog did not go on within {} ms", kStepTimeoutMs);
            judge();
        }
    }

    ScriptedDialogService::Answer answer_;
    Step step_ = Step::Record;
    kvo::Stopwatch stepClock_;
    bool messageSinceRecord_ = false;
    bool retried_ = false;
};

}  // namespace

int ScriptedDialogService::runModal(const DialogTemplate& layout, DialogHandler& handler) {
    ScriptedDialog dialog(layout, handler, answer_);
    return dialog.run();
}

}  // namespace ui
