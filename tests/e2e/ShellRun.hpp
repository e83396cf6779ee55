#pragma once

#include <string>
#include <vector>

#include "support/TempDirectory.hpp"

namespace kvo::test {

// One run of the real program through the POSIX shell, its output kept in a scratch folder.
struct ShellRun {
    int exitCode = -1;
    std::string out;     // stdout as it was written
    std::string errors;  // stderr

    // The lines of `out`, without their line ends.
    std::vector<std::string> outLines() const;
};

// Runs `sh -c "<shellPrefix> kvormicrophone <arguments>"` with stdin from /dev/null. A run that
// would hang is ended after a minute (exit code 124) so that the suite reports it instead of
// waiting for ever.
ShellRun runInShell(const std::string& shellPrefix, const std::vector<std::string>& arguments,
                    const TempDirectory& scratch);

// A run as a user would start it: from `directory`, with `environment` ("NAME=VALUE" to set,
// "-u NAME" to unset, as for env(1)) and plain text output.
ShellRun runProgram(const std::vector<std::string>& arguments,
                    const std::vector<std::string>& environment, const std::string& directory,
                    const TempDirectory& scratch);

// The standard output of a shell command; a test failure when the command does not exit with 0.
std::string outputOf(const std::string& command);
// The text of a file, "" when it cannot be read.
std::string readWholeFile(const std::string& path);
// The lines of a text, without their line ends.
std::vector<std::string> textLines(const std::string& text);

}  // namespace kvo::test
