#include <gtest/gtest.h>

#include <cmath>
#include <regex>

#include "ProgramRun.hpp"
#include "Sox.hpp"

namespace kvo::test {
namespace {

const std::vector<std::string> kTest{"IntegratedMicrophoneTest"};

// The process clock's time in ms of the first log line that contains `text`, or -1.
long long clockMsOf(const std::string& log, const std::string& text) {
    const std::regex clock(R"(\+(\d+)\.(\d{3})s )");
    for (const std::string& line : textLines(log)) {
        std::smatch match;
        if (line.find(text) != std::string::npos && std::regex_search(line, match, clock)) {
            return std::stoll(match[1]) * 1000 + std::stoll(match[2]);
        }
    }
    return -1;
}

const std::vector<std::string> kSavingRecordings = withSetting(kTest, kSaveRecordings);

// One of the four recordings a run saved.
std::string recording(const ProgramRun& run, int number) {
    return run.file("logs/MicrophoneTest_" + std::to_string(number) + ".wav");
}

// Its RMS levels in dBFS: of the whole, then of each channel.
std::vector<double> levelsOf(const ProgramRun& run, int number) {
    return soxStats(recording(run, number), "RMS lev dB");
}

// The voice plays on the default speaker even when another output comes first.
TEST(IntegratedMicrophoneTestE2E, SavedRecordingsShowEachStepsLengthAndLevel) {
    nlohmann::json machine = scenarioMachine("healthy-laptop");
    // A display output without a path to the microphone, enumerated before the speakers.
    machine["endpoints"].insert(machine["endpoints"].begin(),
                                nlohmann::json{{"id", "hdmi"},
                                               {"card", "hda"},
                                               {"direction", "render"},
                                               {"name", "HDMI Output"},
                                               {"formFactor", "digitalDisplay"}});
    const ProgramRun run = runOnMachine(kSavingRecordings, machine);
    EXPECT_EQ(run.exitCode, 0);
    // Silent muted, loud muted, silent at 0 %, loud at 100 %: 5 s without and the stimulus'
    // 6 s with the voice, at 44.1 kHz; the muted ones digital silence.
    const double frames[] = {220500, 264600, 220500, 264600};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(soxInfo("-s", recording(run, i)), frames[i]) << i;
    }
    EXPECT_THAT(levelsOf(run, 0), stereoFigures(-INFINITY));
    EXPECT_THAT(levelsOf(run, 1), stereoFigures(-INFINITY));
    // The noise (-80 dBFS) at 0 % (-34.5 dB) with the boost raised to +30 dB.
    EXPECT_THAT(levelsOf(run, 2), stereoFigures(testing::DoubleNear(-84.4, 1.0)));
    // The voice from the speaker at 70 % (-19.5 dB), path -24 dB, microphone at 100 % (+12 dB)
    // and boost at +30 dB, in both channels.
    EXPECT_THAT(levelsOf(run, 3), stereoFigures(testing::DoubleNear(-20.2, 1.0)));
}

TEST(IntegratedMicrophoneTestE2E,
     EveryOutcomeEndsWithItsResultRaisesItsEventsWithTheirSeveritiesAndEndsTheProgressBar) {
    struct Case {
        const char* scenario;
        int exitCode;
        std::vector<std::string> raised;
        std::vector<int> progress;  // {} for not checked
    };
    const std::string testing = "info NowTesting";
    for (const Case& c : {
             Case{"", 0, {testing}, {33, 66, 100, 100}},
             Case{"two-microphones", 0, {testing, testing}, {33, 66, 100, 133, 166, 200, 100}},
             Case{"windows-vista", 0, {testing}, {}},
             // A microphone saturated by hum is no louder with the voice.
             Case{"saturated-microphone", 1, {testing, "error RecordingTooSoft"}, {}},
             Case{"capture-fails-twice", 4, {testing, "warning RecordingFailToStart"}, {}},
             Case{"unplug-during-recordings",
                  4,
                  {testing, "warning EndpointStateWarning"},
                  {33, 66, 100}},
         }) {
        SCOPED_TRACE(c.scenario);
        const ProgramRun run = runOnSimulatedPc(kTest, c.scenario);
        EXPECT_EQ(run.exitCode, c.exitCode);
        EXPECT_EQ(run.raised(), c.raised);
        if (!c.progress.empty()) {
            EXPECT_EQ(run.progress(), c.progress);
        }
    }
}

TEST(IntegratedMicrophoneTestE2E, EachMicrophoneIsNamedWhenTestedAndADeadOneAsTooSoft) {
    const ProgramRun run = runOnSimulatedPc(kTest, "two-microphones-first-dead");
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.raised(), (std::vector<std::string>{"info NowTesting", "error RecordingTooSoft",
                                                      "info NowTesting"}));
    const std::string array = "Microphone Array (High Definition Audio Device)";
    EXPECT_EQ(run.events("NowTesting").at(0)["variables"]["deviceName"], array);
    EXPECT_EQ(run.events("RecordingTooSoft").at(0)["variables"]["deviceName"], array);
}

