#pragma once

#include <map>
#include <string>
#include <vector>

namespace vesk5::host {

// "<base>/logs": the run's log file and the recordings a test writes.
std::string logDirectory(const std::string& baseDirectory);

// The plain files of a directory with their sizes and times, to tell which
// files a test wrote.
class LogDirectorySnapshot {
public:
    explicit LogDirectorySnapshot(std::string directory);
    // Paths of files that are new or changed since the snapshot, sorted; the run's log file
    // excluded.
    std::vector<std::string> changedFiles() const;

private:
    struct Stamp {
        unsigned long long size;
        long long modified;
        bool operator==(const Stamp&) const = default;
    };
    static std::map<std::string, Stamp> scan(const std::string& directory);

    std::string directory_;
    std::map<std::string, Stamp> files_;
};

}  // namespace vesk5::host
