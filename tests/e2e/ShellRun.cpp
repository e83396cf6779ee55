#include "ShellRun.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
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

std::string outputOf(const std::string& command) {
    std::string output;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) {
        ADD_FAILURE() << "cannot start " << command;
        return output;
    }
    char buffer[65536];
    for (std::size_t read; (read = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
        output.append(buffer, read);
    }
    EXPECT_EQ(::pclose(pipe), 0) << command;
    return output;
}

std::vector<std::string> textLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> ShellRun::outLines() const {
    return textLines(out);
}

ShellRun runInShell(const std::string& shellPrefix, const std::vector<std::string>& arguments,
                    const TempDirectory& scratch) {
    std::string command = shellPrefix + " timeout -s KILL 60 " + shellQuoted(KVO_PROGRAM);
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

ShellRun runProgram(const std::vector<std::string>& arguments,
                    const std::vector<std::string>& environment, const std::string& directory,
                    const TempDirectory& scratch) {
    std::string prefix = "cd " + shellQuoted(directory) + " && env";
    // env(1) takes its -u options before its assignments.
    std::string assignments;
    for (const std::string& setting : environment) {
        if (setting.rfind("-u ", 0) == 0) {
            prefix += " -u " + shellQuoted(setting.substr(3));
        } else {
            assignments += " " + shellQuoted(setting);
        }
    }
    return runInShell(prefix + assignments, arguments, scratch);
}

}  // namespace kvo::test
