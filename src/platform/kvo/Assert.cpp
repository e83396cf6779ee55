#include "Assert.hpp"

#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "Logger.hpp"

#ifdef _WIN32
#include <windows.h>
#endif

namespace kvo {
namespace {

// "src/diag/Foo.cpp" -> "Foo": the module names source files without folder or extension.
std::string_view sourceName(std::string_view file) {
    const std::size_t slash = file.find_last_of("/\\");
    if (slash != std::string_view::npos) {
        file.remove_prefix(slash + 1);
    }
    const std::size_t dot = file.rfind('.');
    return dot == std::string_view::npos ? file : file.substr(0, dot);
}

}  // namespace

void assertionFailed(std::string_view file, int line, std::string_view text) {
    const std::string message =
        fmt::format("{}({}): Assertion failed: {}", sourceName(file), line, text);
    Logger::get("assert").log(kLogError, line, message);
    Logger::flushAll();
    std::cout.flush();
    std::cerr << message << std::endl;
#ifdef _WIN32
    // No error dialog: a diagnostic run must end, not wait for a click.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    RaiseException(kAssertionExitCode, EXCEPTION_NONCONTINUABLE, 0, nullptr);
#endif
    std::_Exit(kAssertionExitCode);
}

}  // namespace kvo
