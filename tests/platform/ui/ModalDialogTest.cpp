#include "platform/ui/ModalDialog.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/kvo/VirtualClock.hpp"
#include "support/TestDialog.hpp"

namespace ui {
namespace {

constexpr int kButton = 10;
constexpr int kList = 11;
constexpr int kBar = 12;

const DialogTemplate kLayout{1,
                             {{kButton, ControlKind::Button, ControlRole::Record, false},
                              {kList, ControlKind::List, ControlRole::InputList, true},
                              {kBar, ControlKind::Progress, ControlRole::Progress, true}}};

// Records what reaches the handler, in order.
struct RecordingHandler : DialogHandler {
    std::function<void(Dialog&)> init;
    std::vector<std::string> calls;

    void onInitDialog(Dialog& d) override {
        if (init) {
            init(d);
        }
    }
    void onCommand(int id) override { calls.push_back("command " + std::to_string(id)); }
    void onSelectionChange(int id) override { calls.push_back("select " + std::to_string(id)); }
    void onTimer(unsigned id) override {
        calls.push_back("timer " + std::to_string(id) + " at " +
                        std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(
                                           kvo::Clock::instance().now())
                                           .count()));
    }
};

// The front ends a person works (console, scripted) and the dialog tests all run on this.
TEST(ModalDialog, TheUserReachesOnlyEnabledControlsAndTimersFireOnTheProcessClockUntilKilled) {
    kvo::VirtualClock clock;
    kvo::ScopedClock installed{clock};
    kvo::ClockParticipant participant{clock};
    RecordingHandler handler;
    handler.init = [](Dialog& dialog) { dialog.setTimer(1, 100); };
    std::vector<int> positions;
    bool acted = false;
    test::TestDialog dialog(kLayout, handler, [&](test::TestDialog& d) {
        if (!acted) {
            acted = true;
            d.press(kButton);  // disabled at creation
            d.press(99);       // no such control
            d.enable(kButton, true);
            d.press(kButton);
            d.addListItem(kList, "first", 5);
            d.addListItem(kList, "second", 6);
            d.choose(kList, 1);
            d.choose(kList, 1);  // no change, no notification
            d.choose(kList, 2);  // out of range
            for (const int position : {150, -5, 42}) {
                d.setProgress(kBar, position);
                positions.push_back(d.progress(kBar));
            }
        } else if (handler.calls.size() == 5) {
            d.killTimer(1);
            d.end(0);
        }
    });
    dialog.run();
    EXPECT_EQ(handler.calls, (std::vector<std::string>{"command 10", "select 11", "timer 1 at 100",
                                                       "timer 1 at 200", "timer 1 at 300"}));
    EXPECT_EQ(dialog.selectedListItem(kList), 1);
    EXPECT_EQ(dialog.listItemData(kList, 1), 6u);
    EXPECT_EQ(dialog.listItemData(kList, 5), 0u);
    EXPECT_FALSE(dialog.isEnabled(99));
    EXPECT_EQ(positions, (std::vector<int>{100, 0, 42}));
}

}  // namespace
}  // namespace ui
