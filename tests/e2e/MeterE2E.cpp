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

TEST(MeterE2E, EachMicrophoneShowsWhatIsWrongWithItAndNothingIsChanged) {
    const double silence = -INFINITY;
    struct Case {
        const char* scenario;
        const char* state;  // on the one state line: a second would mean the levels moved
        double rms[2];      // lowest and highest on every reading
        double peak[2];
        bool clip = false;
        bool muted = false;
    };
    for (const Case& c : {
             // Its -80 dBFS noise through +7.75 dB of volume and boost.
             Case{"healthy-laptop",
                  ": volume 70 % (-2.25 dB), not muted, Microphone Boost +10 dB",
                  {-73.25, -71.25},
                  {-69.0, -50.0},
                  false,
                  false},
             Case{"dead-microphone", ", not muted, ", {silence, silence}, {silence, silence}},
             // A -6 dBFS hum through +7.75 dB: a sine at +1.75 dBFS RMS, cut at full scale.
             Case{"saturated-microphone", ", not muted, ", {-3.0, 0.0}, {-0.05, 0.05}, true},
             Case{"muted-microphone",
                  "(-2.25 dB), muted, ",
                  {silence, silence},
                  {silence, silence},
                  false,
                  true},
         }) {
        SCOPED_TRACE(c.scenario);
        const MeterRun run = meter(std::string(c.scenario) + ".json", {"--seconds", "2"});
        EXPECT_EQ(run.shell.exitCode, 0) << run.shell.errors;
        EXPECT_EQ(run.shell.errors, "");
        EXPECT_TRUE(run.otherLines.empty()) << run.shell.out;
        ASSERT_EQ(run.stateLines.size(), 1U) << run.shell.out;
        EXPECT_NE(run.stateLines[0].find(c.state), std::string::npos) << run.stateLines[0];
        // Two seconds of quarter-second readings.
        ASSERT_GE(run.levels.size(), 6U) << run.shell.out;
        ASSERT_LE(run.levels.size(), 9U) << run.shell.out;
        for (const Levels& levels : run.levels) {
            for (int channel = 0; channel < 2; ++channel) {
                EXPECT_GE(levels.rms[channel], c.rms[0]) << run.shell.out;
                EXPECT_LE(levels.rms[channel], c.rms[1]) << run.shell.out;
                EXPECT_GE(levels.peak[channel], c.peak[0]);
                EXPECT_LE(levels.peak[channel], c.peak[1]);
            }
            EXPECT_EQ(levels.clip, c.clip);
            EXPECT_EQ(levels.muted, c.muted);
        }
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
