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

TEST(SignalAnalyzer, OnePropertyPerChannelFromTheTransform) {
    const libAudio::StaticPCMBuffer stereo = toneCapture(2, 48000, 1.0, 1000.0, 1500.0);
    SignalAnalyzer analyzer;
    kvo::Array<SignalProperty> properties;
    ASSERT_TRUE(analyzer.signalProperty(stereo, properties));
    ASSERT_EQ(properties.size(), 2u);
    // 19200 frames pad to 32768: bins of 48000 / 32768 Hz, and 1500 Hz is bin 1024.
    EXPECT_EQ(properties[1].dominantFrequency, 1500.0);
    EXPECT_NEAR(properties[0].dominantFrequency, 1000.0, 48000.0 / 32768);
    for (const SignalProperty& property : properties) {
        EXPECT_EQ(property.tolerance, 32768 / 48000.0);
    }
}

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

TEST(SignalTester, AToneMissedOnEitherChannelFails) {
    const Recording recording(toneCapture(2, 48000, 1.0, 1000.0, 1500.0));
    SignalTester tester(&recording);
    for (const CurrentTone tone : {CurrentTone{1000.0, 1600.0}, CurrentTone{900.0, 1500.0}}) {
        const CurrentTone* const expected = &tone;
        EXPECT_FALSE(tester.isSignalValid(expected)) << tone.left << " " << tone.right;
    }
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
