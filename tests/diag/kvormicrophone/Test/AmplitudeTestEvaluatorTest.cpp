#include "diag/kvormicrophone/Test/AmplitudeTestEvaluator.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "platform/audio/WaveFormat.hpp"

namespace kvormicrophone {
namespace {

using Checks = AmplitudeTestEvaluator::Checks;

TEST(AmplitudeChecks, ControlWithoutRangeAlwaysFailsTheLoudestCheck) {
    // R = 0: the silence threshold is A3 itself, so A3 - A1 > A3 needs A1 < 0.
    const Checks checks = AmplitudeTestEvaluator::checkAmplitudes(0.0F, 0.0, 10.0, 5000.0);
    EXPECT_TRUE(checks.muted);
    EXPECT_FALSE(checks.loudest);
    EXPECT_FALSE(checks.passed());
}

TEST(AmplitudeChecks, PassingGainIsThirtyPercentOfTheRangeCappedAtThirtyDb) {
    // R = 50 dB: passing level 15 dB. A3/A2 = 10^(15.1/20) passes, 10^(14.9/20) does not.
    const double a2 = 100.0;
    EXPECT_TRUE(
        AmplitudeTestEvaluator::checkAmplitudes(50.0F, 1.0, a2, a2 * std::pow(10.0, 15.1 / 20))
            .unmuted);
    EXPECT_FALSE(
        AmplitudeTestEvaluator::checkAmplitudes(50.0F, 1.0, a2, a2 * std::pow(10.0, 14.9 / 20))
            .unmuted);
    // R = 120 dB would need 36 dB without the cap; R = 100 dB needs 30 dB.
    EXPECT_TRUE(
        AmplitudeTestEvaluator::checkAmplitudes(120.0F, 1.0, a2, a2 * std::pow(10.0, 30.1 / 20))
            .unmuted);
    EXPECT_FALSE(
        AmplitudeTestEvaluator::checkAmplitudes(100.0F, 1.0, a2, a2 * std::pow(10.0, 29.9 / 20))
            .unmuted);
}

TEST(AmplitudeChecks, LoudestCheckComparesTheDifferenceWithTheLevelRangeDbBelow) {
    // R = 40 dB: silence is A3 / 100. A3 = 1000: A1 = 989 leaves 11 > 10, A1 = 991 leaves 9.
    EXPECT_TRUE(AmplitudeTestEvaluator::checkAmplitudes(40.0F, 989.0, 10.0, 1000.0).loudest);
    EXPECT_FALSE(AmplitudeTestEvaluator::checkAmplitudes(40.0F, 991.0, 10.0, 1000.0).loudest);
}

TEST(AmplitudeChecks, DigitalSilenceAsTheSoftestRecordingNeedsOnlyALouderOne) {
    const Checks passing = AmplitudeTestEvaluator::checkAmplitudes(46.5F, 0.0, 0.0, 3.0);
    EXPECT_TRUE(passing.unmuted);
    EXPECT_TRUE(passing.passed());
    // Unmuted silence with a failed loudest check fails both.
    const Checks failing = AmplitudeTestEvaluator::checkAmplitudes(0.0F, 0.0, 0.0, 3.0);
    EXPECT_FALSE(failing.unmuted);
    // Silence everywhere is no microphone at all.
    EXPECT_FALSE(AmplitudeTestEvaluator::checkAmplitudes(46.5F, 0.0, 0.0, 0.0).passed());
}

libAudio::StaticPCMBuffer recording(std::size_t bytes) {
    libAudio::StaticPCMBuffer buffer;
    buffer.format.Format = audio::makePcmFormat(2, 44100, 16);
    buffer.pcmStorage.resize(bytes);
    return buffer;
}

TEST(Amplitude, SkipsTheFirstTwoAndAHalfSecondsInWholeFrames) {
    // 44100 Hz stereo: 2.5 s is 110250 frames of 4 bytes.
    libAudio::StaticPCMBuffer buffer = recording(441000 + 4 * 2);
    auto* samples = reinterpret_cast<std::int16_t*>(buffer.pcmStorage.data());
    samples[0] = 30000;  // inside the skipped part: ignored
    samples[110250 * 2] = 100;
    samples[110250 * 2 + 2] = -100;
    EXPECT_DOUBLE_EQ(AmplitudeTestEvaluator::amplitude(buffer), 100.0);
}

TEST(AmplitudeDeathTest, NotMoreThanTheSkippedPartIsAnAssertion) {
    const libAudio::StaticPCMBuffer buffer = recording(441000);
    EXPECT_EXIT(AmplitudeTestEvaluator::amplitude(buffer), testing::ExitedWithCode(7),
                "Assertion failed: \"Not enough signal to analyze\" && hasEnoughSignal");
}

}  // namespace
}  // namespace kvormicrophone
