#include <atomic>
#include <filesystem>
#include <system_error>

#include "Dialog.hpp"
#include "Mci.hpp"
#include "platform/kvo/Assert.hpp"
#include "platform/kvo/System.hpp"

namespace ui {
namespace {
std::atomic<DialogService*> currentDialog{nullptr};
std::atomic<MciService*> currentMci{nullptr};
}  // namespace

DialogService& currentDialogService() {
    DialogService* const service = currentDialog.load();
    KVO_ASSERT_TEXT(service != nullptr, "a dialog service is installed");
    return *service;
}

ScopedDialogService::ScopedDialogService(DialogService& service)
    : previous_(currentDialog.exchange(&service)) {}

ScopedDialogService::~ScopedDialogService() {
    currentDialog.store(previous_);
}

MciService& currentMciService() {
    MciService* const service = currentMci.load();
    KVO_ASSERT_TEXT(service != nullptr, "an MCI service is installed");
    return *service;
}

bool hasMciService() {
    return currentMci.load() != nullptr;
}

ScopedMciService::ScopedMciService(MciService& service)
    : previous_(currentMci.exchange(&service)) {}

ScopedMciService::~ScopedMciService() {
    currentMci.store(previous_);
}

bool temporaryDirectory(std::string& path) {
    std::error_code error;
    const std::filesystem::path directory = std::filesystem::temp_directory_path(error);
    if (error || directory.empty()) {
        return false;
    }
    path = kvo::fromPath(directory / "");
    return true;
}

}  // namespace ui
