#pragma once

#include <string>
#include <vector>

#include "support/TempDirectory.hpp"

namespace kvo::test {

// One run of the real program as a user would start it: from `directory`,
// with `environment` ("NAME=VALUE" to set, "-u NAME" to unset, as for env(1))
// and plain text output.
struct ShellRun {
    int exitCode = -1;
    std::string out;
    std::string errors;

    // The lines of `out`, without their line ends.
    std::vector<std::string> outLines() const;
};

ShellRun runProgram(const std::vector<std::string>& arguments,
                    const std::vector<std::string>& environment, const std::string& directory,
                    const TempDirectory& scratch);

std::string readWholeFile(const std::string& path);

}  // namespace kvo::test
