#include <gtest/gtest.h>

#include <limits>
#include <regex>

#include "ProgramRun.hpp"
#include "WavFiles.hpp"

namespace kvo::test {
namespace {

const std::vector<std::string> kTest{"IntegratedMicrophoneTest"};

// The process clock's time in ms of the first log line that contains `text`, or -1.
long long clockMsOf(const std::string& log, const std::string& text) {
    const std::regex clock(R"(\+(\d+)\.(\d{3})s )");
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        std::smatch match;
        if (line.find(text) != std::string::npos && std::regex_search(line, match, clock)) {
            return std::stoll(match[1]) * 1000 + std::stoll(match[2]);
        }
    }
    return -1;
}

TEST(IntegratedMicrophoneTestE2E, HealthyLaptopPassesTestingItsMicrophone) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kTest, "", base);
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    const auto testing = run.events("NowTesting");
    ASSERT_EQ(testing.size(), 1u);
    EXPECT_EQ(testing[0]["variables"]["deviceName"],
              "Microphone Array (High Definition Audio Device)");
    EXPECT_EQ(run.progress(), (std::vector<int>{33, 66, 100, 100}));
}

const std::vector<std::string> kSavingRecordings{"IntegratedMicrophoneTest", "--setting",
                                                 "kvormicrophone.GenerateRecording.value=true"};

// The level of both channels of the loud, unmuted recording (the fourth) of a run that saved them.
std::pair<double, double> loudRecordingLevels(const TempDirectory& base) {
    const SavedRecording loud(base.file("logs/MicrophoneTest_3.wav"));
    EXPECT_TRUE(loud.loaded());
    return loud.loaded() ? std::pair{loud.levelDbfs(0), loud.levelDbfs(1)} : std::pair{0.0, 0.0};
}

TEST(IntegratedMicrophoneTestE2E, SavedRecordingsShowEachStepsLengthAndLevel) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kSavingRecordings, "", base);
    EXPECT_EQ(run.exitCode, 0);
    // Silent muted, loud muted, silent at 0 %, loud at 100 %: 5 s without and the stimulus'
    // 6 s with the voice, at 44.1 kHz.
    const std::uint32_t frames[] = {220500, 264600, 220500, 264600};
    for (int i = 0; i < 4; ++i) {
        const SavedRecording recording(
            base.file("logs/MicrophoneTest_" + std::to_string(i) + ".wav"));
        ASSERT_TRUE(recording.loaded()) << i;
        EXPECT_EQ(recording.frames(), frames[i]) << i;
    }
    for (int muted = 0; muted < 2; ++muted) {
        const SavedRecording recording(
            base.file("logs/MicrophoneTest_" + std::to_string(muted) + ".wav"));
        EXPECT_EQ(recording.levelDbfs(0), -std::numeric_limits<double>::infinity()) << muted;
    }
    // The noise (-80 dBFS) at 0 % (-34.5 dB) with the boost raised to +30 dB.
    const SavedRecording silent(base.file("logs/MicrophoneTest_2.wav"));
    EXPECT_NEAR(silent.levelDbfs(0), -84.4, 1.0);
    // The voice from the speaker at 70 % (-19.5 dB), path -24 dB, microphone at 100 % (+12 dB)
    // and boost at +30 dB.
    const auto [left, right] = loudRecordingLevels(base);
    EXPECT_NEAR(left, -20.2, 1.0);
    EXPECT_NEAR(right, -20.2, 1.0);
}

TEST(IntegratedMicrophoneTestE2E, VoicePlaysOnTheDefaultSpeakerEvenWhenAnotherComesFirst) {
    nlohmann::json machine = scenarioMachine("healthy-laptop");
    // A display output without a path to the microphone, enumerated before the speakers.
    machine["endpoints"].insert(machine["endpoints"].begin(),
                                nlohmann::json{{"id", "hdmi"},
                                               {"card", "hda"},
                                               {"direction", "render"},
                                               {"name", "HDMI Output"},
                                               {"formFactor", "digitalDisplay"}});
    TempDirectory base;
    const ProgramRun run = runOnMachine(kSavingRecordings, machine, base);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_NEAR(loudRecordingLevels(base).first, -20.2, 1.0);
}

TEST(IntegratedMicrophoneTestE2E, MicrophoneSaturatedByHumIsNoLouderWithTheVoiceAndFails) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kTest, "saturated-microphone", base);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.raised(),
              (std::vector<std::string>{"info NowTesting", "error RecordingTooSoft"}));
}

