#include "FrontEndSource.hpp"

#include "platform/ui/console/ConsoleDialogService.hpp"
#include "platform/ui/scripted/ScriptedDialogService.hpp"
#ifdef KVO_UI_WIN32
#include "platform/ui/win32/Win32DialogService.hpp"
#endif

namespace vesk5::host {
namespace {

// Keeps a front end and its installation together.
template <typename Service>
struct Installed {
    template <typename... Args>
    explicit Installed(Args&&... args) : service(std::forward<Args>(args)...), scope(service) {}
    Service service;
    ui::ScopedDialogService scope;
};

ui::ScriptedDialogService::Answer scriptedAnswer(const std::string& answer) {
    if (answer == "pass") {
        return ui::ScriptedDialogService::Answer::Pass;
    }
    if (answer == "fail") {
        return ui::ScriptedDialogService::Answer::Fail;
    }
    return ui::ScriptedDialogService::Answer::Cancel;
}

}  // namespace

std::shared_ptr<void> openFrontEnd(const Options& options, std::string& chosen) {
    chosen = options.ui;
    if (chosen.empty()) {
        chosen = !options.answer.empty() || !ui::standardInputIsTerminal() ? "scripted" : "console";
    }
    if (!options.answer.empty() && chosen != "scripted") {
        throw UsageError("--answer is for --ui scripted");
    }
    if (chosen == "win32") {
#ifdef KVO_UI_WIN32
        if (std::string reason; !ui::win32::displayAvailable(reason)) {
            throw UsageError("--ui win32: " + reason + "; use --ui console or --ui scripted");
        }
        return std::make_shared<Installed<ui::win32::Win32DialogService>>();
#else
        throw UsageError(
            "--ui win32: the Win32 dialogs are not part of this build; use --ui console or --ui "
            "scripted");
#endif
    }
    if (chosen == "console") {
        return std::make_shared<Installed<ui::ConsoleDialogService>>();
    }
    return std::make_shared<Installed<ui::ScriptedDialogService>>(scriptedAnswer(options.answer));
}

}  // namespace vesk5::host
