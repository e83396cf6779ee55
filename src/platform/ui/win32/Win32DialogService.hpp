#pragma once

#include <string>

#include "platform/ui/Dialog.hpp"

namespace ui::win32 {

// The interactive dialogs as Win32 windows from the program's dialog
// resources: push buttons, combo boxes, a progress bar and window timers, in a
// modal loop of the calling thread. Messages posted from other threads arrive
// as the window messages they are (WM_USER+n).
class Win32DialogService : public DialogService {
public:
    std::string name() const override { return "win32"; }
    int runModal(const DialogTemplate& layout, DialogHandler& handler) override;
};

// Whether windows can be shown: false, with the reason, when the process has
// no usable desktop (Wine without an X server, a service session).
bool displayAvailable(std::string& reason);

}  // namespace ui::win32
