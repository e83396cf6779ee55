#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/audio/CurrentSystem.hpp"
#include "platform/audio/sim/SimulatedSystem.hpp"
#include "platform/kvo/Stopwatch.hpp"
#include "platform/kvo/System.hpp"
#include "platform/kvo/VirtualClock.hpp"
#include "platform/ui/ModalDialog.hpp"
#include "platform/ui/sim/SimMciService.hpp"

namespace kvormicrophone::test {

// A scenario machine on a virtual clock, installed with its MCI service.
class SimulatedPc {
public:
    explicit SimulatedPc(const std::string& scenario)
        : system_(
              audio::sim::createSimulatedSystem(std::string(KVO_SCENARIO_DIR) + "/" + scenario)),
          audio_(*system_),
          mci_(*system_),
          installedMci_(mci_) {}

    ui::sim::SimMciService& mci() { return mci_; }

private:
    kvo::VirtualClock clock_;
    kvo::ScopedClock installedClock_{clock_};
    kvo::ClockParticipant participant_{clock_};
    std::unique_ptr<audio::sim::SimulatedSystem> system_;
    audio::ScopedAudioSystem audio_;
    ui::sim::SimMciService mci_;
    ui::ScopedMciService installedMci_;
};

struct Buttons {
    bool record;
    bool play;
    bool pass;
    bool fail;
    bool close;
    bool operator==(const Buttons&) const = default;
};

// A dialog driven by the test: whenever it is idle, `onIdle` may look at it
// and act as the user. A dialog still open after a minute of clock time is
// closed, so that a broken flow fails its test instead of hanging it.
class TestDialog : public ui::ModalDialog {
public:
    using ModalDialog::choose;
    using ModalDialog::press;

    TestDialog(const ui::DialogTemplate& layout, ui::DialogHandler& handler,
               std::function<void(TestDialog&)> onIdle)
        : ModalDialog(layout, handler), onIdle_(std::move(onIdle)) {}

    ui::MessageBoxResult messageBox(const std::string& caption, const std::string& text) override {
        ++messageBoxes;
        lastMessage = caption + ": " + text;
        return ui::MessageBoxResult::Ok;
    }

    Buttons buttons(int record, int play, int pass, int fail, int close) const {
        return {isEnabled(record), isEnabled(play), isEnabled(pass), isEnabled(fail),
                isEnabled(close)};
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

class TestDialogService : public ui::DialogService {
public:
    explicit TestDialogService(std::function<void(TestDialog&)> onIdle)
        : onIdle_(std::move(onIdle)) {}
    std::string name() const override { return "test"; }
    int runModal(const ui::DialogTemplate& layout, ui::DialogHandler& handler) override {
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

}  // namespace kvormicrophone::test
