#pragma once

#include <string>

#include "platform/ui/Dialog.hpp"

namespace ui {

// Answers dialogs without a person, for automation and tests, as a patient
// person would: it records, plays the recording back and then presses Pass or
// Fail, or it closes the dialog at once. A recording refused with a message is
// tried once more; where the dialog cannot go on (nothing to record from or
// play on, a second refusal) it still gives its answer if the dialog offers it.
// Message boxes go to the run's output and are answered OK.
class ScriptedDialogService : public DialogService {
public:
    enum class Answer { Pass, Fail, Cancel };

    explicit ScriptedDialogService(Answer answer) : answer_(answer) {}

    std::string name() const override { return "scripted"; }
    int runModal(const DialogTemplate& layout, DialogHandler& handler) override;

private:
    Answer answer_;
};

}  // namespace ui
