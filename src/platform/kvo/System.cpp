#include "System.hpp"

#include "Clock.hpp"

#ifdef _WIN32
#include <windows.h>
#endif

namespace kvo {

std::filesystem::path toPath(const std::string& utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

std::string fromPath(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
}

namespace System {

void mssleep(std::uint32_t milliseconds) {
    Clock::instance().sleepFor(std::chrono::milliseconds(milliseconds));
}

std::string executableDirectory() {
#ifdef _WIN32
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length =
            GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) {
            path.resize(length);
            break;
        }
        path.resize(path.size() * 2);
    }
    return fromPath(std::filesystem::path(path).parent_path());
#else
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string(".") : fromPath(self.parent_path());
#endif
}

std::FILE* fopen(const std::string& path, const char* mode) {
#ifdef _WIN32
    const std::wstring widePath = toPath(path).wstring();
    const std::string narrowMode(mode);
    return ::_wfopen(widePath.c_str(), std::wstring(narrowMode.begin(), narrowMode.end()).c_str());
#else
    return std::fopen(path.c_str(), mode);
#endif
}

}  // namespace System
}  // namespace kvo
