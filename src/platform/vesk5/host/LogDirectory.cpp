#include "LogDirectory.hpp"

#include <filesystem>

#include "platform/kvo/FileSystem.hpp"
#include "platform/kvo/System.hpp"

namespace vesk5::host {

std::string logDirectory(const std::string& baseDirectory) {
    return baseDirectory + "/logs";
}

LogDirectorySnapshot::LogDirectorySnapshot(std::string directory)
    : directory_(std::move(directory)), files_(scan(directory_)) {}

std::map<std::string, LogDirectorySnapshot::Stamp> LogDirectorySnapshot::scan(
    const std::string& directory) {
    std::map<std::string, Stamp> files;
    for (const std::string& name : kvo::FileSystem::getDirectoryContents(directory)) {
        std::error_code error;
        const std::filesystem::path path = kvo::toPath(directory + "/" + name);
        const auto size = std::filesystem::file_size(path, error);
        const auto modified =
            std::filesystem::last_write_time(path, error).time_since_epoch().count();
        if (!error && name != "kvormicrophone.log") {
            files.emplace(name, Stamp{size, static_cast<long long>(modified)});
        }
    }
    return files;
}

std::vector<std::string> LogDirectorySnapshot::changedFiles() const {
    std::vector<std::string> changed;
    for (const auto& [name, stamp] : scan(directory_)) {
        const auto before = files_.find(name);
        if (before == files_.end() || !(before->second == stamp)) {
            changed.push_back(directory_ + "/" + name);
        }
    }
    return changed;
}

}  // namespace vesk5::host
