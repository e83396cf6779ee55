#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/kvo/Logger.hpp"

namespace kvo::test {

struct CapturedLine {
    std::string logger;
    int priority;
    std::string message;  // "<tag> <text>"
};

// Collects log messages while it is alive; sets the global priority to 1 so that
// everything a logger allows reaches it, and restores the previous one after.
class CapturingLogSink {
public:
    CapturingLogSink();
    ~CapturingLogSink();
    CapturingLogSink(const CapturingLogSink&) = delete;
    CapturingLogSink& operator=(const CapturingLogSink&) = delete;

    std::vector<CapturedLine> lines() const;
    // Messages of one logger, in order.
    std::vector<std::string> messages(const std::string& logger) const;
    bool contains(const std::string& logger, const std::string& message) const;

private:
    struct Sink;
    std::shared_ptr<Sink> sink_;
    int previousGlobalPriority_;
};

}  // namespace kvo::test
