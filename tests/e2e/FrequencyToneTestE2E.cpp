#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "ProgramRun.hpp"
#include "WavFiles.hpp"

namespace kvo::test {
namespace {

const std::vector<std::string> kThreeTones{"FrequencyToneTest", "--param",
                                           "FrequencyList=440,1000,4000"};

std::vector<std::string> withSetting(std::vector<std::string> arguments,
                                     const std::string& setting) {
    arguments.insert(arguments.end(), {"--setting", setting});
    return arguments;
}

TEST(FrequencyToneTestE2E, HealthyLaptopHearsEveryToneWithProgressInThirds) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kThreeTones, "", base);
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    const auto tones = run.events("MSG_CURRENT_FREQ");
    ASSERT_EQ(tones.size(), 3u);
    EXPECT_EQ(tones[0]["text"], "Playing a 440 Hz tone.");
    EXPECT_EQ(tones[1]["variables"]["frequency"], "1000");
    EXPECT_EQ(tones[2]["variables"]["frequency"], "4000");
    EXPECT_EQ(run.progress(), (std::vector<int>{0, 33, 66, 99}));
    EXPECT_EQ(run.report["tests"][0]["result"], "PASS");
    EXPECT_TRUE(run.report["tests"][0]["files"].empty());
}

TEST(FrequencyToneTestE2E, EachMicrophoneHearsTheWholeListWithProgressInSixthsOfTheBar) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kThreeTones, "two-microphones", base);
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    std::vector<std::string> played;
    for (const auto& tone : run.events("MSG_CURRENT_FREQ")) {
        played.push_back(tone["variables"]["frequency"]);
    }
    EXPECT_EQ(played, (std::vector<std::string>{"440", "1000", "4000", "440", "1000", "4000"}));
    EXPECT_EQ(run.progress(), (std::vector<int>{0, 16, 32, 48, 64, 80, 96}));
    // The speaker plays the list to the first microphone, then to the second.
    std::vector<std::string> captures;
    std::istringstream log(run.log());
    for (std::string line; std::getline(log, line);) {
        if (line.find("for capture") != std::string::npos) {
            captures.push_back(line.find("Camera Microphone") != std::string::npos ? "camera"
                                                                                   : "array");
        }
    }
    EXPECT_EQ(captures,
              (std::vector<std::string>{"array", "array", "array", "camera", "camera", "camera"}));

    TempDirectory second;
    const ProgramRun firstDead =
        runOnSimulatedPc(kThreeTones, "two-microphones-first-dead", second);
    EXPECT_EQ(firstDead.exitCode, 1);
    ASSERT_EQ(firstDead.events("FAIL_FREQUENCY_TONE_TEST").size(), 1u);
    EXPECT_EQ(firstDead.events("FAIL_FREQUENCY_TONE_TEST")[0]["variables"]["frequencies"],
              "440 1000 4000");
}

TEST(FrequencyToneTestE2E, SavedToneHasTheLevelTheMachineGivesAt70PercentSpeakerAndFullMicrophone) {
    TempDirectory base;
    const ProgramRun run =
        runOnSimulatedPc({"FrequencyToneTest", "--param", "FrequencyList=1000", "--setting",
                          "kvormicrophone.GenerateRecording.value=true"},
                         "", base);
    EXPECT_EQ(run.exitCode, 0);
    const SavedRecording tone(base.file("logs/1000.wav"));
    ASSERT_TRUE(tone.loaded());
    EXPECT_EQ(tone.rate(), 48000u);
    EXPECT_EQ(tone.frames(), 48000u);
    // Half full scale, speaker at 70 % (-19.5 dB), path -24 dB, microphone at 100 % (+12 dB)
    // with its boost as found (+10 dB): about -31 dBFS in each channel.
    for (std::uint32_t channel = 0; channel < 2; ++channel) {
        EXPECT_NEAR(tone.levelDbfs(channel, 0.6), -30.9, 1.0) << channel;
    }
}

TEST(FrequencyToneTestE2E, DeadMicrophoneFailsEveryToneSavesThemAndTheRecordingCanBeAnalysedAgain) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kThreeTones, "dead-microphone", base);
    EXPECT_EQ(run.exitCode, 1);
    const auto failures = run.events("FAIL_FREQUENCY_TONE_TEST");
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_EQ(failures[0]["severity"], "error");
    EXPECT_EQ(failures[0]["variables"]["frequencies"], "440 1000 4000");
    for (const char* file : {"440.wav", "1000.wav", "4000.wav"}) {
        EXPECT_TRUE(run.hasLogFile(file)) << file;
    }
    EXPECT_EQ(run.report["tests"][0]["files"].size(), 3u);

    const ProgramRun again = runOnSimulatedPc(
        withSetting(kThreeTones, "kvormicrophone.FrequencyAnalysisWaveFile.value=1000.wav"),
        "dead-microphone", base);
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_TRUE(again.events("MSG_CURRENT_FREQ").empty());  // nothing was played
    ASSERT_EQ(again.events("FAIL_FREQUENCY_TONE_TEST").size(), 1u);
    EXPECT_EQ(again.events("FAIL_FREQUENCY_TONE_TEST")[0]["variables"]["frequencies"], "1000");
}

