#include "LogSinks.hpp"

#include <fmt/chrono.h>

#include <chrono>

#include "Clock.hpp"
#include "Exception.hpp"

namespace kvo {

FileLogSink::FileLogSink(const std::string& path) : path_(path) {
    try {
        file_ = std::make_unique<AppendFile>(path);
    } catch (const Exception& error) {
        throw Exception("the log file: " + error.getMessage());
    }
}

void FileLogSink::write(const LogRecord& record) {
    const auto now =
        std::chrono::time_point_cast<std::chrono::milliseconds>(std::chrono::system_clock::now());
    // The process clock's time beside the wall time: on a simulated PC the two differ.
    const auto clockMs =
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::instance().now()).count();
    const std::string line = fmt::format(
        "{:%Y-%m-%d %H:%M:%S} +{}.{:03}s {} P{} {}\n", now, clockMs / 1000, clockMs % 1000,
        record.logger, record.priority, formatLogMessage(record.tag, record.text));
    if (!file_->append(line) && !failed_.exchange(true)) {
        recordWriteFailure("cannot write the log file " + path_);
    }
}

void StreamLogSink::write(const LogRecord& record) {
    stream_ << '[' << record.logger << "] " << formatLogMessage(record.tag, record.text) << '\n';
}

}  // namespace kvo
