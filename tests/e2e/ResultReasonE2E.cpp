#include <gtest/gtest.h>

#include <algorithm>

#include <nlohmann/json.hpp>

#include "ShellRun.hpp"

// A result that is not PASS comes with the reason for it on the terminal,
// under the result line, unless the events above it already said why.

namespace kvo::test {
namespace {

struct Case {
    const char* test;
    const char* scenario;
    const char* frequencies;  // the FrequencyList given, nullptr for none
    int exitCode;
    std::string resultLine;
    std::string reason;  // "" for no reason line
};

ShellRun runOn(const Case& c, const TempDirectory& base, bool json = false) {
    TempDirectory scratch;
    std::vector<std::string> arguments{
        "run",        c.test,      "--audio",
        "sim",        "--machine", std::string(KVO_SCENARIOS) + "/" + c.scenario + ".json",
        "--base-dir", base.path()};
    if (json) {
        arguments.push_back("--json");
    }
    if (c.frequencies != nullptr) {
        arguments.insert(arguments.end(),
                         {"--param", std::string("FrequencyList=") + c.frequencies});
    }
    return runProgram(arguments, {}, base.path(), scratch);
}

// The reason comes under the result line, and as a field of the result for programs
// reading --json.
TEST(ResultReasonE2E, EveryResultButPassSaysWhyUnlessItsEventsDid) {
    const std::string tones = "FrequencyToneTest";
    const std::string imt = "IntegratedMicrophoneTest";
    const std::string example = " (e.g. --param FrequencyList=440,1000,4000)";
    for (const Case& c : std::vector<Case>{
             {"FrequencyToneTest", "windows-vista", "440", 3, tones + ": NOTSUPPORTED",
              "The Test is only for Windows 7 or later"},
             {"IntegratedMicrophoneTest", "windows-xp", nullptr, 4, imt + ": CANNOTRUN",
              "The Non-interactive Microphone Test is currently available only in Vista or "
              "greater."},
             {"IntegratedMicrophoneTest", "no-speaker", nullptr, 4, imt + ": CANNOTRUN",
              "There is no speaker to play on (no default device)."},
             {"IntegratedMicrophoneTest", "external-mic-only", nullptr, 2, imt + ": NODEVICE",
              "There are no integrated microphones to test. External microphones are tested "
              "with the setting audio.AllowExternalMicTesting=true."},
             {"FrequencyToneTest", "healthy-laptop", nullptr, 5, tones + ": BADPARAMS",
              "--param FrequencyList: it was not given" + example},
             {"FrequencyToneTest", "healthy-laptop", "440,44o,1000", 5, tones + ": BADPARAMS",
              "--param FrequencyList: \"44o\" is not a whole number of Hz from 20 to 20000" +
                  example},
             // Its FAIL_FREQUENCY_TONE_TEST event names the tones; no line repeats it.
             {"FrequencyToneTest", "dead-microphone", "440", 1, tones + ": FAIL", ""},
             {"FrequencyToneTest", "healthy-laptop", "440", 0, tones + ": PASS", ""},
         }) {
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
        if (!c.reason.empty()) {
            EXPECT_EQ(*(result + 1), "  reason: " + c.reason) << run.out;
            const ShellRun json = runOn(c, base, true);
            EXPECT_NE(json.out.find("\"reason\":" + nlohmann::json(c.reason).dump()),
                      std::string::npos)
                << json.out;
        } else {
            EXPECT_EQ((result + 1)->rfind("  reason:", 0), std::string::npos) << run.out;
        }
    }
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
