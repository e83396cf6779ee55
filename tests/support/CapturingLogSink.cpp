#include "support/CapturingLogSink.hpp"

#include <algorithm>

namespace kvo::test {

struct CapturingLogSink::Sink : LogSink {
    void write(const LogRecord& record) override {
        std::lock_guard lock(mutex);
        lines.push_back({std::string(record.logger), record.priority,
                         formatLogMessage(record.tag, record.text)});
    }
    mutable std::mutex mutex;
    std::vector<CapturedLine> lines;
};

CapturingLogSink::CapturingLogSink()
    : sink_(std::make_shared<Sink>()), previousGlobalPriority_(Logger::globalPriority()) {
    Logger::setGlobalPriority(kLogDetail);
    Logger::addSink(sink_);
}

CapturingLogSink::~CapturingLogSink() {
    Logger::removeSink(sink_);
    Logger::setGlobalPriority(previousGlobalPriority_);
}

std::vector<CapturedLine> CapturingLogSink::lines() const {
    std::lock_guard lock(sink_->mutex);
    return sink_->lines;
}

std::vector<std::string> CapturingLogSink::messages(const std::string& logger) const {
    std::vector<std::string> result;
    for (const CapturedLine& line : lines()) {
        if (line.logger == logger) {
            result.push_back(line.message);
        }
    }
    return result;
}

bool CapturingLogSink::contains(const std::string& logger, const std::string& message) const {
    const std::vector<std::string> all = messages(logger);
    return std::find(all.begin(), all.end(), message) != all.end();
}

}  // namespace kvo::test
