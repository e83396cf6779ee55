#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "ProgramRun.hpp"

namespace kvo::test {
namespace {

const std::vector<std::string> kTwoTones{"FrequencyToneTest", "--param", "FrequencyList=440,1000"};

// The lines of a text run that show one check's figures.
std::vector<std::string> checkLines(const std::string& output) {
    std::vector<std::string> lines;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
        if (line.find(" Hz  mic \"") != std::string::npos) {
            lines.push_back(line);
        }
    }
    return lines;
}

TEST(MeasurementE2E, HealthyLaptopShowsEveryToneCheckWithItsFiguresInOutputAndReport) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(kTwoTones, "", base);
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    const auto checks = run.measurements();
    ASSERT_EQ(checks.size(), 4u);  // two tones, two channels
    const char* expected[] = {"440", "440", "1000", "1000"};
    for (std::size_t i = 0; i < checks.size(); ++i) {
        const nlohmann::json& figures = checks[i]["measurement"];
        SCOPED_TRACE(checks[i].dump());
        EXPECT_EQ(checks[i]["kind"], "tone");
        EXPECT_TRUE(checks[i]["passed"].get<bool>());
        EXPECT_EQ(checks[i]["diagnosis"], "");
        EXPECT_EQ(checks[i]["subject"]["channel"], i % 2 == 0 ? "L" : "R");
        EXPECT_EQ(figures["expectedHz"].get<double>(), std::stod(expected[i]));
        EXPECT_LE(std::abs(figures["foundHz"].get<double>() - figures["expectedHz"].get<double>()),
                  figures["toleranceHz"].get<double>());
        EXPECT_DOUBLE_EQ(figures["binWidthHz"].get<double>(), 48000.0 / 32768.0);
        // The path's gain puts the tone near -31 dBFS, the microphone's noise
        // at full gain near -58 dBFS.
        EXPECT_NEAR(figures["rmsDbfs"].get<double>(), -31.5, 1.5);
        EXPECT_NEAR(figures["noiseFloorDbfs"].get<double>(), -58.0, 2.0);
        EXPECT_GT(figures["snrDb"].get<double>(), 20.0);
        EXPECT_LT(figures["thdnDb"].get<double>(), -20.0);
        EXPECT_EQ(figures["clippedSamples"].get<double>(), 0.0);
    }
    const nlohmann::json& reported = run.report["tests"][0]["checks"];
    ASSERT_EQ(reported.size(), checks.size());
    for (std::size_t i = 0; i < checks.size(); ++i) {
        EXPECT_EQ(reported[i]["check"], checks[i]["check"]);
        EXPECT_EQ(reported[i]["measurement"], checks[i]["measurement"]);
    }
}

TEST(MeasurementE2E, DeadSilentAndNoisyMicrophonesFailWithTheSameEventButSayDifferentlyWhy) {
    std::map<std::string, std::string> outputs;
    for (const char* scenario : {"dead-microphone", "silent-speaker", "noisy-microphone"}) {
        TempDirectory base;
        outputs[scenario] = textOfRunOnSimulatedPc(kTwoTones, scenario, base);
        // The verdict and its event are the same everywhere.
        EXPECT_NE(outputs[scenario].find("FAIL_FREQUENCY_TONE_TEST: These tones were not heard by "
                                         "the integrated microphones (Hz): 440 1000"),
                  std::string::npos)
            << outputs[scenario];
        EXPECT_EQ(checkLines(outputs[scenario]).size(), 4u) << outputs[scenario];
    }
    for (const std::string& line : checkLines(outputs["dead-microphone"])) {
        EXPECT_NE(line.find("-150.0 dBFS"), std::string::npos) << line;
        EXPECT_NE(line.find("FAIL (no signal)"), std::string::npos) << line;
    }
    for (const std::string& line : checkLines(outputs["silent-speaker"])) {
        EXPECT_NE(line.find("FAIL (tone not heard above the noise, low SNR)"), std::string::npos)
            << line;
    }
    for (const std::string& line : checkLines(outputs["noisy-microphone"])) {
        // The 50 Hz hum is found instead of the tone, and drives the capture into clipping.
        EXPECT_NE(line.find("found 49.8 Hz"), std::string::npos) << line;
        EXPECT_NE(line.find("samples clipped"), std::string::npos) << line;
        EXPECT_NE(line.find("FAIL (clipping, wrong frequency found, low SNR)"), std::string::npos)
            << line;
    }
}

TEST(MeasurementE2E, ReanalysedFileGetsTheSameFiguresAsTheCheckThatSavedIt) {
    TempDirectory base;
    const ProgramRun run =
        runOnSimulatedPc({"FrequencyToneTest", "--param", "FrequencyList=1000", "--setting",
                          "kvormicrophone.GenerateRecording.value=true"},
                         "", base);
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    const auto recorded = run.measurements();
    ASSERT_EQ(recorded.size(), 2u);
    EXPECT_EQ(recorded[0]["subject"]["file"], "1000.wav");

    const ProgramRun again =
        runOnSimulatedPc({"FrequencyToneTest", "--setting",
                          "kvormicrophone.FrequencyAnalysisWaveFile.value=1000.wav"},
                         "", base);
    ASSERT_EQ(again.exitCode, 0) << again.errors;
    const auto reanalysed = again.measurements();
    ASSERT_EQ(reanalysed.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(reanalysed[i]["check"], "1000 Hz  file \"1000.wav\" " +
                                              recorded[i]["subject"]["channel"].get<std::string>());
        EXPECT_EQ(reanalysed[i]["measurement"], recorded[i]["measurement"]);
    }
}

TEST(MeasurementE2E, AmplitudeCheckReportsTheFourLevelsTheThresholdsAndTheBoost) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc({"IntegratedMicrophoneTest"}, "", base);
    ASSERT_EQ(run.exitCode, 0) << run.errors;
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

    TempDirectory deadBase;
    const ProgramRun dead =
        runOnSimulatedPc({"IntegratedMicrophoneTest"}, "dead-microphone", deadBase);
    EXPECT_EQ(dead.exitCode, 1);
    ASSERT_EQ(dead.measurements().size(), 1u);
    EXPECT_FALSE(dead.measurements()[0]["passed"].get<bool>());
    EXPECT_EQ(dead.measurements()[0]["diagnosis"], "no signal");
}

}  // namespace
}  // namespace kvo::test
