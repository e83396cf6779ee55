#pragma once

#include <string>

namespace kvo::test {

// A fresh directory under the system's temporary directory, removed with its contents.
class TempDirectory {
public:
    TempDirectory();
    ~TempDirectory();
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    const std::string& path() const { return path_; }
    // path() + "/" + name
    std::string file(const std::string& name) const;
    // Writes `content` to file(name) and returns its path.
    std::string write(const std::string& name, const std::string& content) const;
    // The content of file(name), "" when it cannot be read.
    std::string read(const std::string& name) const;

private:
    std::string path_;
};

}  // namespace kvo::test
