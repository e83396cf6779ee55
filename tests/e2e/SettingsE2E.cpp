#include <gtest/gtest.h>

#include <filesystem>

#include "ShellRun.hpp"

// Settings are checked before anything runs: a value a known setting cannot
// take is refused with where it came from, a name nothing reads is warned
// about with the nearest known one, and what Notepad writes is read.

namespace kvo::test {
namespace {

struct SettingsRun {
    TempDirectory base;
    TempDirectory scratch;

    ShellRun run(const std::vector<std::string>& settings) const {
        std::vector<std::string> arguments{
            "run", "FrequencyToneTest", "--param",  "FrequencyList=440", "--audio",
            "sim", "--base-dir",        base.path()};
        for (const std::string& setting : settings) {
            arguments.insert(arguments.end(), {"--setting", setting});
        }
        return runProgram(arguments, {}, base.path(), scratch);
    }
    bool keptRecording() const { return std::filesystem::exists(base.file("logs/440.wav")); }
};

TEST(SettingsE2E, AValueAKnownSettingCannotTakeIsRefusedNamingWhereItCameFrom) {
    const SettingsRun fromCommandLine;
    const ShellRun typo = fromCommandLine.run({"kvormicrophone.GenerateRecording.value=ture"});
    EXPECT_EQ(typo.exitCode, 5);
    EXPECT_EQ(typo.errors,
              "kvormicrophone: --setting kvormicrophone.GenerateRecording.value: "
              "kvormicrophone.GenerateRecording.value takes true or false (or yes/no, on/off, "
              "1/0), not 'ture'\n");
    EXPECT_EQ(typo.out, "") << "nothing ran";

    const SettingsRun fromFile;
    fromFile.base.write("kvormicrophone.ini",
                        "[audio]\nAllowExternalMicTesting = no\n[kvormicrophone]\n"
                        "GenerateRecording.value = sometimes\n");
    const ShellRun file = fromFile.run({});
    EXPECT_EQ(file.exitCode, 5);
    EXPECT_NE(file.errors.find("kvormicrophone.ini:4: kvormicrophone.GenerateRecording.value "
                               "takes true or false"),
              std::string::npos)
        << file.errors;
}

TEST(SettingsE2E, AMisspeltSettingIsWarnedAboutWithTheNearestKnownOneAndTheRunGoesOn) {
    const SettingsRun settings;
    const ShellRun run = settings.run({"kvormicrophone.GenerateRecordng.value=true"});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.errors,
              "kvormicrophone: warning: --setting kvormicrophone.GenerateRecordng.value: no "
              "setting 'kvormicrophone.GenerateRecordng.value' is known (did you mean "
              "kvormicrophone.GenerateRecording.value?)\n");
    EXPECT_FALSE(settings.keptRecording()) << "the misspelt setting is not taken";
}

TEST(SettingsE2E, AByteOrderMarkAndAnInlineCommentAreRead) {
    const SettingsRun settings;
    settings.base.write(
        "kvormicrophone.ini",
        "\xEF\xBB\xBF[kvormicrophone]\nGenerateRecording.value = true ; keep all\n");
    const ShellRun run = settings.run({});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.errors, "");
    EXPECT_TRUE(settings.keptRecording()) << "GenerateRecording was read as true";
}

}  // namespace
}  // namespace kvo::test
