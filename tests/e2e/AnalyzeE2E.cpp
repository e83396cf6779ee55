#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <tuple>

#include "ProgramRun.hpp"
#include "Sox.hpp"
#include "support/ShellQuote.hpp"

namespace kvo::test {
namespace {

// `kvormicrophone analyze <arguments> --json`.
ProgramRun analyzeJson(std::vector<std::string> arguments, const TempDirectory& base) {
    arguments.insert(arguments.begin(), "analyze");
    arguments.push_back("--json");
    return runProgram(arguments, base);
}

// The result line of an analyze --json run, null when there is none.
nlohmann::json resultLine(const ProgramRun& run) {
    const auto results = run.linesOf("result");
    return results.empty() ? nullptr : results[0];
}

TEST(AnalyzeE2E, ASavedRecordingGetsTheFiguresAndVerdictOfTheLiveCheckAndOfTheSettingsReanalysis) {
    for (const char* scenario : {"", "dead-microphone"}) {
        SCOPED_TRACE(scenario);
        TempDirectory base;
        const ProgramRun live =
            runOnSimulatedPc(withSetting(tones("1000"), kSaveRecordings), scenario, base);
        ASSERT_TRUE(live.hasLogFile("1000.wav")) << live.errors;
        const auto liveChecks = live.measurements();
        ASSERT_EQ(liveChecks.size(), 2u);
        EXPECT_EQ(liveChecks[0]["subject"]["file"], "1000.wav");

        TempDirectory elsewhere;
        const ProgramRun analysed = analyzeJson({base.file("logs/1000.wav")}, elsewhere);
        const ProgramRun again =
            runOnSimulatedPc(withSetting(tones("1000"), reanalysing("1000.wav")), scenario, base);
        EXPECT_EQ(analysed.exitCode, live.exitCode) << analysed.errors;
        EXPECT_EQ(resultLine(analysed)["code"], live.exitCode);
        EXPECT_EQ(again.exitCode, live.exitCode);
        const auto checks = analysed.measurements();
        const auto againChecks = again.measurements();
        ASSERT_EQ(checks.size(), 2u);
        ASSERT_EQ(againChecks.size(), 2u);
        for (std::size_t channel = 0; channel < 2; ++channel) {
            // Bit for bit: the same part of the same samples through the same analysis.
            EXPECT_EQ(checks[channel]["measurement"], liveChecks[channel]["measurement"]);
            EXPECT_EQ(againChecks[channel]["measurement"], liveChecks[channel]["measurement"]);
            EXPECT_EQ(checks[channel]["passed"], liveChecks[channel]["passed"]);
            EXPECT_EQ(checks[channel]["test"], "analyze");
            EXPECT_EQ(checks[channel]["check"],
                      "1000 Hz  file \"1000.wav\" " + std::string(channel == 0 ? "L" : "R"));
            EXPECT_EQ(againChecks[channel]["check"], checks[channel]["check"]);
        }
    }
}

TEST(AnalyzeE2E, TheToneComesFromTheFileNameUnlessGivenAndTheTextShowsFiguresAndVerdict) {
    TempDirectory base;
    std::filesystem::create_directories(base.file("some dir"));
    const std::string named = base.file("some dir/440.wav");
    const std::string unnamed = base.file("some dir/take two.wav");
    soxMake(named, "-r 48000 -b 16 -c 2", "synth 1 sine 440 vol 0.25");
    soxMake(unnamed, "-r 48000 -b 16 -c 2", "synth 1 sine 440 vol 0.25");
    struct Case {
        std::vector<std::string> arguments;
        int exitCode;
        double expectedHz;
    };
    for (const Case& c : {Case{{named}, 0, 440}, Case{{named, "--frequency", "1000"}, 1, 1000},
                          Case{{unnamed, "--frequency", "440"}, 0, 440}}) {
        SCOPED_TRACE(c.arguments.back());
        const ProgramRun run = analyzeJson(c.arguments, base);
        EXPECT_EQ(run.exitCode, c.exitCode) << run.errors;
        EXPECT_EQ(run.errors, "");
        const auto checks = run.measurements();
        ASSERT_EQ(checks.size(), 2u);
        for (const nlohmann::json& check : checks) {
            EXPECT_EQ(check["measurement"]["expectedHz"], c.expectedHz);
            EXPECT_NEAR(check["measurement"]["foundHz"].get<double>(), 440.0, 1.0);
            EXPECT_EQ(check["passed"], c.exitCode == 0);
        }
        EXPECT_EQ(resultLine(run)["result"], c.exitCode == 0 ? "PASS" : "FAIL");
    }

    // As a person reads it: a line per channel with its figures, then the verdict and why.
    // It only reads: nothing is written beside the file or in the current folder.
    const std::string before = readWholeFile(named);
    const std::string folder = shellQuoted(base.file("some dir"));
    const ProgramRun text = runProgram({"analyze", "440.wav", "--frequency", "1000"}, base,
                                       "cd " + folder + " && HOME=" + folder + " XDG_STATE_HOME= ");
    EXPECT_EQ(text.exitCode, 1);
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(base.file("some dir"))) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"440.wav", "take two.wav"}));
    EXPECT_EQ(readWholeFile(named), before);
    const std::vector<std::string> shown = textLines(text.out);
    ASSERT_EQ(shown.size(), 4u) << text.out;
    EXPECT_EQ(shown[0].rfind("  1000 Hz  file \"440.wav\" L: found 439.", 0), 0u) << shown[0];
    EXPECT_NE(shown[0].find("dBFS  SNR "), std::string::npos) << shown[0];
    EXPECT_NE(shown[0].find("FAIL (wrong frequency found"), std::string::npos) << shown[0];
    EXPECT_EQ(shown[1].rfind("  1000 Hz  file \"440.wav\" R: ", 0), 0u) << shown[1];
    EXPECT_EQ(shown[2], "analyze: FAIL");
    EXPECT_EQ(shown[3], "  reason: the 1000 Hz tone was not found in every channel of '440.wav'");
}