TEST(IntegratedMicrophoneTestE2E,
     EveryOutcomeEndsWithItsResultAndRaisesItsEventsWithTheirSeverities) {
    struct Case {
        const char* scenario;
        int exitCode;
        std::vector<std::string> raised;
    };
    for (const Case& c : {
             Case{"windows-vista", 0, {"info NowTesting"}},
             Case{"two-microphones-first-dead",
                  1,
                  {"info NowTesting", "error RecordingTooSoft", "info NowTesting"}},
             Case{"external-mic-only", 2, {"warning NoIntegratedMic"}},
             Case{"capture-fails-twice", 4, {"info NowTesting", "warning RecordingFailToStart"}},
             Case{"unplug-during-recordings",
                  4,
                  {"info NowTesting", "warning EndpointStateWarning"}},
             Case{"stop-request", 6, {"info NowTesting"}},
         }) {
        TempDirectory base;
        const ProgramRun run = runOnSimulatedPc(kTest, c.scenario, base);
        EXPECT_EQ(run.exitCode, c.exitCode) << c.scenario;
        EXPECT_EQ(run.raised(), c.raised) << c.scenario;
    }
}

TEST(IntegratedMicrophoneTestE2E, TwoMicrophonesReportProgressPastOneHundredThenOneHundred) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kTest, "two-microphones", base);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.events("NowTesting").size(), 2u);
    EXPECT_EQ(run.progress(), (std::vector<int>{33, 66, 100, 133, 166, 200, 100}));
}

TEST(IntegratedMicrophoneTestE2E, ADeadMicrophoneIsNamedAsTooSoft) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kTest, "two-microphones-first-dead", base);
    const auto soft = run.events("RecordingTooSoft");
    ASSERT_EQ(soft.size(), 1u);
    EXPECT_EQ(soft[0]["variables"]["deviceName"],
              "Microphone Array (High Definition Audio Device)");
}

TEST(IntegratedMicrophoneTestE2E,
     OnlyAnExternalMicrophoneIsNoDeviceUnlessExternalTestingIsAllowed) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kTest, "external-mic-only", base);
    EXPECT_EQ(run.exitCode, 2);
    ASSERT_EQ(run.events("NoIntegratedMic").size(), 1u);
    EXPECT_TRUE(
        run.logContains("The test has found the following active external mics endpoints: "));
    EXPECT_TRUE(run.logContains(" is not integrated."));

    TempDirectory allowed;
    const ProgramRun tested = runOnSimulatedPc(
        {"IntegratedMicrophoneTest", "--setting", "audio.AllowExternalMicTesting=true"},
        "external-mic-only", allowed);
    EXPECT_EQ(tested.events("NowTesting").size(), 1u);
    EXPECT_TRUE(tested.events("NoIntegratedMic").empty());
    EXPECT_EQ(tested.exitCode, 0);
}

TEST(IntegratedMicrophoneTestE2E, CaptureRefusedOnceIsRetriedAfterFortySevenSecondsOfClockTime) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kTest, "capture-fails-once", base);
    EXPECT_EQ(run.exitCode, 0);
    const std::string log = run.log();
    const long long refused = clockMsOf(log, "Unable to initialize mic");
    const long long retried = clockMsOf(log, "First recording attempt failed.");
    ASSERT_GE(refused, 0);
    EXPECT_EQ(retried - refused, 47000);
    EXPECT_TRUE(run.events("RecordingFailToStart").empty());
}

TEST(IntegratedMicrophoneTestE2E, MicrophoneUnpluggedDuringItsRecordingsEndsTheProgressBar) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kTest, "unplug-during-recordings", base);
    EXPECT_EQ(run.progress().back(), 100);
}

TEST(IntegratedMicrophoneTestE2E, WhatTheEnginesLogWhenTheyAreTornDownReachesTheLog) {
    TempDirectory healthy;
    const ProgramRun run = runOnSimulatedPc(kTest, "", healthy);
    EXPECT_EQ(run.exitCode, 0);
    // The manager lives until the module ends; its boost restore runs then.
    EXPECT_TRUE(run.logContains("MicManagerWin7::~MicManagerWin7"));
    EXPECT_TRUE(run.logContains("MicrophoneBoostControl::restore"));

    // Before Vista the run ends before any restore point is taken.
    TempDirectory old;
    const ProgramRun xp = runOnSimulatedPc(kTest, "windows-xp", old);
    EXPECT_EQ(xp.exitCode, 4);
    EXPECT_TRUE(xp.logContains("m_micVolumeMuteRestorePoint.size() = 0"));
    EXPECT_TRUE(xp.logContains("WHY ARE THEY DIFFERENT?"));
}

TEST(IntegratedMicrophoneTestE2E, StopRequestDuringARecordingEndsWithinOnePoll) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kTest, "stop-request", base);
    EXPECT_EQ(run.exitCode, 6);
    const long long stopped = clockMsOf(run.log(), "Engine is telling the user to stop the test.");
    ASSERT_GE(stopped, 1500);  // the machine asks to stop 1.5 s after the start
    EXPECT_LE(stopped, 1500 + 10);
}

}  // namespace
}  // namespace kvo::test
