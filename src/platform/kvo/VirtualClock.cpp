#include "VirtualClock.hpp"

#include <algorithm>

namespace kvo {

Clock::Duration VirtualClock::now() {
    std::lock_guard lock(mutex_);
    return now_;
}

void VirtualClock::sleepFor(Duration duration) {
    Clock* const previous = detail::participatingClock();
    if (previous != this) {
        attach();
        detail::setParticipatingClock(this);
    }
    {
        std::unique_lock lock(mutex_);
        participantRunning_ = false;
        waitForTurn(lock, enqueue(now_ + std::max(duration, Duration::zero())));
    }
    if (previous != this) {
        detail::setParticipatingClock(previous);
        detach();
    }
}

std::uint64_t VirtualClock::reserveTurn() {
    std::lock_guard lock(mutex_);
    return enqueue(now_);
}

void VirtualClock::attach(std::uint64_t reservedTurn) {
    std::unique_lock lock(mutex_);
    waitForTurn(lock, reservedTurn);
}

void VirtualClock::detach() {
    std::lock_guard lock(mutex_);
    participantRunning_ = false;
    dispatchNext();
}

std::uint64_t VirtualClock::enqueue(Duration wakeUp) {
    const std::uint64_t turn = nextTurn_++;
    waiting_.emplace(std::pair{wakeUp, turn}, turn);
    return turn;
}

void VirtualClock::waitForTurn(std::unique_lock<std::mutex>& lock, std::uint64_t turn) {
    dispatchNext();
    turnChanged_.wait(lock, [&] { return currentTurn_ == turn; });
}

void VirtualClock::dispatchNext() {
    if (participantRunning_ || waiting_.empty()) {
        return;
    }
    const auto next = waiting_.begin();
    now_ = std::max(now_, next->first.first);
    currentTurn_ = next->second;
    waiting_.erase(next);
    participantRunning_ = true;
    turnChanged_.notify_all();
}

}  // namespace kvo
