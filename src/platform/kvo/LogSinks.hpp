#pragma once

#include <cstdio>
#include <ostream>
#include <string>

#include "Logger.hpp"

namespace kvo {

// Appends "<time> +<clock seconds>s <logger> P<priority> <tag> <text>" lines to a file.
class FileLogSink : public LogSink {
public:
    // Throws kvo::Exception when the file cannot be opened for appending.
    explicit FileLogSink(const std::string& path);
    ~FileLogSink() override;
    FileLogSink(const FileLogSink&) = delete;
    FileLogSink& operator=(const FileLogSink&) = delete;

    void write(const LogRecord& record) override;
    void flush() override;
    const std::string& path() const { return path_; }

private:
    std::string path_;
    std::FILE* file_;
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
