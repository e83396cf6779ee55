#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace kvo {

// The one clock every wait of the module goes through.
//
// A thread "takes part" in a clock while it runs code that sleeps on it. A
// steady clock ignores participation; a virtual clock uses it to know when
// every participant is waiting, which is the only moment its time may advance.
class Clock {
public:
    using Duration = std::chrono::microseconds;

    virtual ~Clock() = default;
    virtual Duration now() = 0;
    virtual void sleepFor(Duration duration) = 0;
    // A thread joins in two steps so that threads started one after another
    // take their turns in that order: the starting thread reserves a turn, the
    // new thread attaches with it.
    virtual std::uint64_t reserveTurn() { return 0; }
    virtual void attach(std::uint64_t /*reservedTurn*/) {}
    void attach() { attach(reserveTurn()); }
    virtual void detach() {}
    // Returns once `running` is false. A thread that takes part in a virtual
    // clock waits on the clock, so that time never runs ahead while the
    // thread it waits for is finishing; otherwise there is nothing to wait for
    // here and the caller joins the thread.
    virtual void awaitEnd(const std::atomic<bool>& running) { static_cast<void>(running); }

    static Clock& instance();
    // Makes `clock` the process clock and returns the previous one; the caller keeps ownership.
    static Clock& install(Clock& clock);
};

class SteadyClock : public Clock {
public:
    Duration now() override;
    void sleepFor(Duration duration) override;

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// The calling thread takes part in `clock` for the lifetime of the object.
class ClockParticipant {
public:
    explicit ClockParticipant(Clock& clock);
    ClockParticipant(Clock& clock, std::uint64_t reservedTurn);
    ~ClockParticipant();
    ClockParticipant(const ClockParticipant&) = delete;
    ClockParticipant& operator=(const ClockParticipant&) = delete;

private:
    Clock& clock_;
    bool attached_;
};

// The calling thread steps out of the process clock while it blocks on
// something outside the program (a person at the keyboard); time goes on
// without it meanwhile. Not for waiting on threads of the program:
// ManagedThread::join waits on the clock itself.
class ClockBlockedScope {
public:
    ClockBlockedScope();
    ~ClockBlockedScope();
    ClockBlockedScope(const ClockBlockedScope&) = delete;
    ClockBlockedScope& operator=(const ClockBlockedScope&) = delete;

private:
    Clock* clock_;
};

// Installs a clock for a scope (the host, tests) and puts the previous one back.
class ScopedClock {
public:
    explicit ScopedClock(Clock& clock) : previous_(Clock::install(clock)) {}
    ~ScopedClock() { Clock::install(previous_); }
    ScopedClock(const ScopedClock&) = delete;
    ScopedClock& operator=(const ScopedClock&) = delete;

private:
    Clock& previous_;
};

namespace detail {
// The clock the calling thread takes part in, or null.
Clock* participatingClock();
void setParticipatingClock(Clock* clock);
}  // namespace detail

}  // namespace kvo
