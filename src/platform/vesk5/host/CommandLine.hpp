#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vesk5::host {

enum class Command { Help, Version, List, Devices, Run, Meter, Analyze };

struct Options {
    Command command = Command::Help;
    std::vector<std::string> tests;
    std::vector<std::string> params;    // "NAME=VALUE", checked against the tests later
    std::vector<std::string> settings;  // "SECTION.KEY=VALUE"
    std::string audio;                  // one of the audio choices, "" for the default
    std::string machine;
    std::string baseDir;
    std::string reportPath;
    std::string htmlPath;
    std::string junitPath;
    std::string ui;
    std::string answer;
    bool json = false;
    bool realtime = false;
    std::optional<int> logLevel;
    std::string device;      // meter: a microphone's id or name, "" for the default
    unsigned seconds = 0;    // meter: how long, 0 until Ctrl-C
    std::string recording;   // analyze: the WAV file
    unsigned frequency = 0;  // analyze: the expected tone in Hz, 0 for the one the name gives
    std::string helpText;    // for Command::Help: the help of the command asked about
};

// A command line the host cannot run; the message is one line for the user.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// An audio system that --audio may name, with its line for --help.
struct AudioChoice {
    std::string name;
    std::string description;
    bool simulated = false;  // its devices are simulated
};

// Parses the arguments after the program name; --audio takes one of
// `audioChoices`, the first being the default. Throws UsageError.
Options parseCommandLine(const std::vector<std::string>& arguments,
                         const std::vector<AudioChoice>& audioChoices);

}  // namespace vesk5::host
