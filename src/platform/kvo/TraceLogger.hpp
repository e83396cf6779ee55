#pragma once

#include <source_location>
#include <string>
#include <string_view>

#include "Logger.hpp"

namespace kvo {

// Logs entry and exit of a scope at priority 1 with its qualified name.
class TraceLogger {
public:
    TraceLogger(Logger& logger, std::string_view scope, std::string_view sourceFile = {},
                std::source_location location = std::source_location::current());
    ~TraceLogger();
    TraceLogger(const TraceLogger&) = delete;
    TraceLogger& operator=(const TraceLogger&) = delete;

private:
    Logger& logger_;
    std::string scope_;
    int line_;
};

}  // namespace kvo
