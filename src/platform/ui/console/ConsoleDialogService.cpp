#include "ConsoleDialogService.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <sstream>
#include <thread>

#include "platform/kvo/Clock.hpp"
#include "platform/kvo/Console.hpp"
#include "platform/kvo/RawKeyboard.hpp"
#include "platform/kvo/System.hpp"
#include "platform/ui/ModalDialog.hpp"
#include "platform/vesk5/DiagModule.hpp"

#ifdef _WIN32
#include <conio.h>
#include <io.h>
#else
#include <poll.h>
#include <unistd.h>
#endif

namespace ui {
namespace {

constexpr int kNoKey = -1;
constexpr int kEndOfInput = -2;
// How long one look at the keyboard may block; the dialog's clock goes on meanwhile.
constexpr int kKeyPollMs = 50;

bool outputIsTerminal() {
#ifdef _WIN32
    return _isatty(_fileno(stdout)) != 0;
#else
    return isatty(STDOUT_FILENO) != 0;
#endif
}

// Single keys without echo while a dialog is open; the terminal is put back afterwards.
class KeyReader {
public:
    // A key, kNoKey when none came within `waitMs`, or kEndOfInput.
    int next(int waitMs) {
        if (ended_) {
            return kEndOfInput;
        }
        // Waiting for a person is no wait of the simulated machine: step out
        // of the clock so that recordings and playbacks go on meanwhile.
        const kvo::ClockBlockedScope blocked;
#ifdef _WIN32
        if (_isatty(_fileno(stdin)) != 0) {
            const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(waitMs);
            while (_kbhit() == 0) {
                if (std::chrono::steady_clock::now() >= until) {
                    return kNoKey;
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
            return _getch();
        }
        const int c = std::getchar();
        ended_ = c == EOF;
        return ended_ ? kEndOfInput : c;
#else
        pollfd descriptor{STDIN_FILENO, POLLIN, 0};
        const int ready = ::poll(&descriptor, 1, waitMs);
        if (ready <= 0) {
            return kNoKey;
        }
        unsigned char c = 0;
        if (::read(STDIN_FILENO, &c, 1) != 1) {
            ended_ = true;
            return kEndOfInput;
        }
        return c;
#endif
    }

private:
    kvo::RawKeyboard keyboard_;
    bool ended_ = false;
};

char hotKey(ControlRole role) {
    switch (role) {
        case ControlRole::Record:
            return 'r';
        case ControlRole::Play:
            return 'p';
        case ControlRole::Pass:
            return 's';
        case ControlRole::Fail:
            return 'f';
        case ControlRole::Close:
            return 'c';
        default:
            return 0;
    }
}

std::string withoutCarriageReturns(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
}

class ConsoleDialog final : public ModalDialog {
public:
    ConsoleDialog(const DialogTemplate& layout, DialogHandler& handler)
        : ModalDialog(layout, handler), terminal_(outputIsTerminal()) {}

    MessageBoxResult messageBox(const std::string& caption, const std::string& text) override {
        draw();
        kvo::cout() << "\n*** " << caption << " ***\n"
                    << withoutCarriageReturns(text) << "\n[press Enter]" << std::endl;
        for (;;) {
            const int key = keys_.next(kKeyPollMs);
            if (key == '\n' || key == '\r' || key == ' ' || key == kEndOfInput ||
                vesk5::DiagModule::checkForStop()) {
                break;
            }
        }
        drawnRevision_ = kNeverDrawn;  // the box is gone: draw the dialog again
        return MessageBoxResult::Ok;
    }

protected:
    void idle(std::uint32_t maxWaitMs) override {
        // Ctrl-C asks the test to stop: the dialog closes as its Close button would.
        if (vesk5::DiagModule::checkForStop()) {
            cancelByUser();
            if (ended()) {
                return;
            }
        }
        if (drawnRevision_ != revision()) {
            draw();
        }
        const int key = keys_.next(std::min<int>(kKeyPollMs, static_cast<int>(maxWaitMs)));
        if (key == kEndOfInput || key == 'q' || key == 'c' || key == 'C' || key == 'Q') {
            cancelByUser();
        } else if (key == 'i' || key == 'I') {
            chooseNext(ControlRole::InputList);
        } else if (key == 'o' || key == 'O') {
            chooseNext(ControlRole::OutputList);
        } else if (key >= 0) {
            for (const Control& control : controls()) {
                const char wanted = hotKey(control.definition.role);
                if (wanted != 0 && (key == wanted || key == wanted - 'a' + 'A')) {
                    press(control.definition.id);
                    break;
                }
            }
        }
        // The dialog's timers run on the process clock; let it move on as the person waits.
        kvo::System::mssleep(maxWaitMs);
    }

private:
    void chooseNext(ControlRole role) {
        if (const Control* list = findRole(role); list != nullptr && !list->items.empty()) {
            choose(list->definition.id,
                   (list->selection + 1) % static_cast<int>(list->items.size()));
        }
    }

    std::string listLine(ControlRole role, char key, int labelId) const {
        const Control* list = findRole(role);
        if (list == nullptr) {
            return {};
        }
        std::ostringstream line;
        line << (labelId != 0 ? text(labelId) : std::string()) << " ";
        if (list->selection >= 0) {
            line << list->items[static_cast<std::size_t>(list->selection)].first << "  ("
                 << list->selection + 1 << " of " << list->items.size() << ")";
        } else {
            line << "(none)";
        }
        if (list->items.size() > 1) {
            line << "  [" << key << "] next";
        }
        return line.str();
    }

    void draw() {
        drawnRevision_ = revision();
        std::ostringstream screen;
        if (terminal_) {
            screen << "\x1b[H\x1b[2J";
        }
        screen << "=== " << caption() << " ===\n\n";
        for (const Control& control : controls()) {
            if (control.definition.role == ControlRole::Instructions) {
                screen << withoutCarriageReturns(control.text) << "\n\n";
            }
        }
        int inputLabel = 0;
        int outputLabel = 0;
        for (const Control& control : controls()) {
            if (control.definition.kind == ControlKind::Label) {
                (inputLabel == 0 ? inputLabel : outputLabel) = control.definition.id;
            }
        }
        screen << listLine(ControlRole::InputList, 'i', inputLabel) << "\n";
        screen << listLine(ControlRole::OutputList, 'o', outputLabel) << "\n\n";
        if (const Control* bar = findRole(ControlRole::Progress)) {
            constexpr int kWidth = 40;
            const int filled = bar->position * kWidth / 100;
            screen << "[" << std::string(static_cast<std::size_t>(filled), '#')
                   << std::string(static_cast<std::size_t>(kWidth - filled), '.') << "] "
                   << bar->position << "%\n\n";
        }
        for (const Control& control : controls()) {
            const char key = hotKey(control.definition.role);
            if (key == 0) {
                continue;
            }
            screen << (control.enabled ? std::string("[") + key + "] " : std::string("[-] "))
                   << control.text << "   ";
        }
        screen << "\n";
        kvo::cout() << screen.str() << std::flush;
    }

    bool terminal_;
    KeyReader keys_;
    static constexpr std::uint64_t kNeverDrawn = ~std::uint64_t{0};
    std::uint64_t drawnRevision_ = kNeverDrawn;
};

}  // namespace

int ConsoleDialogService::runModal(const DialogTemplate& layout, DialogHandler& handler) {
    ConsoleDialog dialog(layout, handler);
    return dialog.run();
}

bool standardInputIsTerminal() {
#ifdef _WIN32
    return _isatty(_fileno(stdin)) != 0;
#else
    return isatty(STDIN_FILENO) != 0;
#endif
}

}  // namespace ui
