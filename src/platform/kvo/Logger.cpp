#include "Logger.hpp"

#include <algorithm>
#include <map>
#include <mutex>
#include <vector>

namespace kvo {
namespace {

struct LogRegistry {
    std::mutex mutex;
    std::map<std::string, std::unique_ptr<Logger>, std::less<>> loggers;
    std::vector<std::shared_ptr<LogSink>> sinks;
    std::atomic<int> globalPriority{kLogInfo};
};

LogRegistry& registry() {
    // Never destroyed: loggers are used from static destructors and detached threads.
    static auto* instance = new LogRegistry;
    return *instance;
}

}  // namespace

std::string formatLogMessage(int tag, std::string_view text) {
    return fmt::format("{} {}", tag, text);
}

Logger& Logger::get(std::string_view name) {
    LogRegistry& reg = registry();
    std::lock_guard lock(reg.mutex);
    auto it = reg.loggers.find(name);
    if (it == reg.loggers.end()) {
        it = reg.loggers.emplace(std::string(name), std::make_unique<Logger>(std::string(name)))
                 .first;
    }
    return *it->second;
}

void Logger::setGlobalPriority(int priority) {
    registry().globalPriority.store(priority);
}

int Logger::globalPriority() {
    return registry().globalPriority.load();
}

void Logger::addSink(std::shared_ptr<LogSink> sink) {
    LogRegistry& reg = registry();
    std::lock_guard lock(reg.mutex);
    reg.sinks.push_back(std::move(sink));
}

void Logger::removeSink(const std::shared_ptr<LogSink>& sink) {
    LogRegistry& reg = registry();
    std::lock_guard lock(reg.mutex);
    std::erase(reg.sinks, sink);
}

void Logger::flushAll() {
    LogRegistry& reg = registry();
    std::lock_guard lock(reg.mutex);
    for (const auto& sink : reg.sinks) {
        sink->flush();
    }
}

bool Logger::isEnabled(int priority) const {
    return priority >= globalPriority() && priority >= this->priority();
}

void Logger::log(int priority, int tag, std::string_view text) {
    if (!isEnabled(priority)) {
        return;
    }
    const LogRecord record{name_, priority, tag, text};
    LogRegistry& reg = registry();
    std::lock_guard lock(reg.mutex);
    for (const auto& sink : reg.sinks) {
        sink->write(record);
    }
}

}  // namespace kvo
