#include "support/TempDirectory.hpp"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

namespace kvo::test {

TempDirectory::TempDirectory() {
    static std::atomic<unsigned> counter{0};
    const auto base = std::filesystem::temp_directory_path();
    std::random_device random;
    for (;;) {
        const auto candidate =
            base / ("kvo-test-" + std::to_string(random()) + "-" + std::to_string(counter++));
        if (std::filesystem::create_directory(candidate)) {
            path_ = candidate.generic_string();
            return;
        }
    }
}

TempDirectory::~TempDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TempDirectory::file(const std::string& name) const {
    return path_ + "/" + name;
}

std::string TempDirectory::write(const std::string& name, const std::string& content) const {
    const std::string target = file(name);
    std::ofstream(target, std::ios::binary) << content;
    return target;
}

std::string TempDirectory::read(const std::string& name) const {
    std::ifstream in(file(name), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace kvo::test
