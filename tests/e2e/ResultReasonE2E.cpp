#include <gtest/gtest.h>

#include <algorithm>

#include "ShellRun.hpp"

// A result that is not PASS comes with the reason for it on the terminal,
// under the result line, unless the events above it already said why.

namespace kvo::test {
namespace {

struct Case {
    const char* test;
    const char* scenario;
    std::vector<std::string> extra;
    int exitCode;
    const char* resultLine;
    const char* reason;  // "" for no reason line
};

ShellRun runOn(const Case& c, const TempDirectory& base) {
    TempDirectory scratch;
    std::vector<std::string> arguments{"run",        c.test,
                                       "--audio",    "sim",
                                       "--machine",  std::string(KVO_SCENARIOS) + "/" + c.scenario,
                                       "--base-dir", base.path()};
    arguments.insert(arguments.end(), c.extra.begin(), c.extra.end());
    return runProgram(arguments, {}, base.path(), scratch);
}

TEST(ResultReasonE2E, EveryResultButPassSaysWhyUnlessItsEventsDid) {
    const std::vector<std::string> tones{"--param", "FrequencyList=440"};
    const std::vector<Case> cases{
        {"FrequencyToneTest", "windows-vista.json", tones, 3, "FrequencyToneTest: NOTSUPPORTED",
         "  reason: The Test is only for Windows 7 or later"},
        {"IntegratedMicrophoneTest",
         "windows-xp.json",
         {},
         4,
         "IntegratedMicrophoneTest: CANNOTRUN",
         "  reason: The Non-interactive Microphone Test is currently available only in Vista or "
         "greater."},
        {"IntegratedMicrophoneTest",
         "no-speaker.json",
         {},
         4,
         "IntegratedMicrophoneTest: CANNOTRUN",
         "  reason: There is no speaker to play on (no default device)."},
        {"IntegratedMicrophoneTest",
         "external-mic-only.json",
         {},
         2,
         "IntegratedMicrophoneTest: NODEVICE",
         "  reason: There are no integrated microphones to test. External microphones are tested "
         "with the setting audio.AllowExternalMicTesting=true."},
        {"FrequencyToneTest",
         "healthy-laptop.json",
         {},
         5,
         "FrequencyToneTest: BADPARAMS",
         "  reason: --param FrequencyList: it was not given (e.g. --param "
         "FrequencyList=440,1000,4000)"},
        {"FrequencyToneTest",
         "healthy-laptop.json",
         {"--param", "FrequencyList=440,44o,1000"},
         5,
         "FrequencyToneTest: BADPARAMS",
         "  reason: --param FrequencyList: \"44o\" is not a whole number of Hz from 20 to 20000 "
         "(e.g. --param FrequencyList=440,1000,4000)"},
        // Its FAIL_FREQUENCY_TONE_TEST event names the tones; no line repeats it.
        {"FrequencyToneTest", "dead-microphone.json", tones, 1, "FrequencyToneTest: FAIL", ""},
        {"FrequencyToneTest", "healthy-laptop.json", tones, 0, "FrequencyToneTest: PASS", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.test) + " on " + c.scenario);
        const TempDirectory base;
        const ShellRun run = runOn(c, base);
        EXPECT_EQ(run.exitCode, c.exitCode) << run.out << run.errors;
        const std::vector<std::string> lines = run.outLines();
        const auto result = std::find_if(lines.begin(), lines.end(), [&](const std::string& line) {
            return line.rfind(c.resultLine, 0) == 0;
        });
        ASSERT_NE(result, lines.end()) << run.out;
        ASSERT_NE(result + 1, lines.end()) << run.out;
        if (*c.reason != '\0') {
            EXPECT_EQ(*(result + 1), c.reason) << run.out;
        } else {
            EXPECT_EQ((result + 1)->rfind("  reason:", 0), std::string::npos) << run.out;
        }
    }
}

// Programs reading --json get the same reason as a field of the result.
TEST(ResultReasonE2E, TheJsonResultCarriesTheReason) {
    const TempDirectory base;
    const ShellRun run =
        runOn({"IntegratedMicrophoneTest", "no-speaker.json", {"--json"}, 4, "", ""}, base);
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_NE(run.out.find("\"reason\":\"There is no speaker to play on (no default device).\""),
              std::string::npos)
        << run.out;
}

// The list of tests shows what a parameter takes, with an example that works.
TEST(ResultReasonE2E, TheTestListShowsAParametersMeaningAndAnExample) {
    const TempDirectory base;
    const TempDirectory scratch;
    const ShellRun list = runProgram({"list"}, {}, base.path(), scratch);
    EXPECT_EQ(list.exitCode, 0);
    const std::string entry =
        "      --param FrequencyList=<STRING>\n"
        "          Tones to play, whole numbers of Hz from 20 to 20000, "
        "separated by commas\n"
        "          e.g. --param FrequencyList=440,1000,4000\n";
    EXPECT_NE(list.out.find(entry), std::string::npos) << list.out;
}

}  // namespace
}  // namespace kvo::test