TEST(FrequencyToneTestE2E, GenerateRecordingSavesEveryToneAfterOldWavFilesAreCleaned) {
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

    // A saved recording of a heard tone passes again on re-analysis.
    const ProgramRun again = runOnSimulatedPc(
        withSetting(kThreeTones, "kvormicrophone.FrequencyAnalysisWaveFile.value=4000.wav"), "",
        base);
    EXPECT_EQ(again.exitCode, 0);
    EXPECT_TRUE(again.hasLogFile("4000.wav"));  // a re-analysis cleans nothing
}

// A saved recording in another format, written where the test looks for it.
struct ReanalysedFile {
    const char* name;
    std::uint16_t channels;
    std::uint32_t rate;
    std::uint16_t bits;
    bool isFloat;
};

TEST(FrequencyToneTestE2E, ReanalysisHearsTheToneInMonoEightBitTwentyFourBitAndFloatFiles) {
    for (const ReanalysedFile f : {ReanalysedFile{"mono16", 1, 44100, 16, false},
                                   ReanalysedFile{"mono8", 1, 44100, 8, false},
                                   ReanalysedFile{"stereo24", 2, 48000, 24, false},
                                   ReanalysedFile{"stereofloat", 2, 48000, 32, true}}) {
        TempDirectory base;
        std::filesystem::create_directories(base.file("logs"));
        writeWav(base.file("logs/1000.wav"), f.channels, f.rate, f.bits, f.isFloat,
                 sine(1000, 0.3, 1.0, f.rate, f.channels));
        const ProgramRun run = runOnSimulatedPc(
            withSetting(kThreeTones, "kvormicrophone.FrequencyAnalysisWaveFile.value=1000.wav"), "",
            base);
        EXPECT_EQ(run.exitCode, 0) << f.name;
        EXPECT_TRUE(run.raised().empty()) << f.name;
    }
}

TEST(FrequencyToneTestE2E, ReanalysisJudgesOnlyTheLastFortyPercentOfTheRecording) {
    // A loud 3000 Hz start (the speaker settling) for 60 %, then a soft 1000 Hz tone.
    std::vector<double> samples = sine(3000, 0.5, 0.6, 48000, 2);
    const std::vector<double> tail = sine(1000, 0.1, 0.4, 48000, 2);
    samples.insert(samples.end(), tail.begin(), tail.end());
    for (const auto& [name, exitCode] : {std::pair{"1000.wav", 0}, std::pair{"3000.wav", 1}}) {
        TempDirectory base;
        std::filesystem::create_directories(base.file("logs"));
        writeWav(base.file("logs/") + name, 2, 48000, 16, false, samples);
        const ProgramRun run = runOnSimulatedPc(
            withSetting(kThreeTones,
                        std::string("kvormicrophone.FrequencyAnalysisWaveFile.value=") + name),
            "", base);
        EXPECT_EQ(run.exitCode, exitCode) << name;
    }
}

TEST(FrequencyToneTestE2E, RefusedPlaybackFailsThatToneOnly) {
    nlohmann::json machine = scenarioMachine("healthy-laptop");
    endpointOf(machine, "speakers")["faults"] = {{"playFailures", 1}};
    TempDirectory base;
    const ProgramRun run = runOnMachine(kThreeTones, machine, base);
    EXPECT_EQ(run.exitCode, 1);
    ASSERT_EQ(run.events("FAIL_FREQUENCY_TONE_TEST").size(), 1u);
    EXPECT_EQ(run.events("FAIL_FREQUENCY_TONE_TEST")[0]["variables"]["frequencies"], "440");
}

