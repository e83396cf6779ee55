#include "UserStateDirectory.hpp"

#include <cstdlib>
#include <filesystem>

#include "platform/kvo/System.hpp"

namespace vesk5::host {
namespace {

// An environment variable as a path; empty when unset, empty or relative
// (a relative folder would again depend on where the program is started).
std::filesystem::path absoluteFromEnvironment(const char* name) {
#ifdef _WIN32
    const std::wstring wide(name, name + std::char_traits<char>::length(name));
    const wchar_t* value = _wgetenv(wide.c_str());
#else
    const char* value = std::getenv(name);
#endif
    if (value == nullptr) {
        return {};
    }
    const std::filesystem::path path(value);
    return path.is_absolute() ? path : std::filesystem::path();
}

}  // namespace

std::string userStateDirectory() {
#ifdef _WIN32
    const std::filesystem::path base = absoluteFromEnvironment("LOCALAPPDATA");
#else
    std::filesystem::path base = absoluteFromEnvironment("XDG_STATE_HOME");
    if (base.empty()) {
        if (const std::filesystem::path home = absoluteFromEnvironment("HOME"); !home.empty()) {
            base = home / ".local" / "state";
        }
    }
#endif
    return base.empty() ? std::string() : kvo::fromPath(base / "kvormicrophone");
}

}  // namespace vesk5::host
