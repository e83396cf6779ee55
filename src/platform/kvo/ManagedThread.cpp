#include "ManagedThread.hpp"

#include <exception>

#include "Clock.hpp"
#include "Logger.hpp"

namespace kvo {

ManagedThread::ManagedThread(std::string name, Body body)
    : name_(std::move(name)), body_(std::move(body)) {}

ManagedThread::~ManagedThread() {
    join();
}

void ManagedThread::start() {
    if (thread_.joinable() || running_.load()) {
        return;
    }
    running_.store(true);
    Clock& clock = Clock::instance();
    thread_ = std::thread([this, &clock, turn = clock.reserveTurn()] {
        ClockParticipant participant(clock, turn);
        run();
    });
}

void ManagedThread::run() {
    int code = -1;
    try {
        code = body_();
    } catch (const std::exception& e) {
        KVO_LOG(Logger::get("kvo"), kLogError, "Thread {} ended with an exception: {}", name_,
                e.what());
    } catch (...) {
        KVO_LOG(Logger::get("kvo"), kLogError, "Thread {} ended with an unknown exception", name_);
    }
    exitCode_.store(code);
    running_.store(false);
}

void ManagedThread::join() {
    if (thread_.joinable()) {
        Clock::instance().awaitEnd(running_);
        thread_.join();
    }
}

}  // namespace kvo
