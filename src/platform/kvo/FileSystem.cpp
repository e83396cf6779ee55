#include "FileSystem.hpp"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "System.hpp"

namespace kvo::FileSystem {

namespace fs = std::filesystem;

bool exists(const String& path) {
    std::error_code error;
    return fs::exists(fs::symlink_status(toPath(path), error));
}

bool isDirectory(const String& path) {
    std::error_code error;
    return fs::is_directory(toPath(path), error);
}

bool isDirectoryEmpty(const String& path) {
    std::error_code error;
    return fs::is_directory(toPath(path), error) && fs::is_empty(toPath(path), error) && !error;
}

std::vector<String> getDirectoryContents(const String& directory, unsigned flags) {
    std::vector<String> names;
    std::error_code error;
    for (fs::directory_iterator it(toPath(directory), error), end; !error && it != end;
         it.increment(error)) {
        const fs::file_status status = it->symlink_status(error);
        if (!error && (flags & kPlainFiles) != 0 && fs::is_regular_file(status)) {
            names.push_back(fromPath(it->path().filename()));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool removeFile(const String& path) {
    std::error_code error;
    const fs::path target = toPath(path);
    if (fs::is_directory(fs::symlink_status(target, error))) {
        return false;
    }
    return fs::remove(target, error) && !error;
}

bool createDirectories(const String& path) {
    std::error_code error;
    fs::create_directories(toPath(path), error);
    return isDirectory(path);
}

}  // namespace kvo::FileSystem
