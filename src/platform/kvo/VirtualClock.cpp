#include "VirtualClock.hpp"

#include <algorithm>
#include <thread>

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

void VirtualClock::awaitEnd(const std::atomic<bool>& running) {
    if (detail::participatingClock() != this) {
        return;
    }
    // Wake up together with the next sleeper, after it: the ending thread
    // clears the flag while it has the turn, so the flag is seen at the very
    // time the thread ends and the clock never runs ahead of it. Other threads
    // that await an end are no reason to wake up; counting them would let two
    // of them hand the turn to each other forever.
    while (running.load()) {
        std::unique_lock lock(mutex_);
        participantRunning_ = false;
        const auto sleeper = std::find_if(waiting_.begin(), waiting_.end(), [&](const auto& entry) {
            return !awaiting_.contains(entry.second);
        });
        const bool alone = sleeper == waiting_.end();
        const std::uint64_t turn = enqueue(alone ? now_ : std::max(now_, sleeper->first.first));
        awaiting_.insert(turn);
        waitForTurn(lock, turn);
        awaiting_.erase(turn);
        if (alone) {
            lock.unlock();
            std::this_thread::yield();  // the thread ends outside the clock
        }
    }
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
