#include "HostInfo.hpp"

#include <fmt/format.h>

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/utsname.h>
#endif

namespace kvo {

#ifdef _WIN32

std::string hostName() {
    char name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD size = sizeof name;
    return GetComputerNameA(name, &size) ? std::string(name, size) : std::string();
}

std::string operatingSystem() {
    // GetVersionEx answers what the manifest allows; the kernel's own numbers are in ntdll.
    using RtlGetVersionFunction = LONG(WINAPI*)(OSVERSIONINFOW*);
    const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    const auto rtlGetVersion =
        ntdll == nullptr ? nullptr
                         : reinterpret_cast<RtlGetVersionFunction>(
                               reinterpret_cast<void*>(GetProcAddress(ntdll, "RtlGetVersion")));
    OSVERSIONINFOW info{};
    info.dwOSVersionInfoSize = sizeof info;
    if (rtlGetVersion == nullptr || rtlGetVersion(&info) != 0) {
        return "Windows";
    }
    return fmt::format("Windows {}.{}.{}", info.dwMajorVersion, info.dwMinorVersion,
                       info.dwBuildNumber);
}

#else

std::string hostName() {
    utsname names{};
    return uname(&names) == 0 ? std::string(names.nodename) : std::string();
}

std::string operatingSystem() {
    utsname names{};
    if (uname(&names) != 0) {
        return "unknown";
    }
    return fmt::format("{} {}", names.sysname, names.release);
}

#endif

}  // namespace kvo
