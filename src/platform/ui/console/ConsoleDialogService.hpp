#pragma once

#include <string>

#include "platform/ui/Dialog.hpp"

namespace ui {

// Dialogs on the terminal: the dialog is drawn as a screen of text (redrawn in
// place on a terminal) and single keys press its buttons: r Record, p Play,
// s Pass, f Fail, c or q Close, i and o choose the next input or output
// device. Without a terminal the keys are read from standard input as they
// come, and the end of the input closes the dialog.
class ConsoleDialogService : public DialogService {
public:
    std::string name() const override { return "console"; }
    int runModal(const DialogTemplate& layout, DialogHandler& handler) override;
};

// Whether standard input is a terminal, which makes the console the default front end.
bool standardInputIsTerminal();

}  // namespace ui