TEST(IntegratedMicrophoneTestE2E,
     OnlyAnExternalMicrophoneIsNoDeviceUnlessExternalTestingIsAllowed) {
    const ProgramRun run = runOnSimulatedPc(kTest, "external-mic-only");
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.raised(), std::vector<std::string>{"warning NoIntegratedMic"});
    EXPECT_TRUE(
        run.logContains("The test has found the following active external mics endpoints: "));
    EXPECT_TRUE(run.logContains(" is not integrated."));

    const ProgramRun tested = runOnSimulatedPc(
        withSetting(kTest, "audio.AllowExternalMicTesting=true"), "external-mic-only");
    EXPECT_EQ(tested.raised(), std::vector<std::string>{"info NowTesting"});
    EXPECT_EQ(tested.exitCode, 0);
}

TEST(IntegratedMicrophoneTestE2E, CaptureRefusedOnceIsRetriedAfterFortySevenSecondsOfClockTime) {
    const ProgramRun run = runOnSimulatedPc(kTest, "capture-fails-once");
    EXPECT_EQ(run.exitCode, 0);
    const long long refused = clockMsOf(run.log(), "Unable to initialize mic");
    const long long retried = clockMsOf(run.log(), "First recording attempt failed.");
    ASSERT_GE(refused, 0);
    EXPECT_EQ(retried - refused, 47000);
    EXPECT_TRUE(run.events("RecordingFailToStart").empty());
}

TEST(IntegratedMicrophoneTestE2E, WhatTheEnginesLogWhenTheyAreTornDownReachesTheLog) {
    const ProgramRun run = runOnSimulatedPc(kTest);
    EXPECT_EQ(run.exitCode, 0);
    // The manager lives until the module ends; its boost restore runs then.
    EXPECT_TRUE(run.logContains("MicManagerWin7::~MicManagerWin7"));
    EXPECT_TRUE(run.logContains("MicrophoneBoostControl::restore"));

    // Before Vista the run ends before any restore point is taken.
    const ProgramRun xp = runOnSimulatedPc(kTest, "windows-xp");
    EXPECT_EQ(xp.exitCode, 4);
    EXPECT_TRUE(xp.logContains("m_micVolumeMuteRestorePoint.size() = 0"));
    EXPECT_TRUE(xp.logContains("WHY ARE THEY DIFFERENT?"));
}

TEST(IntegratedMicrophoneTestE2E, StopRequestDuringARecordingEndsWithinOnePoll) {
    const ProgramRun run = runOnSimulatedPc(kTest, "stop-request");
    EXPECT_EQ(run.exitCode, 6);
    EXPECT_EQ(run.raised(), std::vector<std::string>{"info NowTesting"});
    const long long stopped = clockMsOf(run.log(), "Engine is telling the user to stop the test.");
    ASSERT_GE(stopped, 1500);  // the machine asks to stop 1.5 s after the start
    EXPECT_LE(stopped, 1500 + 10);
}

}  // namespace
}  // namespace kvo::test
