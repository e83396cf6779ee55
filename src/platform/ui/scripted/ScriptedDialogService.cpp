#include "ScriptedDialogService.hpp"

#include "platform/kvo/Logger.hpp"
#include "platform/kvo/Stopwatch.hpp"
#include "platform/kvo/System.hpp"
#include "platform/ui/ModalDialog.hpp"
#include "platform/vesk5/DiagModule.hpp"

namespace ui {
namespace {

// A step that cannot go on within this much clock time is given up, so that a
// dialog that never enables the next button ends the run instead of hanging it.
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

    void act() {
        const ControlRole verdict =
            answer_ == ScriptedDialogService::Answer::Pass ? ControlRole::Pass : ControlRole::Fail;
        if (answer_ == ScriptedDialogService::Answer::Cancel) {
            KVO_LOG(logger(), kvo::kLogInfo, "scripted answer: close the dialog");
            cancelByUser();
            return;
        }
        switch (step_) {
            case Step::Record:
                if (roleEnabled(ControlRole::Record)) {
                    KVO_LOG(logger(), kvo::kLogInfo, "scripted answer: record");
                    pressRole(ControlRole::Record);
                    advance(Step::Play);
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
                break;
            case Step::Judge:
                // Judged once the playback is over, which gives Play back.
                if (roleEnabled(verdict) && roleEnabled(ControlRole::Play)) {
                    KVO_LOG(logger(), kvo::kLogInfo, "scripted answer: {}",
                            verdict == ControlRole::Pass ? "pass" : "fail");
                    pressRole(verdict);
                    return;
                }
                break;
        }
        if (stepClock_.elapsedMs() >= kStepTimeoutMs) {
            // A playback that could not start still leaves the verdict to the user.
            if (step_ == Step::Judge && roleEnabled(verdict)) {
                pressRole(verdict);
                return;
            }
            KVO_LOG(logger(), kvo::kLogError,
                    "scripted answer: the dialog did not go on within {} ms; closing it",
                    kStepTimeoutMs);
            cancelByUser();
        }
    }

    ScriptedDialogService::Answer answer_;
    Step step_ = Step::Record;
    kvo::Stopwatch stepClock_;
};

}  // namespace

int ScriptedDialogService::runModal(const DialogTemplate& layout, DialogHandler& handler) {
    ScriptedDialog dialog(layout, handler, answer_);
    return dialog.run();
}

}  // namespace ui
