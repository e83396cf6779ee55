#include "ShellRun.hpp"

#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace kvo::test {
namespace {

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char c : text) {
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return result + "'";
}

}  // namespace

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
    std::string command = "cd " + quoted(directory) + " && env";
    // env(1) takes its -u options before its assignments.
    std::string assignments;
    for (const std::string& setting : environment) {
        if (setting.rfind("-u ", 0) == 0) {
            command += " -u " + quoted(setting.substr(3));
        } else {
            assignments += " " + quoted(setting);
        }
    }
    command += assignments;
    command += " " + quoted(KVO_PROGRAM);
    for (const std::string& argument : arguments) {
        command += " " + quoted(argument);
    }
    command += " > " + quoted(scratch.file("stdout.txt")) + " 2> " +
               quoted(scratch.file("stderr.txt")) + " < /dev/null";
    ShellRun run;
    const int status = std::system(command.c_str());
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.out = readWholeFile(scratch.file("stdout.txt"));
    run.errors = readWholeFile(scratch.file("stderr.txt"));
    return run;
}

}  // namespace kvo::test
