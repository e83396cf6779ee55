#include <gtest/gtest.h>

#include "ProgramRun.hpp"
#include "Sox.hpp"
#include "support/ShellQuote.hpp"

namespace kvo::test {
namespace {

TEST(MeasurementE2E, DeadSilentAndNoisyMicrophonesFailWithTheSameEventButSayDifferentlyWhy) {
    struct Case {
        const char* scenario;
        std::vector<std::string> shown;  // on every check's line
    };
    for (const Case& c : {
             Case{"dead-microphone", {"found nothing  -150.0 dBFS  FAIL (no signal)"}},
             Case{"silent-speaker", {"FAIL (tone not heard above the noise, low SNR)"}},
             // The 50 Hz hum is found instead of the tone, and drives the capture into clipping.
             Case{"noisy-microphone",
                  {"found 49.8 Hz", "samples clipped",
                   "FAIL (clipping, wrong frequency found, low SNR)"}},
         }) {
        SCOPED_TRACE(c.scenario);
        TempDirectory base;
        const std::string out =
            runProgram({"run", "FrequencyToneTest", "--param", "FrequencyList=440,1000", "--audio",
                        "sim", "--machine", scenarioFile(c.scenario), "--base-dir", base.path()},
                       base)
                .out;
        // The verdict and its event are the same everywhere.
        EXPECT_NE(out.find("FAIL_FREQUENCY_TONE_TEST: These tones were not heard by the "
                           "integrated microphones (Hz): 440 1000"),
                  std::string::npos)
            << out;
        std::size_t checks = 0;
        for (const std::string& line : textLines(out)) {
            if (line.find(" Hz  mic \"") != std::string::npos) {
                ++checks;
                for (const std::string& shown : c.shown) {
                    EXPECT_NE(line.find(shown), std::string::npos) << line;
                }
            }
        }
        EXPECT_EQ(checks, 4u) << out;
    }
}

TEST(MeasurementE2E, AmplitudeCheckReportsTheFourLevelsTheThresholdsAndTheBoost) {
    const ProgramRun run = runOnSimulatedPc({"IntegratedMicrophoneTest"});
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    // Its JUnit file: the result and the one check, both passed.
    EXPECT_NE(run.junit.find("tests=\"2\" failures=\"0\" errors=\"0\" skipped=\"0\""),
              std::string::npos)
        << run.junit;
    const auto checks = run.measurements();
    ASSERT_EQ(checks.size(), 1u);
    const nlohmann::json& figures = checks[0]["measurement"];
    EXPECT_EQ(checks[0]["kind"], "amplitude");
    EXPECT_TRUE(checks[0]["passed"].get<bool>());
    // The laptop's capture range is -34.5 to +12 dB; its one boost stage goes from 10 to 30 dB.
    EXPECT_DOUBLE_EQ(figures["volumeRangeDb"].get<double>(), 46.5);
    EXPECT_NEAR(figures["passingGainDb"].get<double>(), 0.3 * 46.5, 1e-5);
    EXPECT_EQ(figures["boostStages"].get<double>(), 1.0);
    EXPECT_DOUBLE_EQ(figures["boostGainDb"].get<double>(), 20.0);
    EXPECT_GT(figures["gainDb"].get<double>(), figures["passingGainDb"].get<double>());
    EXPECT_GT(figures["loudIncrease"].get<double>(), figures["silenceThreshold"].get<double>());
    EXPECT_NEAR(figures["unmutedLoudDbfs"].get<double>(),
                20.0 * std::log10(figures["unmutedLoudStdDev"].get<double>() / 32768.0), 1e-9);

    const ProgramRun dead = runOnSimulatedPc({"IntegratedMicrophoneTest"}, "dead-microphone");
    EXPECT_EQ(dead.exitCode, 1);
    ASSERT_EQ(dead.measurements().size(), 1u);
    EXPECT_EQ(dead.measurements()[0]["diagnosis"], "no signal");
}

TEST(MeasurementE2E, FrequenciesBetweenAnalysisBinsAreNotedBeforePlayingAndStillFail) {
    const ProgramRun run = runOnSimulatedPc(tones("200,446,1000"));
    EXPECT_EQ(run.exitCode, 1);
    ASSERT_EQ(run.events("FAIL_FREQUENCY_TONE_TEST").size(), 1u);
    EXPECT_EQ(run.events("FAIL_FREQUENCY_TONE_TEST")[0]["variables"]["frequencies"], "200 446");
    // Noted before the first tone is played.
    std::vector<std::string> notes;
    for (const nlohmann::json& line : run.lines) {
        if (line["type"] == "event" && line["key"] == "MSG_CURRENT_FREQ") {
            break;
        }
        if (line["type"] == "note") {
            notes.push_back(line["text"]);
        }
    }
    ASSERT_EQ(notes.size(), 2u) << run.out;
    EXPECT_EQ(notes[0].rfind("200 Hz lies between two analysis bins at 48000", 0), 0u) << notes[0];
    EXPECT_EQ(run.report["tests"][0]["notes"], nlohmann::json(notes));
}

TEST(MeasurementE2E, LevelsOfASoxGeneratedToneInNoiseMatchSoxStatsWithinATenthOfADecibel) {
    TempDirectory base;
    // A 1 kHz sine at a quarter of full scale (RMS -15.05 dBFS) and uniform
    // white noise at 1% of full scale (RMS -44.77 dBFS), mixed without dither.
    const std::string tone = base.file("tone.wav");
    const std::string noise = base.file("noise.wav");
    const std::string mixed = base.file("1000.wav");
    soxMake(tone, "-r 48000 -b 16 -c 2", "synth 1 sine 1000 vol 0.25");
    soxMake(noise, "-r 48000 -b 16 -c 2", "synth 1 whitenoise vol 0.01");
    outputOf("sox -D -m -v 1 " + shellQuoted(tone) + " -v 1 " + shellQuoted(noise) + " " +
             shellQuoted(mixed));
    const ProgramRun run = runProgram({"analyze", mixed, "--json"}, base);
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    const auto checks = run.measurements();
    ASSERT_EQ(checks.size(), 2u);
    // The analysis judges what follows the first 60 % of the second.
    const std::vector<double> peak = soxStats(mixed, "Pk lev dB", 28800);
    const std::vector<double> rms = soxStats(mixed, "RMS lev dB", 28800);
    ASSERT_EQ(peak.size(), 3u);
    ASSERT_EQ(rms.size(), 3u);
    for (std::size_t channel = 0; channel < 2; ++channel) {
        const nlohmann::json& figures = checks[channel]["measurement"];
        EXPECT_NEAR(figures["peakDbfs"].get<double>(), peak[channel + 1], 0.1);
        EXPECT_NEAR(figures["rmsDbfs"].get<double>(), rms[channel + 1], 0.1);
        // And what was mixed in: the tone's level and its distance from the noise.
        EXPECT_NEAR(figures["toneDbfs"].get<double>(), -15.05, 0.1);
        EXPECT_NEAR(figures["noiseFloorDbfs"].get<double>(), -44.77, 0.3);
        EXPECT_NEAR(figures["snrDb"].get<double>(), 29.72, 0.3);
        EXPECT_EQ(figures["clippedSamples"].get<double>(), 0.0);
    }
}

}  // namespace
}  // namespace kvo::test
