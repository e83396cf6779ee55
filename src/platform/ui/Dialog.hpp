#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ui {

// Identifiers and message numbers as the Windows dialogs have them, so the
// module's handlers read the same on every front end.
inline constexpr int IDOK = 1;
inline constexpr int IDCANCEL = 2;
inline constexpr unsigned WM_USER = 0x0400;

enum class ControlKind { Button, List, Progress, Label, Text };

// What a control is for, so that a front end without windows (a terminal, a
// script) knows which key or which step of its script presses it.
enum class ControlRole {
    None,
    Record,
    Play,
    Pass,
    Fail,
    Close,
    InputList,
    OutputList,
    Progress,
    Instructions
};

struct ControlSpec {
    int id;
    ControlKind kind;
    ControlRole role;
    bool enabled;  // at creation
};

// A dialog resource: the controls it holds. Controls not listed do not exist.
struct DialogTemplate {
    int resourceId;
    std::vector<ControlSpec> controls;
};

enum class MessageBoxResult { Ok, Cancel };

class Dialog;

// The logic of one dialog. Every handler runs on the dialog's thread.
class DialogHandler {
public:
    virtual ~DialogHandler() = default;
    virtual void onInitDialog(Dialog& dialog) = 0;
    // A button was pressed; IDCANCEL also when the user closes the dialog.
    virtual void onCommand(int controlId) = 0;
    virtual void onSelectionChange(int /*listId*/) {}
    virtual void onTimer(unsigned /*timerId*/) {}
    // A message posted with Dialog::post.
    virtual void onMessage(unsigned /*message*/, std::uintptr_t /*wParam*/,
                           std::intptr_t /*lParam*/) {}
};

// One open modal dialog as its handler sees it. Calls on a control the
// template does not hold do nothing (reads answer 0, "" or false). Only post()
// may be called from other threads.
class Dialog {
public:
    virtual ~Dialog() = default;

    virtual bool hasControl(int id) const = 0;
    virtual void setCaption(const std::string& text) = 0;
    virtual void setText(int id, const std::string& text) = 0;
    virtual std::string text(int id) const = 0;
    virtual void enable(int id, bool enabled) = 0;
    virtual bool isEnabled(int id) const = 0;
    virtual void setFocus(int id) = 0;
    virtual int focus() const = 0;
    virtual void setProgress(int id, int position) = 0;
    virtual int progress(int id) const = 0;

    virtual void clearList(int id) = 0;
    // Returns the new entry's index.
    virtual int addListItem(int id, const std::string& text, std::uintptr_t data) = 0;
    virtual int listCount(int id) const = 0;
    // -1 clears the selection.
    virtual void selectListItem(int id, int index) = 0;
    virtual int selectedListItem(int id) const = 0;
    virtual std::uintptr_t listItemData(int id, int index) const = 0;

    // Timers run on the process clock; a second setTimer with the same id restarts it.
    virtual void setTimer(unsigned timerId, unsigned periodMs) = 0;
    virtual void killTimer(unsigned timerId) = 0;

    // Any thread: queues a message for DialogHandler::onMessage.
    virtual void post(unsigned message, std::uintptr_t wParam = 0, std::intptr_t lParam = 0) = 0;
    // Ends the modal loop once the current handler returns.
    virtual void end(int result) = 0;
    virtual MessageBoxResult messageBox(const std::string& caption, const std::string& text) = 0;
};

// A front end that shows dialogs: a terminal screen, a script, Win32 windows.
class DialogService {
public:
    virtual ~DialogService() = default;
    virtual std::string name() const = 0;
    // Runs a modal dialog on the calling thread; returns the value given to Dialog::end.
    virtual int runModal(const DialogTemplate& layout, DialogHandler& handler) = 0;
};

// The front end the host installed for this run; using it before one is installed is an assertion.
DialogService& currentDialogService();

class ScopedDialogService {
public:
    explicit ScopedDialogService(DialogService& service);
    ~ScopedDialogService();
    ScopedDialogService(const ScopedDialogService&) = delete;
    ScopedDialogService& operator=(const ScopedDialogService&) = delete;

private:
    DialogService* previous_;
};

}  // namespace ui
