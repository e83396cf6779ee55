#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "String.hpp"

namespace kvo {

// Reads a whole regular file of at most `maxBytes`. A FIFO, device or directory
// is refused without blocking on it; a larger file is refused without reading it
// all. A link is followed: input may come from anywhere the user points at.
// Returns false with a one-line reason in `error` that never quotes the content.
bool readRegularFile(const String& path, std::size_t maxBytes, String& content, String& error);

// A regular file of at most a given size, read piece by piece at any offset, so
// that a caller keeps only the part it needs. Opening refuses what
// readRegularFile refuses, with the same reasons.
class RegularFileReader {
public:
    RegularFileReader() = default;
    ~RegularFileReader();
    RegularFileReader(const RegularFileReader&) = delete;
    RegularFileReader& operator=(const RegularFileReader&) = delete;

    bool open(const String& path, std::size_t maxBytes);
    // The size when it was opened.
    std::size_t size() const { return size_; }
    // Reads exactly `count` bytes at `offset`; false when the file ends before.
    bool readAt(std::size_t offset, void* to, std::size_t count);
    const String& error() const { return error_; }

private:
    int fd_ = -1;
    std::size_t size_ = 0;
    String error_;
};

// Writes a file as a whole: the bytes go to a new file created beside `path`
// and, once all of them are written and the file is closed without error,
// that file is renamed over `path`. A link at `path` (symbolic or hard) is
// therefore replaced, never written through; a FIFO, device or directory there
// is refused, and so is a directory that is itself a link. Every outcome is recorded in the
// process's file journal.
class FileWriter {
public:
    explicit FileWriter(String path);
    ~FileWriter();  // an uncommitted file is removed
    FileWriter(const FileWriter&) = delete;
    FileWriter& operator=(const FileWriter&) = delete;

    bool write(const void* data, std::size_t size);
    bool write(std::string_view text) { return write(text.data(), text.size()); }
    // Returns false, leaving `path` as it was, when any step failed.
    bool commit();
    const String& error() const { return error_; }

private:
    bool fail(String reason);

    String path_;
    String temporary_;
    int fd_ = -1;
    String error_;
};

// A file that lines are appended to, each with one write call so that lines
// of several threads or processes never interleave. Opening refuses a symbolic
// link, a file with other hard links, and anything but a regular file.
class AppendFile {
public:
    // Throws kvo::Exception with the reason when the file cannot be opened.
    explicit AppendFile(const String& path);
    ~AppendFile();
    AppendFile(const AppendFile&) = delete;
    AppendFile& operator=(const AppendFile&) = delete;

    // Returns false when the line could not be written whole.
    bool append(std::string_view line);

private:
    int fd_ = -1;
};

// Refuses a path that a FileWriter could not replace: an existing FIFO, device
// or directory, or a directory in which no new file can be created. Nothing is
// left behind. Returns "" when the path can be written, else the reason.
String checkWritable(const String& path);

// What the process wrote and failed to write since the journal was last taken.
struct FileJournal {
    std::vector<String> written;   // paths, in the order they were committed
    std::vector<String> failures;  // one line per file that could not be written
};
FileJournal takeFileJournal();
void recordWriteFailure(const String& line);

}  // namespace kvo
