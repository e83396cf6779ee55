#include "SafeFile.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <system_error>
#include <utility>

#include "Exception.hpp"
#include "System.hpp"

#ifdef _WIN32
#include <io.h>
#include <process.h>
#include <share.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace kvo {
namespace {

namespace fs = std::filesystem;

std::mutex journalMutex;
FileJournal journal;

void recordWritten(const String& path) {
    std::lock_guard lock(journalMutex);
    journal.written.push_back(path);
}

String lastError() {
    return std::strerror(errno);
}

#ifdef _WIN32
int openForReading(const String& path) {
    int fd = -1;
    _wsopen_s(&fd, toPath(path).c_str(), _O_RDONLY | _O_BINARY, _SH_DENYNO, 0);
    return fd;
}
bool isRegular(int fd, long long& size) {
    struct _stat64 status {};
    if (_fstat64(fd, &status) != 0 || (status.st_mode & _S_IFMT) != _S_IFREG) {
        return false;
    }
    size = status.st_size;
    return true;
}
long long readSome(int fd, char* buffer, std::size_t size) {
    return _read(fd, buffer, static_cast<unsigned>(size));
}
bool seekTo(int fd, std::size_t offset) {
    return _lseeki64(fd, static_cast<long long>(offset), SEEK_SET) >= 0;
}
long long writeSome(int fd, const char* data, std::size_t size) {
    return _write(fd, data, static_cast<unsigned>(size));
}
// Append mode here seeks to the end and then writes: two runs on one log could
// overwrite each other's lines. A lock on a byte no file reaches makes the two
// steps one for every process and handle that appends the same way.
long long appendWhole(int fd, const char* data, std::size_t size) {
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(fd));
    OVERLAPPED lockedByte{};
    lockedByte.Offset = 0xFFFFFFFFu;
    lockedByte.OffsetHigh = 0x7FFFFFFFu;
    if (handle == INVALID_HANDLE_VALUE ||
        !LockFileEx(handle, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &lockedByte)) {
        return writeSome(fd, data, size);
    }
    const long long written = writeSome(fd, data, size);
    UnlockFileEx(handle, 0, 1, 0, &lockedByte);
    return written;
}
int closeFile(int fd) {
    return _close(fd);
}
int createExclusive(const String& path) {
    int fd = -1;
    _wsopen_s(&fd, toPath(path).c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY, _SH_DENYNO,
              _S_IREAD | _S_IWRITE);
    return fd;
}
int openAppending(const String& path) {
    std::error_code error;
    if (fs::is_symlink(fs::symlink_status(toPath(path), error))) {
        errno = ELOOP;
        return -1;
    }
    int fd = -1;
    _wsopen_s(&fd, toPath(path).c_str(), _O_WRONLY | _O_APPEND | _O_CREAT | _O_BINARY, _SH_DENYNO,
              _S_IREAD | _S_IWRITE);
    return fd;
}
bool hasOneName(int fd) {
    struct _stat64 status {};
    return _fstat64(fd, &status) == 0 && status.st_nlink <= 1;
}
bool replace(const String& from, const String& to) {
    return MoveFileExW(toPath(from).c_str(), toPath(to).c_str(), MOVEFILE_REPLACE_EXISTING) != 0;
}
int processId() {
    return _getpid();
}
#else
int openForReading(const String& path) {
    // Non-blocking, so that a FIFO without a writer cannot hold the open.
    return ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}
