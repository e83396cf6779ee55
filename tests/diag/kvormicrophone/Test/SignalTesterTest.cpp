#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "common/libAudio-common/PCMSupport.hpp"
#include "diag/kvormicrophone/Test/SignalAnalyzer.hpp"
#include "diag/kvormicrophone/Test/SignalTester.hpp"

namespace kvormicrophone {
namespace {

// A capture of the tone test: `seconds` of a tone per channel, its front 60% cut.
libAudio::StaticPCMBuffer toneCapture(std::uint16_t channels, std::uint32_t rate, double seconds,
                                      double left, double right) {
    libAudio::StaticPCMBuffer buffer;
    EXPECT_TRUE(
        libAudio::createPCMBuffer(audio::makePcmFormat(channels, rate, 16), seconds, buffer));
    EXPECT_TRUE(libAudio::createSinusoid(0, 16383, left, buffer));
    if (channels > 1) {
        EXPECT_TRUE(libAudio::createSinusoid(1, 16383, right, buffer));
    }
    EXPECT_TRUE(buffer.truncateFront(buffer.duration() * 0.6f));
    return buffer;
}

struct Recording : RecordingSource {
    explicit Recording(libAudio::StaticPCMBuffer buffer) : buffer(std::move(buffer)) {}
    const libAudio::StaticPCMBuffer& recording() const override { return buffer; }
    libAudio::StaticPCMBuffer buffer;
};

// A tone missed on either channel, and the tolerance around a tone, fail the end-to-end
// runs' checks; the exact edge of the tolerance and the signals refused are only seen here.
TEST(SignalAnalyzer, RefusesEmptySignalsAndMoreThanTwoChannels) {
    SignalAnalyzer analyzer;
    kvo::Array<SignalProperty> properties;
    libAudio::StaticPCMBuffer empty;
    ASSERT_TRUE(libAudio::createPCMBuffer(audio::makePcmFormat(2, 48000, 16), 0.0, empty));
    EXPECT_FALSE(analyzer.signalProperty(empty, properties));
    EXPECT_FALSE(analyzer.signalProperty(libAudio::StaticPCMBuffer{}, properties));
    libAudio::StaticPCMBuffer surround;
    ASSERT_TRUE(libAudio::createPCMBuffer(audio::makePcmFormat(3, 48000, 16), 0.1, surround));
    EXPECT_FALSE(analyzer.signalProperty(surround, properties));
    EXPECT_EQ(properties.size(), 0u);
}

TEST(SignalTester, ExactToleranceEdgesOfARealRecording) {
    const Recording recording(toneCapture(2, 48000, 1.0, 1000.0, 1500.0));
    SignalAnalyzer analyzer;
    kvo::Array<SignalProperty> properties;
    ASSERT_TRUE(analyzer.signalProperty(recording.buffer, properties));
    const double upper = properties[1].dominantFrequency + properties[1].tolerance;
    SignalTester tester(&recording);
    CurrentTone tone{1000.0, upper};
    const CurrentTone* const expected = &tone;
    EXPECT_TRUE(tester.isSignalValid(expected));
    tone.right = std::nextafter(upper, 1e9);
    EXPECT_FALSE(tester.isSignalValid(expected));
}

}  // namespace
}  // namespace kvormicrophone
