#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace kvo {

// A worker thread that takes part in the process clock while it runs and
// keeps its body's exit code. An exception escaping the body is logged and
// ends the thread with exit code -1.
class ManagedThread {
public:
    using Body = std::function<int()>;

    ManagedThread(std::string name, Body body);
    ~ManagedThread();  // joins
    ManagedThread(const ManagedThread&) = delete;
    ManagedThread& operator=(const ManagedThread&) = delete;

    // Starts the body once; a second call does nothing.
    void start();
    bool isRunning() const { return running_.load(); }
    void join();
    // The body's result; meaningful once the thread has ended.
    int exitCode() const { return exitCode_.load(); }
    const std::string& name() const { return name_; }

private:
    void run();

    std::string name_;
    Body body_;
    std::thread thread_;
    std::atomic<bool> running_{false};
    std::atomic<int> exitCode_{0};
};

}  // namespace kvo
