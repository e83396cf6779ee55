#include "TraceLogger.hpp"

namespace kvo {

TraceLogger::TraceLogger(Logger& logger, std::string_view scope, std::string_view sourceFile,
                         std::source_location location)
    : logger_(logger), line_(static_cast<int>(location.line())) {
    if (logger_.isEnabled(kLogDetail)) {
        scope_ = scope;
        const std::string_view file =
            sourceFile.empty() ? std::string_view(location.file_name()) : sourceFile;
        logger_.log(kLogDetail, line_, fmt::format("Entering {} ({})", scope_, file));
    }
}

TraceLogger::~TraceLogger() {
    if (!scope_.empty()) {
        logger_.log(kLogDetail, line_, fmt::format("Leaving {}", scope_));
    }
}

}  // namespace kvo
