#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "ProgramRun.hpp"
#include "Sox.hpp"
#include "support/TextCount.hpp"

namespace kvo::test {
namespace {

const std::vector<std::string> kThreeTones = tones("440,1000,4000");

TEST(FrequencyToneTestE2E, EachMicrophoneHearsTheWholeListInTurn) {
    const ProgramRun run = runOnSimulatedPc(kThreeTones, "two-microphones");
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    std::vector<std::string> played;
    for (const auto& tone : run.events("MSG_CURRENT_FREQ")) {
        played.push_back(tone["variables"]["frequency"]);
    }
    EXPECT_EQ(played, (std::vector<std::string>{"440", "1000", "4000", "440", "1000", "4000"}));
    EXPECT_EQ(run.events("MSG_CURRENT_FREQ").at(0)["text"], "Playing a 440 Hz tone.");
    EXPECT_TRUE(run.report["tests"][0]["files"].empty()) << "only failed tones are kept";
    // The speaker plays the list to the first microphone, then to the second.
    std::vector<std::string> captures;
    for (const std::string& line : textLines(run.log())) {
        if (line.find("for capture") != std::string::npos) {
            captures.push_back(line.find("Camera Microphone") != std::string::npos ? "camera"
                                                                                   : "array");
        }
    }
    EXPECT_EQ(captures,
              (std::vector<std::string>{"array", "array", "array", "camera", "camera", "camera"}));
}

TEST(FrequencyToneTestE2E, SavedTonesReplaceOldRecordingsAtThe70PercentSpeakerAndFullMicLevel) {
    TempDirectory base;
    std::filesystem::create_directories(base.file("logs"));
    for (const char* old : {"logs/x.wav", "logs/123.wav.old", "logs/a.b.wav", "logs/notes.txt"}) {
        std::ofstream(base.file(old)) << "old";
    }
    const ProgramRun run = runOnSimulatedPc(
        withSetting(kThreeTones, "kvormicrophone.GenerateRecording.value= true "), "", base);
    EXPECT_EQ(run.exitCode, 0);
    for (const char* kept : {"440.wav", "1000.wav", "4000.wav", "a.b.wav", "notes.txt"}) {
        EXPECT_TRUE(run.hasLogFile(kept)) << kept;
    }
    EXPECT_FALSE(run.hasLogFile("x.wav"));
    EXPECT_FALSE(run.hasLogFile("123.wav.old"));

    const std::string tone = base.file("logs/1000.wav");
    EXPECT_EQ(soxInfo("-r", tone), 48000);
    EXPECT_EQ(soxInfo("-s", tone), 48000);
    // Half full scale, speaker at 70 % (-19.5 dB), path -24 dB, microphone at 100 % (+12 dB)
    // with its boost as found (+10 dB): about -31 dBFS in each channel, past the settling 60 %.
    EXPECT_THAT(soxStats(tone, "RMS lev dB", 28800),
                stereoFigures(testing::DoubleNear(-30.9, 1.0)));
}

TEST(FrequencyToneTestE2E, DeadMicrophoneFailsEveryToneSavesThemAndTheRecordingCanBeAnalysedAgain) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kThreeTones, "dead-microphone", base);
    EXPECT_EQ(run.exitCode, 1);
    const std::string tone = "info MSG_CURRENT_FREQ";
    EXPECT_EQ(run.raised(),
              (std::vector<std::string>{tone, tone, tone, "error FAIL_FREQUENCY_TONE_TEST"}));
    EXPECT_EQ(run.events("FAIL_FREQUENCY_TONE_TEST").at(0)["variables"]["frequencies"],
              "440 1000 4000");
    for (const char* file : {"440.wav", "1000.wav", "4000.wav"}) {
        EXPECT_TRUE(run.hasLogFile(file)) << file;
    }
    EXPECT_EQ(run.report["tests"][0]["files"].size(), 3u);

    const ProgramRun again = runOnSimulatedPc(withSetting(kThreeTones, reanalysing("1000.wav")),
                                              "dead-microphone", base);
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_TRUE(again.events("MSG_CURRENT_FREQ").empty());  // nothing was played
    ASSERT_EQ(again.events("FAIL_FREQUENCY_TONE_TEST").size(), 1u);
    EXPECT_EQ(again.events("FAIL_FREQUENCY_TONE_TEST")[0]["variables"]["frequencies"], "1000");
}

TEST(FrequencyToneTestE2E, RefusedPlaybackFailsThatToneOnly) {
    nlohmann::json machine = scenarioMachine("healthy-laptop");
    endpointOf(machine, "speakers")["faults"] = {{"playFailures", 1}};
    const ProgramRun run = runOnMachine(kThreeTones, machine);
    EXPECT_EQ(run.exitCode, 1);
    ASSERT_EQ(run.events("FAIL_FREQUENCY_TONE_TEST").size(), 1u);
    EXPECT_EQ(run.events("FAIL_FREQUENCY_TONE_TEST")[0]["variables"]["frequencies"], "440");
}

