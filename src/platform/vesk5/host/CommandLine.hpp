#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vesk5::host {

enum class Command { Help, List, Devices, Run };

struct Options {
    Command command = Command::Help;
    std::vector<std::string> tests;
    std::vector<std::string> params;    // "NAME=VALUE", checked against the tests later
    std::vector<std::string> settings;  // "SECTION.KEY=VALUE"
    std::string audio;                  // "", "wasapi", "pulse" or "sim"
    std::string machine;
    std::string baseDir;
    std::string reportPath;
    std::string ui;
    std::string answer;
    bool json = false;
    bool realtime = false;
    std::optional<int> logLevel;
};

// A command line the host cannot run; the message is one line for the user.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Parses the arguments after the program name. Throws UsageError.
Options parseCommandLine(const std::vector<std::string>& arguments);

// The text of --help.
std::string usageText();

}  // namespace vesk5::host
