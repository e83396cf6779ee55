#include "platform/ui/ModalDialog.hpp"

#include <gtest/gtest.h>

#include <functional>
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

class ModalDialogTest : public testing::Test {
protected:
    kvo::VirtualClock clock_;
    kvo::ScopedClock installed_{clock_};
    kvo::ClockParticipant participant_{clock_};
    RecordingHandler handler_;
};

TEST_F(ModalDialogTest, TimersFireOnTheProcessClockUntilKilled) {
    handler_.init = [](Dialog& dialog) { dialog.setTimer(1, 100); };
    test::TestDialog dialog(kLayout, handler_, [&](test::TestDialog& d) {
        if (handler_.calls.size() == 3) {
            d.killTimer(1);
            d.end(0);
        }
    });
    dialog.run();
    EXPECT_EQ(handler_.calls,
              (std::vector<std::string>{"timer 1 at 100", "timer 1 at 200", "timer 1 at 300"}));
}

TEST_F(ModalDialogTest, TheUserReachesOnlyEnabledControlsThatExist) {
    test::TestDialog dialog(kLayout, handler_, [&](test::TestDialog& d) {
        d.press(kButton);  // disabled at creation
        d.press(99);       // no such control
        d.enable(kButton, true);
        d.press(kButton);
        d.addListItem(kList, "first", 5);
        d.addListItem(kList, "second", 6);
        d.choose(kList, 1);
        d.choose(kList, 1);  // no change, no notification
        d.choose(kList, 2);  // out of range
        d.end(0);
    });
    dialog.run();
    EXPECT_EQ(handler_.calls, (std::vector<std::string>{"command 10", "select 11"}));
    EXPECT_EQ(dialog.selectedListItem(kList), 1);
    EXPECT_EQ(dialog.listItemData(kList, 1), 6u);
    EXPECT_EQ(dialog.listItemData(kList, 5), 0u);
    EXPECT_FALSE(dialog.isEnabled(99));
    EXPECT_EQ(dialog.text(99), "");
}

TEST_F(ModalDialogTest, ProgressIsKeptWithinZeroToHundred) {
    std::vector<int> positions;
    test::TestDialog dialog(kLayout, handler_, [&](test::TestDialog& d) {
        for (const int position : {150, -5, 42}) {
            d.setProgress(kBar, position);
            positions.push_back(d.progress(kBar));
        }
        d.end(0);
    });
    dialog.run();
    EXPECT_EQ(positions, (std::vector<int>{100, 0, 42}));
}

}  // namespace
}  // namespace ui
