#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <utility>

#include "Clock.hpp"

namespace kvo {

// Simulated time. At most one participating thread runs at a time; when it
// sleeps (or stops taking part), the waiting participant with the earliest
// wake-up runs next, ties in the order they began to wait, and time jumps to
// that wake-up. Runs are therefore fast and, for the same inputs, identical.
//
// A participant must not sleep while holding a lock that another participant
// needs: the other would block outside the clock and time would stop.
class VirtualClock : public Clock {
public:
    Duration now() override;
    // A thread that does not take part sleeps as a participant for this one wait.
    void sleepFor(Duration duration) override;
    std::uint64_t reserveTurn() override;
    void attach(std::uint64_t reservedTurn) override;
    using Clock::attach;
    void detach() override;
    void awaitEnd(const std::atomic<bool>& running) override;

private:
    std::uint64_t enqueue(Duration wakeUp);
    void waitForTurn(std::unique_lock<std::mutex>& lock, std::uint64_t turn);
    void dispatchNext();

    std::mutex mutex_;
    std::condition_variable turnChanged_;
    Duration now_{0};
    bool participantRunning_ = false;
    std::uint64_t currentTurn_ = 0;
    std::uint64_t nextTurn_ = 1;
    std::map<std::pair<Duration, std::uint64_t>, std::uint64_t> waiting_;
    std::set<std::uint64_t> awaiting_;  // turns of threads waiting for another thread's end
};

}  // namespace kvo