bool isRegular(int fd, long long& size) {
    struct stat status {};
    if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        return false;
    }
    size = status.st_size;
    return true;
}
long long readSome(int fd, char* buffer, std::size_t size) {
    return ::read(fd, buffer, size);
}
bool seekTo(int fd, std::size_t offset) {
    return ::lseek(fd, static_cast<off_t>(offset), SEEK_SET) >= 0;
}
long long writeSome(int fd, const char* data, std::size_t size) {
    return ::write(fd, data, size);
}
// O_APPEND puts each write at the end in one piece.
long long appendWhole(int fd, const char* data, std::size_t size) {
    return writeSome(fd, data, size);
}
int closeFile(int fd) {
    return ::close(fd);
}
int createExclusive(const String& path) {
    return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
}
int openAppending(const String& path) {
    return ::open(path.c_str(),
                  O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC,
                  0644);
}
bool hasOneName(int fd) {
    struct stat status {};
    return ::fstat(fd, &status) == 0 && status.st_nlink == 1;
}
bool replace(const String& from, const String& to) {
    return ::rename(from.c_str(), to.c_str()) == 0;
}
int processId() {
    return static_cast<int>(::getpid());
}
#endif

// Why `path` could not be opened for reading. Windows refuses to open a
// directory at all, where POSIX opens it and the regular-file check refuses it:
// both say the same.
String openForReadingProblem(const String& path) {
    const String reason = lastError();
    std::error_code error;
    return fs::is_directory(toPath(path), error) ? String("it is not a regular file") : reason;
}

// What is at `path` now, if it is something a new file must not replace.
String targetProblem(const String& path) {
    std::error_code error;
    const fs::path target = toPath(path);
    if (target.has_parent_path() &&
        fs::is_symlink(fs::symlink_status(target.parent_path(), error))) {
        return "its directory is a link";
    }
    const fs::file_status status = fs::symlink_status(target, error);
    if (error || !fs::exists(status) || fs::is_regular_file(status) || fs::is_symlink(status)) {
        return {};
    }
    return fs::is_directory(status) ? "it is a directory" : "it is not a regular file";
}

// A name beside `path` that no other writer in this or another process uses.
String temporaryBeside(const String& path) {
    static std::atomic<unsigned> counter{0};
    const fs::path target = toPath(path);
    const fs::path directory = target.has_parent_path() ? target.parent_path() : fs::path(".");
    return fromPath(directory / toPath(fmt::format(".{}.{}.{}.tmp", fromPath(target.filename()),
                                                   processId(), counter++)));
}

}  // namespace

bool readRegularFile(const String& path, std::size_t maxBytes, String& content, String& error) {
    content.clear();
    const int fd = openForReading(path);
    if (fd < 0) {
        error = openForReadingProblem(path);
        return false;
    }
    long long size = 0;
    bool ok = isRegular(fd, size);
    if (!ok) {
        error = "it is not a regular file";
    } else if (size < 0 || static_cast<unsigned long long>(size) > maxBytes) {
        error = fmt::format("it is larger than {} bytes", maxBytes);
        ok = false;
    }
    if (ok) {
        content.reserve(static_cast<std::size_t>(size));
    }
    // The file may grow while it is read: what goes beyond the limit is noticed.
    char chunk[65536];
    while (ok) {
        const long long got = readSome(fd, chunk, sizeof chunk);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            error = lastError();
            ok = false;
        } else if (got == 0) {
            break;
        } else if (content.size() + static_cast<std::size_t>(got) > maxBytes) {
            error = fmt::format("it is larger than {} bytes", maxBytes);
            ok = false;
        } else {
            content.append(chunk, static_cast<std::size_t>(got));
        }
    }
    closeFile(fd);
    if (!ok) {
        content.clear();
        content.shrink_to_fit();
    }
    return ok;
}

RegularFileReader::~RegularFileReader() {
    if (fd_ >= 0) {
        closeFile(fd_);
    }
}

bool RegularFileReader::open(const String& path, std::size_t maxBytes) {
    if (fd_ >= 0) {
        closeFile(fd_);
    }
    size_ = 0;
    fd_ = openForReading(path);
    if (fd_ < 0) {
        error_ = openForReadingProblem(path);
        return false;
    }
    long long size = 0;
    if (!isRegular(fd_, size)) {
        error_ = "it is not a regular file";
    } else if (size < 0 || static_cast<unsigned long long>(size) > maxBytes) {
        error_ = fmt::format("it is larger than {} bytes", maxBytes);
    } else {
        size_ = static_cast<std::size_t>(size);
        return true;
    }
    closeFile(fd_);
    fd_ = -1;
    return false;
}

