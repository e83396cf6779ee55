#include <gtest/gtest.h>

#include <regex>

#include "ProgramRun.hpp"

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

TEST(IntegratedMicrophoneTestE2E, TwoMicrophonesReportProgressPastOneHundredThenOneHundred) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kTest, "two-microphones", base);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.events("NowTesting").size(), 2u);
    EXPECT_EQ(run.progress(), (std::vector<int>{33, 66, 100, 133, 166, 200, 100}));
}

TEST(IntegratedMicrophoneTestE2E, DeadMicrophoneIsTooSoftAndTheOthersAreStillTried) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kTest, "two-microphones-first-dead", base);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.events("NowTesting").size(), 2u);
    const auto soft = run.events("RecordingTooSoft");
    ASSERT_EQ(soft.size(), 1u);
    EXPECT_EQ(soft[0]["severity"], "error");
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

TEST(IntegratedMicrophoneTestE2E, CaptureRefusedTwiceCannotRun) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kTest, "capture-fails-twice", base);
    EXPECT_EQ(run.exitCode, 4);
    ASSERT_EQ(run.events("RecordingFailToStart").size(), 1u);
    EXPECT_EQ(run.events("RecordingFailToStart")[0]["severity"], "warning");
}

TEST(IntegratedMicrophoneTestE2E, MicrophoneUnpluggedDuringItsRecordingsCannotRun) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kTest, "unplug-during-recordings", base);
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_EQ(run.events("EndpointStateWarning").size(), 1u);
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
