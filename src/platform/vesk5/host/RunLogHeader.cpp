#include "RunLogHeader.hpp"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "platform/kvo/Logger.hpp"

#ifndef _WIN32
#include <sys/utsname.h>
#endif

namespace vesk5::host {
namespace {

// At least information, and never below the run's --log-level, so that these
// lines are in every log.
int alwaysWritten() {
    return std::max<int>(kvo::kLogInfo, kvo::Logger::globalPriority());
}

std::string machineText() {
#ifdef _WIN32
    const char* name = std::getenv("COMPUTERNAME");
    return fmt::format("{} (Windows)", name != nullptr ? name : "unknown");
#else
    utsname machine{};
    if (uname(&machine) != 0) {
        return "unknown";
    }
    return fmt::format("{} ({} {} {})", machine.nodename, machine.sysname, machine.release,
                       machine.machine);
#endif
}

std::string commandLineText(const std::vector<std::string>& arguments) {
    std::string text = "kvormicrophone";
    for (const std::string& argument : arguments) {
        const bool plain =
            !argument.empty() && argument.find_first_of(" \t\"'") == std::string::npos;
        text += plain ? " " + argument : " \"" + argument + "\"";
    }
    return text;
}

}  // namespace

void logRunHeader(const std::string& version, const std::vector<std::string>& arguments,
                  const std::string& audioSystem) {
    kvo::Logger& log = kvo::Logger::get("vesk5");
    const int priority = alwaysWritten();
    const auto now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    KVO_LOG(log, priority, "Run started {:%Y-%m-%d %H:%M:%S} UTC", fmt::gmtime(now));
    KVO_LOG(log, priority, "Module: kvormicrophone {}", version);
    KVO_LOG(log, priority, "Command line: {}", commandLineText(arguments));
    KVO_LOG(log, priority, "Audio system: {}", audioSystem);
    KVO_LOG(log, priority, "Machine: {}", machineText());
}

void logRunVerdict(TestResult result) {
    KVO_LOG(kvo::Logger::get("vesk5"), alwaysWritten(), "Run result: {} ({})", result.name(),
            result.value());
}

}  // namespace vesk5::host
