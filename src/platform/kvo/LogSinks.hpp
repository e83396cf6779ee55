#pragma once

#include <atomic>
#include <memory>
#include <ostream>
#include <string>

#include "Logger.hpp"
#include "SafeFile.hpp"

namespace kvo {

// Appends "<time> +<clock seconds>s <logger> P<priority> <tag> <text>" lines to a file,
// each line with one write, so that nothing is lost in a buffer when the process ends.
// The first line that cannot be written is recorded in the file journal.
class FileLogSink : public LogSink {
public:
    // Throws kvo::Exception when the file cannot be opened for appending.
    explicit FileLogSink(const std::string& path);

    void write(const LogRecord& record) override;
    void flush() override {}
    const std::string& path() const { return path_; }

private:
    std::string path_;
    std::unique_ptr<AppendFile> file_;
    std::atomic<bool> failed_{false};
};

// Writes "[<logger>] <tag> <text>" lines to a stream, e.g. the console.
class StreamLogSink : public LogSink {
public:
    explicit StreamLogSink(std::ostream& stream) : stream_(stream) {}
    void write(const LogRecord& record) override;
    void flush() override { stream_.flush(); }

private:
    std::ostream& stream_;
};

}  // namespace kvo
