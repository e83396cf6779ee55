#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include "ShellRun.hpp"

// `kvormicrophone meter` on simulated PCs whose microphones have known levels:
// what a user sees for a working, dead, saturated and muted microphone, and
// what an unknown or unplugged one gets.

namespace kvo::test {
namespace {

struct Levels {
    double rms[2] = {};
    double peak[2] = {};
    bool clip = false;
    bool muted = false;
};

struct MeterRun {
    ShellRun shell;
    std::vector<std::string> stateLines;
    std::vector<Levels> levels;
    std::vector<std::string> otherLines;
};

MeterRun meter(const std::string& scenario, const std::vector<std::string>& extra = {}) {
    const TempDirectory home;
    const TempDirectory scratch;
    std::vector<std::string> arguments{"meter", "--audio", "sim", "--machine",
                                       std::string(KVO_SCENARIOS) + "/" + scenario};
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    MeterRun run;
    run.shell = runProgram(arguments, {"XDG_STATE_HOME=" + home.path()}, home.path(), scratch);
    EXPECT_TRUE(std::filesystem::is_empty(home.path())) << "the meter writes no file";
    static const std::regex kLevelLine(
        R"(L (\S+) dBFS peak (\S+)  R (\S+) dBFS peak (\S+)(  \[clip\])?(  \[muted\])?)");
    for (const std::string& line : run.shell.outLines()) {
        std::smatch match;
        if (std::regex_match(line, match, kLevelLine)) {
            run.levels.push_back({{std::stod(match[1]), std::stod(match[3])},
                                  {std::stod(match[2]), std::stod(match[4])},
                                  match[5].matched,
                                  match[6].matched});
        } else if (line.rfind("Microphone Array (High Definition Audio Device) (mic-array): ", 0) ==
                   0) {
            run.stateLines.push_back(line);
        } else {
            run.otherLines.push_back(line);
        }
    }
    return run;
}

TEST(MeterE2E, AHealthyMicrophoneShowsItsNoiseWithItsVolumeAndBoostAndNothingIsChanged) {
    const MeterRun run = meter("healthy-laptop.json", {"--seconds", "2"});
    EXPECT_EQ(run.shell.exitCode, 0) << run.shell.errors;
    EXPECT_EQ(run.shell.errors, "");
    EXPECT_TRUE(run.otherLines.empty()) << run.shell.out;
    // Read again every interval: a second state line would mean the levels moved.
    ASSERT_EQ(run.stateLines.size(), 1U) << run.shell.out;
    EXPECT_EQ(run.stateLines[0],
              "Microphone Array (High Definition Audio Device) (mic-array): volume 70 % (-2.25 "
              "dB), not muted, Microphone Boost +10 dB");
    // Two seconds of quarter-second readings.
    ASSERT_GE(run.levels.size(), 6U) << run.shell.out;
    ASSERT_LE(run.levels.size(), 9U) << run.shell.out;
    for (const Levels& levels : run.levels) {
        for (int c = 0; c < 2; ++c) {
            // Its -80 dBFS noise through +7.75 dB of volume and boost.
            EXPECT_NEAR(levels.rms[c], -72.25, 1.0) << run.shell.out;
            EXPECT_GT(levels.peak[c], levels.rms[c] + 3.0);
            EXPECT_LT(levels.peak[c], -50.0);
        }
        EXPECT_FALSE(levels.clip);
        EXPECT_FALSE(levels.muted);
    }
}

TEST(MeterE2E, DeadSaturatedAndMutedMicrophonesEachShowWhatIsWrong) {
    const MeterRun dead = meter("dead-microphone.json", {"--seconds", "1"});
    EXPECT_EQ(dead.shell.exitCode, 0) << dead.shell.errors;
    ASSERT_FALSE(dead.levels.empty()) << dead.shell.out;
    for (const Levels& levels : dead.levels) {
        for (int c = 0; c < 2; ++c) {
            EXPECT_TRUE(std::isinf(levels.rms[c]) && levels.rms[c] < 0) << dead.shell.out;
            EXPECT_TRUE(std::isinf(levels.peak[c]) && levels.peak[c] < 0);
        }
        EXPECT_FALSE(levels.clip || levels.muted) << dead.shell.out;
    }

    // A -6 dBFS hum through +7.75 dB: a sine at +1.75 dBFS RMS, cut at full scale.
    const MeterRun saturated = meter("saturated-microphone.json", {"--seconds", "1"});
    EXPECT_EQ(saturated.shell.exitCode, 0) << saturated.shell.errors;
    ASSERT_FALSE(saturated.levels.empty()) << saturated.shell.out;
    for (const Levels& levels : saturated.levels) {
        EXPECT_TRUE(levels.clip) << saturated.shell.out;
        for (int c = 0; c < 2; ++c) {
            EXPECT_GT(levels.rms[c], -3.0) << saturated.shell.out;
            EXPECT_NEAR(levels.peak[c], 0.0, 0.05);
        }
    }

    const MeterRun muted = meter("muted-microphone.json", {"--seconds", "1"});
    EXPECT_EQ(muted.shell.exitCode, 0) << muted.shell.errors;
    ASSERT_EQ(muted.stateLines.size(), 1U) << muted.shell.out;
    EXPECT_NE(muted.stateLines[0].find("(-2.25 dB), muted, "), std::string::npos)
        << muted.stateLines[0];
    ASSERT_FALSE(muted.levels.empty()) << muted.shell.out;
    for (const Levels& levels : muted.levels) {
        EXPECT_TRUE(levels.muted) << muted.shell.out;
        EXPECT_TRUE(std::isinf(levels.rms[0]));
    }
}

TEST(MeterE2E, TheMicrophoneIsChosenByIdOrNameAndWhatCannotBeMeteredIsRefused) {
    for (const std::string device : {"mic-array", "Microphone Array"}) {
        const MeterRun run = meter("healthy-laptop.json", {"--device", device, "--seconds", "1"});
        EXPECT_EQ(run.shell.exitCode, 0) << device << ": " << run.shell.errors;
        EXPECT_EQ(run.stateLines.size(), 1U) << device << ": " << run.shell.out;
        EXPECT_FALSE(run.levels.empty()) << device;
    }

    // What cannot be metered: each refused on one line with its result and nothing shown.
    const std::string unknown =
        "kvormicrophone: no microphone \"Webcam\" here (microphones: Microphone Array (High "
        "Definition Audio Device) (mic-array) [active], Headset Microphone (High Definition Audio "
        "Device) (headset-mic) [unplugged])\n";
    for (const auto& [scenario, extra, exitCode, says] :
         std::vector<std::tuple<std::string, std::vector<std::string>, int, std::string>>{
             {"healthy-laptop.json", {"--device", "Webcam"}, 5, unknown},
             {"healthy-laptop.json",
              {"--device", "headset-mic"},
              4,
              "headset-mic) cannot capture: it is unplugged"},
             {"healthy-laptop.json", {"--seconds", "0"}, 5, "--seconds"},
             {"healthy-laptop.json", {"--seconds", "soon"}, 5, "--seconds"},
             {"healthy-laptop.json", {"--device", ""}, 5, "--device"},
             {"no-microphone.json", {}, 2, "there is no default microphone"},
         }) {
        SCOPED_TRACE(scenario + " " + (extra.empty() ? "" : extra[0] + " " + extra[1]));
        const MeterRun run = meter(scenario, extra);
        EXPECT_EQ(run.shell.exitCode, exitCode);
        EXPECT_EQ(run.shell.out, "");
        EXPECT_EQ(textLines(run.shell.errors).size(), 1u) << run.shell.errors;
        EXPECT_NE(run.shell.errors.find(says), std::string::npos) << run.shell.errors;
    }
}

}  // namespace
}  // namespace kvo::test
