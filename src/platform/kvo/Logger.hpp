#pragma once

#include <fmt/format.h>

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

namespace kvo {

// Lower is more verbose; a message is written only when both the global
// priority and its logger's own priority allow it.
enum LogPriority : int { kLogDetail = 1, kLogInfo = 2, kLogError = 3 };

struct LogRecord {
    std::string_view logger;
    int priority;
    int tag;  // the line tag: a fixed number where one is documented, else the source line
    std::string_view text;
};

// "<tag> <text>": the form every log message takes.
std::string formatLogMessage(int tag, std::string_view text);

class LogSink {
public:
    virtual ~LogSink() = default;
    virtual void write(const LogRecord& record) = 0;
    virtual void flush() {}
};

class Logger {
public:
    // Loggers live until the process ends, so callers may keep the reference.
    static Logger& get(std::string_view name);

    static void setGlobalPriority(int priority);
    static int globalPriority();

    static void addSink(std::shared_ptr<LogSink> sink);
    static void removeSink(const std::shared_ptr<LogSink>& sink);
    static void flushAll();

    const std::string& name() const { return name_; }
    int priority() const { return priority_.load(std::memory_order_relaxed); }
    void setPriority(int priority) { priority_.store(priority, std::memory_order_relaxed); }
    bool isEnabled(int priority) const;

    void log(int priority, int tag, std::string_view text);

    explicit Logger(std::string name) : name_(std::move(name)) {}
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

private:
    std::string name_;
    std::atomic<int> priority_{kLogDetail};
};

}  // namespace kvo

// Logs with the source line as the tag; the text is formatted only when it will be written.
#define KVO_LOG(logger, priority, ...) KVO_LOG_TAG(logger, priority, __LINE__, __VA_ARGS__)

// Logs with a fixed, documented line tag.
#define KVO_LOG_TAG(logger, priority, tag, ...)                          \
    do {                                                                 \
        ::kvo::Logger& kvoLogger_ = (logger);                            \
        if (kvoLogger_.isEnabled(priority)) {                            \
            kvoLogger_.log((priority), (tag), fmt::format(__VA_ARGS__)); \
        }                                                                \
    } while (false)