bool RegularFileReader::readAt(std::size_t offset, void* to, std::size_t count) {
    if (fd_ < 0 || !seekTo(fd_, offset)) {
        error_ = fd_ < 0 ? String("the file is not open") : lastError();
        return false;
    }
    auto* target = static_cast<char*>(to);
    while (count > 0) {
        // Windows reads at most 2^31 - 1 bytes at once.
        const long long got = readSome(fd_, target, std::min<std::size_t>(count, 1u << 30));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            error_ = got < 0 ? lastError() : String("the file ended early (was it truncated?)");
            return false;
        }
        target += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

FileWriter::FileWriter(String path) : path_(std::move(path)) {
    if (const String problem = targetProblem(path_); !problem.empty()) {
        fail(problem);
        return;
    }
    temporary_ = temporaryBeside(path_);
    fd_ = createExclusive(temporary_);
    if (fd_ < 0) {
        temporary_.clear();
        fail(lastError());
    }
}

FileWriter::~FileWriter() {
    if (fd_ >= 0) {
        closeFile(fd_);
    }
    if (!temporary_.empty()) {
        std::error_code ignored;
        fs::remove(toPath(temporary_), ignored);
    }
}

bool FileWriter::fail(String reason) {
    if (error_.empty()) {
        error_ = std::move(reason);
        recordWriteFailure(fmt::format("cannot write {}: {}", path_, error_));
    }
    return false;
}

bool FileWriter::write(const void* data, std::size_t size) {
    if (fd_ < 0) {
        return false;
    }
    const auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const long long written = writeSome(fd_, bytes, std::min<std::size_t>(size, 1u << 20));
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return fail(written < 0 ? lastError() : String("nothing was written"));
        }
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

bool FileWriter::commit() {
    if (fd_ < 0) {
        return false;
    }
    const int closed = closeFile(fd_);
    fd_ = -1;
    if (closed != 0) {
        return fail(lastError());
    }
    if (const String problem = targetProblem(path_); !problem.empty()) {
        return fail(problem);
    }
    if (!replace(temporary_, path_)) {
        return fail(lastError());
    }
    temporary_.clear();
    recordWritten(path_);
    return true;
}

AppendFile::AppendFile(const String& path) : fd_(openAppending(path)) {
    long long size = 0;
    String problem;
    if (fd_ < 0) {
        problem = errno == ELOOP ? "it is a symbolic link" : lastError();
    } else if (!isRegular(fd_, size)) {
        problem = "it is not a regular file";
    } else if (!hasOneName(fd_)) {
        problem = "it has other hard links";
    }
    if (!problem.empty()) {
        if (fd_ >= 0) {
            closeFile(fd_);
        }
        throw Exception(fmt::format("cannot open {} for appending: {}", path, problem));
    }
}

AppendFile::~AppendFile() {
    closeFile(fd_);
}

bool AppendFile::append(std::string_view line) {
    for (;;) {
        const long long written = appendWhole(fd_, line.data(), line.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        return written == static_cast<long long>(line.size());
    }
}

String checkWritable(const String& path) {
    if (const String problem = targetProblem(path); !problem.empty()) {
        return problem;
    }
    const String probe = temporaryBeside(path);
    const int fd = createExclusive(probe);
    if (fd < 0) {
        return lastError();
    }
    closeFile(fd);
    std::error_code ignored;
    fs::remove(toPath(probe), ignored);
    return {};
}

FileJournal takeFileJournal() {
    std::lock_guard lock(journalMutex);
    return std::exchange(journal, FileJournal{});
}

void recordWriteFailure(const String& line) {
    std::lock_guard lock(journalMutex);
    journal.failures.push_back(line);
}

}  // namespace kvo
