#pragma once

#include <string>
#include <vector>

#include "platform/vesk5/TestResult.hpp"

namespace vesk5::host {

// The first lines of a run in the log: date, module version, command line,
// audio system and machine, so that a log sent in by a user says what ran where.
void logRunHeader(const std::string& version, const std::vector<std::string>& arguments,
                  const std::string& audioSystem);

// The last line of a run in the log: "Run result: <RESULT> (<code>)".
void logRunVerdict(TestResult result);

}  // namespace vesk5::host
