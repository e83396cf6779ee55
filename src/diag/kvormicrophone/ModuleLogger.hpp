#pragma once

#include "platform/kvo/Logger.hpp"

namespace kvormicrophone {

// The logger of the frame, the engines and the evaluators.
inline kvo::Logger& moduleLogger() {
    static kvo::Logger& logger = kvo::Logger::get("kvormicrophone");
    return logger;
}

}  // namespace kvormicrophone
