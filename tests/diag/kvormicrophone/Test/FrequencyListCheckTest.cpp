#include <gtest/gtest.h>

#include "common/libAudio-common/PCMSupport.hpp"
#include "diag/kvormicrophone/Test/FrequencyListCheck.hpp"
#include "diag/kvormicrophone/Test/SignalTester.hpp"

namespace kvormicrophone {
namespace {

// What the tone test's own analysis decides for a pure tone captured at `rate`.
bool analysisPasses(std::uint32_t hz, std::uint32_t rate) {
    libAudio::StaticPCMBuffer capture;
    EXPECT_TRUE(libAudio::createPCMBuffer(audio::makePcmFormat(1, rate, 16), 1.0, capture));
    EXPECT_TRUE(libAudio::createSinusoid(0, 16383, hz, capture));
    EXPECT_TRUE(capture.truncateFront(capture.duration() * 0.6f));
    SignalAnalyzer analyzer;
    kvo::Array<SignalProperty> properties;
    EXPECT_TRUE(analyzer.signalProperty(capture, properties));
    EXPECT_EQ(analyzer.fft().size(), transformLengthFor(rate));
    return SignalTester::isWithinTolerance(properties[0], hz);
}

TEST(FrequencyListCheck, PredictionAgreesWithTheAnalysisOfAPerfectToneOverTheWholeRange) {
    // At 44.1 kHz the window is wider than half a bin: every frequency passes. A stride of
    // 11 Hz drifts across every position between two bins without analysing every hertz.
    const std::pair<std::uint32_t, bool> rates[] = {{48000, true}, {44100, false}};
    for (const auto& [rate, someFail] : rates) {
        std::uint32_t failing = 0;
        for (std::uint32_t hz = 20; hz <= 20000; hz += 11) {
            const bool predicted = passesOnPerfectPath(hz, rate);
            ASSERT_EQ(predicted, analysisPasses(hz, rate)) << hz << " Hz at " << rate;
            failing += !predicted;
        }
        EXPECT_EQ(failing > 0, someFail) << rate;
    }
}

TEST(FrequencyListCheck, NoteNamesTheNearestPassingFrequenciesWithinTheRange) {
    EXPECT_EQ(perfectPathNote(1000, 48000, 20, 20000), "");
    EXPECT_EQ(perfectPathNote(446, 48000, 20, 20000),
              "446 Hz lies between two analysis bins at 48000 samples per second: it fails even "
              "on a perfect path; 445 Hz and 447 Hz pass");
    // 30 Hz fails; below it only 20 to 29 are allowed.
    ASSERT_FALSE(passesOnPerfectPath(30, 48000));
    EXPECT_NE(perfectPathNote(30, 48000, 30, 20000).find("; 31 Hz passes"), std::string::npos)
        << perfectPathNote(30, 48000, 30, 20000);
}

}  // namespace
}  // namespace kvormicrophone
