#include "Clock.hpp"

#include <atomic>
#include <thread>

namespace kvo {
namespace {
SteadyClock defaultClock;
std::atomic<Clock*> processClock{&defaultClock};
thread_local Clock* threadClock = nullptr;
}  // namespace

namespace detail {
Clock* participatingClock() {
    return threadClock;
}
void setParticipatingClock(Clock* clock) {
    threadClock = clock;
}
}  // namespace detail

Clock& Clock::instance() {
    return *processClock.load();
}

Clock& Clock::install(Clock& clock) {
    return *processClock.exchange(&clock);
}

Clock::Duration SteadyClock::now() {
    return std::chrono::duration_cast<Duration>(std::chrono::steady_clock::now() - start_);
}

void SteadyClock::sleepFor(Duration duration) {
    std::this_thread::sleep_for(duration);
}

ClockParticipant::ClockParticipant(Clock& clock) : ClockParticipant(clock, clock.reserveTurn()) {}

ClockParticipant::ClockParticipant(Clock& clock, std::uint64_t reservedTurn)
    : clock_(clock), attached_(detail::participatingClock() == nullptr) {
    if (attached_) {
        clock_.attach(reservedTurn);
        detail::setParticipatingClock(&clock_);
    }
}

ClockParticipant::~ClockParticipant() {
    if (attached_) {
        detail::setParticipatingClock(nullptr);
        clock_.detach();
    }
}

ClockBlockedScope::ClockBlockedScope() : clock_(detail::participatingClock()) {
    if (clock_ != nullptr) {
        detail::setParticipatingClock(nullptr);
        clock_->detach();
    }
}

ClockBlockedScope::~ClockBlockedScope() {
    if (clock_ != nullptr) {
        clock_->attach();
        detail::setParticipatingClock(clock_);
    }
}

}  // namespace kvo
