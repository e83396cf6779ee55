#include "platform/vesk5/host/CommandLine.hpp"

#include <gtest/gtest.h>

namespace vesk5::host {
namespace {

using Args = std::vector<std::string>;

const std::vector<AudioChoice> kAudio{{"real", "the sound hardware"}, {"sim", "a simulated PC"}};

Options parseCommandLine(const Args& arguments) {
    return host::parseCommandLine(arguments, kAudio);
}

// What each option does is the end-to-end runs'; the order they come in is this parser's.
TEST(CommandLine, RunTakesTestsParamsAndSettingsInAnyOrderRepeatedParamsKeptInOrder) {
    const Args arguments{
        "run",       "FrequencyToneTest", "--param", "A=1", "MicrophoneTest", "--param",     "B=",
        "--setting", "s.a.v=1",           "--param", "A=2", "--realtime",     "--log-level", "1"};
    const Options options = parseCommandLine(arguments);
    EXPECT_EQ(options.command, Command::Run);
    EXPECT_EQ(options.tests, (Args{"FrequencyToneTest", "MicrophoneTest"}));
    EXPECT_EQ(options.params, (Args{"A=1", "B=", "A=2"}));
    EXPECT_EQ(options.settings, Args{"s.a.v=1"});
    EXPECT_TRUE(options.realtime);
    EXPECT_EQ(options.logLevel, 1);
}

TEST(CommandLine, HelpIsTheHelpOfTheCommandItFollows) {
    const Options run = parseCommandLine({"run", "FrequencyToneTest", "--help"});
    EXPECT_EQ(run.command, Command::Help);
    EXPECT_NE(run.helpText.find("kvormicrophone run"), std::string::npos) << run.helpText;
    EXPECT_NE(run.helpText.find("--base-dir"), std::string::npos) << run.helpText;
    EXPECT_EQ(run.helpText.find("Subcommands"), std::string::npos) << run.helpText;
    const Options devices = parseCommandLine({"devices", "-h"});
    EXPECT_NE(devices.helpText.find("--machine"), std::string::npos) << devices.helpText;
    EXPECT_EQ(devices.helpText.find("--base-dir"), std::string::npos) << devices.helpText;
    const Options program = parseCommandLine({"-h"});
    for (const char* command : {"list", "devices", "run"}) {
        EXPECT_NE(program.helpText.find(command), std::string::npos) << program.helpText;
    }
}

TEST(CommandLine, MalformedCommandLinesAreUsageErrors) {
    for (const Args& bad :
         {Args{}, Args{"frob"}, Args{"run"}, Args{"run", "T", "--audio", "alsa"},
          Args{"run", "T", "--log-level", "4"}, Args{"run", "T", "--log-level", "x"},
          Args{"run", "T", "--param"}, Args{"run", "T", "--bogus"}, Args{"list", "extra"},
          Args{"run", "T", "--ui", "gtk"}, Args{"run", "T", "--answer", "maybe"},
          Args{"devices", "--report", "x"}, Args{"list", "--version"}}) {
        EXPECT_THROW(parseCommandLine(bad), UsageError) << testing::PrintToString(bad);
    }
}

}  // namespace
}  // namespace vesk5::host
