#include <gtest/gtest.h>

#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/kvo/ManagedThread.hpp"
#include "platform/kvo/System.hpp"
#include "platform/kvo/VirtualClock.hpp"

namespace kvo {
namespace {

using std::chrono::milliseconds;

class VirtualClockTest : public testing::Test {
protected:
    VirtualClock clock;
    ScopedClock installed{clock};
    ClockParticipant mainThread{clock};
};

std::uint64_t nowMs(Clock& clock) {
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<milliseconds>(clock.now()).count());
}

// Three threads with different periods; each records "<name>@<time>" on every wake-up.
std::vector<std::string> interleavingOfThreeThreads() {
    VirtualClock clock;
    ScopedClock installed(clock);
    ClockParticipant mainThread(clock);
    std::mutex mutex;
    std::vector<std::string> events;
    const auto worker = [&](std::string name, std::uint32_t period) {
        return [&, name, period] {
            for (int i = 0; i < 4; ++i) {
                System::mssleep(period);
                std::lock_guard lock(mutex);
                events.push_back(name + "@" + std::to_string(nowMs(clock)));
            }
            return 0;
        };
    };
    ManagedThread a("a", worker("a", 30));
    ManagedThread b("b", worker("b", 20));
    ManagedThread c("c", worker("c", 60));
    a.start();
    b.start();
    c.start();
    a.join();
    b.join();
    c.join();
    return events;
}

TEST(VirtualClock, SeveralThreadsWakeInTimeOrderAndIdenticallyOnEveryRun) {
    const std::vector<std::string> first = interleavingOfThreeThreads();
    const std::vector<std::string> expected{"b@20", "a@30", "b@40",  "c@60",  "a@60",  "b@60",
                                            "b@80", "a@90", "c@120", "a@120", "c@180", "c@240"};
    EXPECT_EQ(first, expected);
    for (int run = 0; run < 5; ++run) {
        EXPECT_EQ(interleavingOfThreeThreads(), first);
    }
}

TEST_F(VirtualClockTest, ChainedJoinsEndExactlyWhenTheSleeperEnds) {
    // main joins `outer`, which joins `inner`, which sleeps: the two joiners must
    // neither hand the turn to each other forever nor let the clock run past.
    ManagedThread outer("outer", [] {
        ManagedThread inner("inner", [] {
            System::mssleep(30);
            return 0;
        });
        inner.start();
        inner.join();
        return 0;
    });
    outer.start();
    outer.join();
    EXPECT_EQ(nowMs(clock), 30u);
}

TEST_F(VirtualClockTest, ExceptionInAThreadBodyEndsItWithMinusOne) {
    ManagedThread failing("failing", []() -> int { throw std::runtime_error("device vanished"); });
    failing.start();
    failing.join();
    EXPECT_FALSE(failing.isRunning());
    EXPECT_EQ(failing.exitCode(), -1);
}

}  // namespace
}  // namespace kvo