TEST(FrequencyToneTestE2E, EveryOutcomeEndsWithItsResultAndRaisesItsEventsWithTheirSeverities) {
    struct Case {
        const char* scenario;
        int exitCode;
        std::vector<std::string> raised;
    };
    const std::string tone = "info MSG_CURRENT_FREQ";
    for (const Case& c : {
             Case{"", 0, {tone, tone, tone}},
             Case{"dead-microphone", 1, {tone, tone, tone, "error FAIL_FREQUENCY_TONE_TEST"}},
             Case{"unplug-during-run", 2, {tone, tone, "warning MSG_NO_MICROPHONE"}},
             Case{"no-speaker", 2, {"warning MSG_NO_SPEAKER"}},
             Case{"no-microphone", 2, {"warning MSG_NO_MICROPHONE"}},
             Case{"windows-vista", 3, {}},
             Case{"no-16bit-stereo-playback", 4, {"warning DEVICE_MISCONFIGURED"}},
             Case{"capture-fails-once", 4, {tone, "warning DEVICE_MISCONFIGURED"}},
             Case{"interrupted-capture", 4, {tone, "warning DEVICE_MISCONFIGURED"}},
             Case{"stop-request", 6, {tone}},
         }) {
        TempDirectory base;
        const ProgramRun run = runOnSimulatedPc(kThreeTones, c.scenario, base);
        EXPECT_EQ(run.exitCode, c.exitCode) << c.scenario;
        EXPECT_EQ(run.raised(), c.raised) << c.scenario;
    }
}

TEST(FrequencyToneTestE2E, ReanalysisOfAMissingOrMisnamedFileCannotRun) {
    TempDirectory base;
    for (const char* name : {"kvormicrophone.FrequencyAnalysisWaveFile.value=777.wav",
                             "kvormicrophone.FrequencyAnalysisWaveFile.value=notes.txt"}) {
        const ProgramRun run = runOnSimulatedPc(withSetting(kThreeTones, name), "", base);
        EXPECT_EQ(run.exitCode, 4) << name;
        EXPECT_EQ(run.events("DEVICE_MISCONFIGURED").size(), 1u) << name;
    }
}

TEST(FrequencyToneTestE2E, FrequencyListOutsideTwentyToTwentyThousandOrMalformedIsBadParams) {
    // 4294967736 is 440 once wrapped to 32 bits.
    for (const char* list :
         {"19", "20001", "abc", "", ",", "440, 1000", "-440", "+440", "4294967736"}) {
        TempDirectory base;
        const ProgramRun run = runOnSimulatedPc(
            {"FrequencyToneTest", "--param", std::string("FrequencyList=") + list}, "", base);
        EXPECT_EQ(run.exitCode, 5) << '"' << list << '"';
        EXPECT_EQ(run.events("MSG_BAD_FREQ_INPUT").size(), 1u) << '"' << list << '"';
    }
    // Empty tokens are dropped, as a tokenizer does: "440,," is the list 440.
    for (const char* list : {"20", "20000", "440,,"}) {
        TempDirectory base;
        const ProgramRun run = runOnSimulatedPc(
            {"FrequencyToneTest", "--param", std::string("FrequencyList=") + list}, "", base);
        EXPECT_NE(run.exitCode, 5) << list;
        EXPECT_TRUE(run.events("MSG_BAD_FREQ_INPUT").empty()) << list;
    }
}

TEST(FrequencyToneTestE2E, StopDuringACaptureIsUserAbortedWithNothingAnalysedOrSaved) {
    // The stop comes while the first tone is recorded: as the only tone and before a second one.
    for (const char* list : {"FrequencyList=440", "FrequencyList=440,1000"}) {
        TempDirectory base;
        const ProgramRun run =
            runOnSimulatedPc({"FrequencyToneTest", "--param", list}, "stop-during-capture", base);
        EXPECT_EQ(run.exitCode, 6) << list;
        EXPECT_EQ(run.report["tests"][0]["result"], "USERABORTED") << list;
        EXPECT_TRUE(run.events("FAIL_FREQUENCY_TONE_TEST").empty()) << list;
        EXPECT_EQ(run.events("MSG_CURRENT_FREQ").size(), 1u) << list;
        EXPECT_FALSE(run.hasLogFile("440.wav")) << list;
        EXPECT_TRUE(run.report["tests"][0]["files"].empty()) << list;
        EXPECT_FALSE(run.logContains("Is recording successful")) << list;
    }
}

TEST(FrequencyToneTestE2E, OffendingDriversSelectTheLegacyWaveInterface) {
    const std::string legacy = "Found an offending driver. Using windows legacy audio API";
    for (const auto& [scenario, expected] :
         {std::pair{"offending-driver", true}, std::pair{"sst-card", true},
          std::pair{"newer-realtek-driver", false}, std::pair{"", false}}) {
        TempDirectory base;
        const ProgramRun run = runOnSimulatedPc(kThreeTones, scenario, base);
        EXPECT_EQ(run.exitCode, 0) << scenario;
        EXPECT_EQ(run.logContains(legacy), expected) << scenario;
        // The engine that ran is the one chosen.
        EXPECT_EQ(run.logContains("Entering FrequencyToneTestLegacy::FrequencyToneTestLegacy()"),
                  expected)
            << scenario;
    }
}

}  // namespace
}  // namespace kvo::test
