#include "ShellRun.hpp"

#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "support/ShellQuote.hpp"

namespace kvo::test {

std::string readWholeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<std::string> ShellRun::outLines() const {
    std::vector<std::string> lines;
    std::istringstream stream(out);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

ShellRun runProgram(const std::vector<std::string>& arguments,
                    const std::vector<std::string>& environment, const std::string& directory,
                    const TempDirectory& scratch) {
    std::string command = "cd " + shellQuoted(directory) + " && env";
    // env(1) takes its -u options before its assignments.
    std::string assignments;
    for (const std::string& setting : environment) {
        if (setting.rfind("-u ", 0) == 0) {
            command += " -u " + shellQuoted(setting.substr(3));
        } else {
            assignments += " " + shellQuoted(setting);
        }
    }
    command += assignments;
    command += " " + shellQuoted(KVO_PROGRAM);
    for (const std::string& argument : arguments) {
        command += " " + shellQuoted(argument);
    }
    command += " > " + shellQuoted(scratch.file("stdout.txt")) + " 2> " +
               shellQuoted(scratch.file("stderr.txt")) + " < /dev/null";
    ShellRun run;
    const int status = std::system(command.c_str());
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.out = readWholeFile(scratch.file("stdout.txt"));
    run.errors = readWholeFile(scratch.file("stderr.txt"));
    return run;
}

}  // namespace kvo::test
