#include "LogDirectory.hpp"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "platform/kvo/FileSystem.hpp"
#include "platform/kvo/System.hpp"

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace vesk5::host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kLockFile = "kvormicrophone.lock";

std::string lockPath(const std::string& baseDirectory) {
    return logDirectory(baseDirectory) + "/" + kLockFile;
}

}  // namespace

std::string logDirectory(const std::string& baseDirectory) {
    return baseDirectory + "/logs";
}

std::string prepareLogDirectory(const std::string& baseDirectory) {
    const std::string directory = logDirectory(baseDirectory);
    std::error_code error;
    const fs::file_status status = fs::symlink_status(kvo::toPath(directory), error);
    if (fs::is_symlink(status)) {
        return fmt::format(
            "the log directory {} is a link; files are written only inside the "
            "base folder",
            directory);
    }
    if (fs::exists(status) && !fs::is_directory(status)) {
        return fmt::format("the log directory {} is not a directory", directory);
    }
    if (!kvo::FileSystem::createDirectories(directory)) {
        return fmt::format("cannot create the log directory {}", directory);
    }
    return {};
}

#ifdef _WIN32
std::string BaseFolderLock::acquire(const std::string& baseDirectory) {
    const std::string path = lockPath(baseDirectory);
    // No sharing: a second open of the file fails while this handle is open.
    const HANDLE handle =
        CreateFileW(kvo::toPath(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        return GetLastError() == ERROR_SHARING_VIOLATION
                   ? fmt::format("another run is using the base folder {}", baseDirectory)
                   : fmt::format("cannot create {}", path);
    }
    handle_ = reinterpret_cast<std::intptr_t>(handle);
    return {};
}

BaseFolderLock::~BaseFolderLock() {
    if (handle_ != -1) {
        CloseHandle(reinterpret_cast<HANDLE>(handle_));
    }
}
#else
std::string BaseFolderLock::acquire(const std::string& baseDirectory) {
    const std::string path = lockPath(baseDirectory);
    const int fd = ::open(path.c_str(),
                          O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0644);
    struct stat status {};
    if (fd < 0 || ::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        const std::string reason = fd < 0 ? std::strerror(errno) : "it is not a regular file";
        if (fd >= 0) {
            ::close(fd);
        }
        return fmt::format("cannot use {}: {}", path, reason);
    }
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd);
        return fmt::format("another run is using the base folder {}", baseDirectory);
    }
    handle_ = fd;
    return {};
}

BaseFolderLock::~BaseFolderLock() {
    if (handle_ != -1) {
        ::close(static_cast<int>(handle_));
    }
}
#endif

}  // namespace vesk5::host