TEST(FrequencyToneTestE2E, EveryOutcomeEndsWithItsResultAndRaisesItsEventsWithTheirSeverities) {
    struct Case {
        const char* scenario;
        int exitCode;
        std::vector<std::string> raised;
        bool legacyWaveInterface = false;  // chosen for offending drivers
        std::vector<int> progress = {};    // {} for not checked
    };
    const std::string tone = "info MSG_CURRENT_FREQ";
    const std::string failed = "error FAIL_FREQUENCY_TONE_TEST";
    for (const Case& c : {
             Case{"healthy-laptop", 0, {tone, tone, tone}, false, {0, 33, 66, 99}},
             Case{"two-microphones-first-dead",
                  1,
                  {tone, tone, tone, tone, tone, tone, failed},
                  false,
                  {0, 16, 32, 48, 64, 80, 96}},
             Case{"unplug-during-run", 2, {tone, tone, "warning MSG_NO_MICROPHONE"}},
             Case{"no-speaker", 2, {"warning MSG_NO_SPEAKER"}},
             Case{"no-microphone", 2, {"warning MSG_NO_MICROPHONE"}},
             Case{"windows-vista", 3, {}},
             Case{"no-16bit-stereo-playback", 4, {"warning DEVICE_MISCONFIGURED"}},
             Case{"capture-fails-once", 4, {tone, "warning DEVICE_MISCONFIGURED"}},
             Case{"interrupted-capture", 4, {tone, "warning DEVICE_MISCONFIGURED"}},
             Case{"stop-request", 6, {tone}},
             Case{"offending-driver", 0, {tone, tone, tone}, true},
             Case{"sst-card", 0, {tone, tone, tone}, true},
             Case{"newer-realtek-driver", 0, {tone, tone, tone}},
         }) {
        SCOPED_TRACE(c.scenario);
        const ProgramRun run = runOnSimulatedPc(kThreeTones, c.scenario);
        EXPECT_EQ(run.exitCode, c.exitCode);
        EXPECT_EQ(run.raised(), c.raised);
        if (c.exitCode == 2) {  // JUnit skips what found no device
            EXPECT_EQ(countOf(run.junit, "<skipped message=\"NODEVICE (2)\""), 1u) << run.junit;
        }
        if (!c.progress.empty()) {
            EXPECT_EQ(run.progress(), c.progress);
        }
        EXPECT_EQ(run.logContains("Found an offending driver. Using windows legacy audio API"),
                  c.legacyWaveInterface);
        // The engine that ran is the one chosen.
        EXPECT_EQ(run.logContains("Entering FrequencyToneTestLegacy::FrequencyToneTestLegacy()"),
                  c.legacyWaveInterface);
    }
}

TEST(FrequencyToneTestE2E, ReanalysisOfAMissingOrMisnamedFileCannotRun) {
    for (const char* name : {"777.wav", "notes.txt"}) {
        const ProgramRun run = runOnSimulatedPc(withSetting(kThreeTones, reanalysing(name)));
        EXPECT_EQ(run.exitCode, 4) << name;
        EXPECT_EQ(run.events("DEVICE_MISCONFIGURED").size(), 1u) << name;
    }
}

TEST(FrequencyToneTestE2E, FrequencyListOutsideTwentyToTwentyThousandOrMalformedIsBadParams) {
    // 4294967736 is 440 once wrapped to 32 bits. Empty tokens are dropped, as a tokenizer
    // does: "440,," is the list 440.
    const std::vector<std::string> badLists{"19",        "20001", "abc",  "",          ",",
                                            "440, 1000", "-440",  "+440", "4294967736"};
    const std::vector<std::string> goodLists{"20", "20000", "440,,"};
    for (const bool bad : {true, false}) {
        for (const std::string& list : bad ? badLists : goodLists) {
            SCOPED_TRACE('"' + list + '"');
            const ProgramRun run = runOnSimulatedPc(tones(list));
            EXPECT_EQ(run.exitCode == 5, bad);
            EXPECT_EQ(run.events("MSG_BAD_FREQ_INPUT").size(), bad ? 1u : 0u);
        }
    }
}

TEST(FrequencyToneTestE2E, StopDuringACaptureIsUserAbortedWithNothingAnalysedOrSaved) {
    // The stop comes while the first tone is recorded: as the only tone and before a second one.
    for (const char* list : {"440", "440,1000"}) {
        SCOPED_TRACE(list);
        const ProgramRun run = runOnSimulatedPc(tones(list), "stop-during-capture");
        EXPECT_EQ(run.exitCode, 6);
        EXPECT_EQ(run.report["tests"][0]["result"], "USERABORTED");
        EXPECT_TRUE(run.events("FAIL_FREQUENCY_TONE_TEST").empty());
        EXPECT_EQ(run.events("MSG_CURRENT_FREQ").size(), 1u);
        EXPECT_FALSE(run.hasLogFile("440.wav"));
        EXPECT_TRUE(run.report["tests"][0]["files"].empty());
        EXPECT_FALSE(run.logContains("Is recording successful"));
    }
}

}  // namespace
}  // namespace kvo::test