TEST(AnalyzeE2E, OnlyTheLastFortyPercentIsJudgedInEveryFormatTheToneTestReads) {
    for (const char* format : {"-r 48000 -b 16 -c 2", "-r 44100 -b 8 -c 1", "-r 22050 -b 16 -c 1",
                               "-r 48000 -b 24 -c 2", "-r 44100 -b 32 -e floating-point -c 2"}) {
        SCOPED_TRACE(format);
        TempDirectory base;
        // A loud 3000 Hz start for 60 %, then a soft 1000 Hz tone.
        soxMake(base.file("1000.wav"), format,
                "synth 0.9 sine 3000 vol 0.5 : synth 0.6 sine 1000 vol 0.1");
        const ProgramRun heard = analyzeJson({base.file("1000.wav")}, base);
        EXPECT_EQ(heard.exitCode, 0) << heard.errors;
        const auto checks = heard.measurements();
        // A mono file is checked in both channels, as the tone test plays it.
        ASSERT_EQ(checks.size(), 2u);
        for (const nlohmann::json& check : checks) {
            EXPECT_NEAR(check["measurement"]["foundHz"].get<double>(), 1000.0, 1.0);
            // The soft tail alone: -23 dBFS RMS, where the loud start would be -9.
            EXPECT_NEAR(check["measurement"]["rmsDbfs"].get<double>(), -23.0, 0.5);
        }
        EXPECT_EQ(analyzeJson({base.file("1000.wav"), "--frequency", "3000"}, base).exitCode, 1);
    }
}

TEST(AnalyzeE2E, AFileThatCannotBeAnalysedEndsCannotRunOnOneLineAndNoFrequencyIsBadParams) {
    TempDirectory base;
    // Each named as the tone test names its recordings, in a folder of its own.
    const auto named = [&base](const std::string& folder) {
        std::filesystem::create_directories(base.file(folder));
        return base.file(folder + "/1000.wav");
    };
    ASSERT_EQ(::mkfifo(named("fifo").c_str(), 0600), 0);
    std::ofstream(named("text")) << "not a recording";
    soxMake(named("empty"), "-r 48000 -b 16 -c 2", "trim 0 0");
    soxMake(named("six"), "-r 48000 -b 16 -c 6", "synth 0.1 sine 1000 vol 0.3");
    const std::string take = base.file("take.wav");
    soxMake(take, "-r 48000 -b 16 -c 2", "synth 0.5 sine 1000 vol 0.3");
    const std::string missing = base.file("missing/1000.wav");
    const std::string noTone =
        "'take.wav' does not say which tone to look for (as 1000.wav does): give it with "
        "--frequency HZ";
    for (const auto& [arguments, exitCode, says] :
         std::vector<std::tuple<std::vector<std::string>, int, std::string>>{
             {{"analyze", missing}, 4, "No such file"},
             {{"analyze", named("fifo")}, 4, "not a regular file"},
             {{"analyze", named("text")}, 4, "not a RIFF file"},
             {{"analyze", named("empty")}, 4, "holds no audio"},
             {{"analyze", named("six")}, 4, "6 channels"},
             {{"analyze", take}, 5, noTone},
             {{"analyze", take, "--frequency", "19"}, 5, "--frequency"},
             {{"analyze", take, "--frequency", "1k"}, 5, "--frequency"},
             {{"analyze", ""}, 5, "kvormicrophone: "},
             {{"analyze"}, 5, "kvormicrophone: "},
         }) {
        SCOPED_TRACE(arguments.back() + " " + says);
        const ProgramRun text = runProgram(arguments, base);
        EXPECT_EQ(text.exitCode, exitCode);
        EXPECT_EQ(text.out, "");
        const std::vector<std::string> said = textLines(text.errors);
        ASSERT_EQ(said.size(), 1u) << text.errors;
        EXPECT_EQ(said[0].rfind("kvormicrophone: ", 0), 0u) << said[0];
        EXPECT_NE(said[0].find(says), std::string::npos) << said[0];
        if (exitCode == 4) {  // a file it cannot analyse: named, and the reason in --json too
            EXPECT_NE(said[0].find(arguments[1]), std::string::npos) << said[0];
            const ProgramRun json = analyzeJson({arguments[1]}, base);
            EXPECT_EQ(json.exitCode, 4);
            EXPECT_EQ(resultLine(json)["result"], "CANNOTRUN");
            EXPECT_NE(resultLine(json)["reason"].get<std::string>().find(says), std::string::npos);
        }
    }
}

}  // namespace
}  // namespace kvo::test
