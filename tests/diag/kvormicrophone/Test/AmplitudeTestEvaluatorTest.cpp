#include "diag/kvormicrophone/Test/AmplitudeTestEvaluator.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "platform/audio/WaveFormat.hpp"

namespace kvormicrophone {
namespace {

// The loudest check: A3 - A1 must exceed A3 taken the level range R lower ("silence").
// The unmuted check: A3 against A2 must gain more than 30 % of R, at most 30 dB; when A2 is
// digital silence, A3 needs only to be louder and the loudest check to pass.
TEST(AmplitudeChecks, LoudestAndUnmutedChecksAtTheEdgesOfTheirThresholds) {
    struct Case {
        float range;
        double a1, a2, a3;
        bool loudest, unmuted;
    };
    const auto gained = [](double db) { return 100.0 * std::pow(10.0, db / 20); };
    for (const Case& c : {
             // R = 0: silence is A3 itself, so A3 - A1 > A3 needs A1 < 0.
             Case{0.0F, 0.0, 10.0, 5000.0, false, true},
             // R = 50 dB: 15 dB to gain; R = 120 dB would need 36 dB but for the cap.
             Case{50.0F, 1.0, 100.0, gained(15.1), true, true},
             Case{50.0F, 1.0, 100.0, gained(14.9), true, false},
             Case{120.0F, 1.0, 100.0, gained(30.1), true, true},
             Case{100.0F, 1.0, 100.0, gained(29.9), true, false},
             // R = 40 dB: silence is A3 / 100 = 10; A1 = 989 leaves 11, A1 = 991 leaves 9.
             Case{40.0F, 989.0, 10.0, 1000.0, true, true},
             Case{40.0F, 991.0, 10.0, 1000.0, false, true},
             // Digital silence as the softest recording.
             Case{46.5F, 0.0, 0.0, 3.0, true, true}, Case{0.0F, 0.0, 0.0, 3.0, false, false},
             Case{46.5F, 0.0, 0.0, 0.0, false, false},  // silence everywhere: no microphone
         }) {
        SCOPED_TRACE(testing::Message()
                     << "R " << c.range << " A1 " << c.a1 << " A2 " << c.a2 << " A3 " << c.a3);
        const auto checks = AmplitudeTestEvaluator::checkAmplitudes(c.range, c.a1, c.a2, c.a3);
        EXPECT_EQ(checks.loudest, c.loudest);
        EXPECT_EQ(checks.unmuted, c.unmuted);
        EXPECT_EQ(checks.passed(), c.loudest && c.unmuted);
    }
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
