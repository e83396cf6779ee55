#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <vector>

#include "platform/audio/SampleCodec.hpp"

namespace audio {
namespace {

constexpr SampleLayout kPcm8{1, false};
constexpr SampleLayout kPcm24{3, false};
constexpr SampleLayout kPcm32{4, false};
constexpr SampleLayout kFloat32{4, true};
constexpr SampleLayout kFloat64{8, true};

std::vector<unsigned char> floatBytes(float value) {
    std::vector<unsigned char> bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

TEST(SampleCodec, LayoutsComeFromBitsAndOnlyTheFloatTagMakesFloat) {
    WAVEFORMATEX format = makePcmFormat(2, 48000, 24);
    EXPECT_EQ(sampleLayoutOf(format).bytes, 3U);
    EXPECT_FALSE(sampleLayoutOf(format).isFloat);
    format.wBitsPerSample = 32;
    format.wFormatTag = WAVE_FORMAT_IEEE_FLOAT;
    EXPECT_TRUE(sampleLayoutOf(format).isFloat);
    format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
    EXPECT_FALSE(sampleLayoutOf(format).isFloat);
}

TEST(SampleCodec, FullScaleReadsAreExactForEveryWidth) {
    const unsigned char low8[] = {0x00};
    const unsigned char mid8[] = {0x80};
    const unsigned char high8[] = {0xFF};
    EXPECT_EQ(readSample(low8, kPcm8), -1.0);
    EXPECT_EQ(readSample(mid8, kPcm8), 0.0);
    EXPECT_EQ(readSample(high8, kPcm8), 127.0 / 128.0);

    const unsigned char half16[] = {0x00, 0x40};
    const unsigned char min16[] = {0x00, 0x80};
    EXPECT_EQ(readSample(half16, kPcm16), 0.5);
    EXPECT_EQ(readSample(min16, kPcm16), -1.0);

    // The lowest bit of each width is kept, not rounded away.
    const unsigned char lsb24[] = {0x01, 0x00, 0x00};
    const unsigned char min24[] = {0x00, 0x00, 0x80};
    EXPECT_EQ(readSample(lsb24, kPcm24), 1.0 / 8388608.0);
    EXPECT_EQ(readSample(min24, kPcm24), -1.0);
    const unsigned char lsb32[] = {0x01, 0x00, 0x00, 0x00};
    const unsigned char minus32[] = {0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(readSample(lsb32, kPcm32), 1.0 / 2147483648.0);
    EXPECT_EQ(readSample(minus32, kPcm32), -1.0 / 2147483648.0);

    EXPECT_EQ(readSample(floatBytes(-0.375F).data(), kFloat32), -0.375);
    const double wide = 1.25;
    unsigned char wideBytes[sizeof wide];
    std::memcpy(wideBytes, &wide, sizeof wide);
    EXPECT_EQ(readSample(wideBytes, kFloat64), 1.25);
}

TEST(SampleCodec, SixteenBitReadsKeepTheTopBitsOfIntegersAndRoundFloats) {
    // 0x12347F and 0x1234FF both read as 0x1234: the bits below are cut, not rounded.
    const unsigned char justBelow[] = {0x7F, 0x34, 0x12};
    const unsigned char almostNext[] = {0xFF, 0x34, 0x12};
    EXPECT_EQ(readSample16(justBelow, kPcm24), 0x1234);
    EXPECT_EQ(readSample16(almostNext, kPcm24), 0x1234);
    const unsigned char negative32[] = {0xFF, 0xFF, 0x00, 0x80};
    EXPECT_EQ(readSample16(negative32, kPcm32), -32768);
    const unsigned char unsigned8[] = {0x81};
    EXPECT_EQ(readSample16(unsigned8, kPcm8), 256);

    EXPECT_EQ(readSample16(floatBytes(0.5F / 32768.0F).data(), kFloat32), 1) << "half rounds up";
    EXPECT_EQ(readSample16(floatBytes(-0.5F / 32768.0F).data(), kFloat32), 0);
    EXPECT_EQ(readSample16(floatBytes(2.0F).data(), kFloat32), 32767);
    EXPECT_EQ(readSample16(floatBytes(-2.0F).data(), kFloat32), -32768);
    EXPECT_EQ(readSample16(floatBytes(std::numeric_limits<float>::quiet_NaN()).data(), kFloat32),
              0);
}

TEST(SampleCodec, SixteenBitWritesWidenNarrowAndComeBackUnchanged) {
    const std::array<SampleLayout, 5> exact = {kPcm16, kPcm24, kPcm32, kFloat32, kFloat64};
    for (const SampleLayout layout : exact) {
        for (const std::int16_t value : {std::int16_t{-32768}, std::int16_t{-1}, std::int16_t{0},
                                         std::int16_t{1234}, std::int16_t{32767}}) {
            unsigned char bytes[8] = {};
            writeSample16(bytes, layout, value);
            EXPECT_EQ(readSample16(bytes, layout), value)
                << layout.bytes << " bytes, float " << layout.isFloat;
            EXPECT_EQ(readSample(bytes, layout), value / 32768.0);
        }
    }
    unsigned char wide[3] = {0xAA, 0xAA, 0xAA};
    writeSample16(wide, kPcm24, 0x1234);
    EXPECT_EQ(wide[0], 0x00) << "zero bits below";
    EXPECT_EQ(wide[1], 0x34);
    EXPECT_EQ(wide[2], 0x12);
    unsigned char narrow[1] = {};
    writeSample16(narrow, kPcm8, -32768);
    EXPECT_EQ(narrow[0], 0x00);
    writeSample16(narrow, kPcm8, 0x12FF);
    EXPECT_EQ(narrow[0], 0x80 + 0x12);
}

TEST(SampleCodec, FullScaleWritesRoundToNearestEvenAndClip) {
    unsigned char bytes[2] = {};
    writeSample(bytes, kPcm16, 0.5 / 32768.0);
    EXPECT_EQ(readSample16(bytes, kPcm16), 0);
    writeSample(bytes, kPcm16, 1.5 / 32768.0);
    EXPECT_EQ(readSample16(bytes, kPcm16), 2);
    writeSample(bytes, kPcm16, -0.6 / 32768.0);
    EXPECT_EQ(readSample16(bytes, kPcm16), -1);
    writeSample(bytes, kPcm16, 3.0);
    EXPECT_EQ(readSample16(bytes, kPcm16), 32767);
    writeSample(bytes, kPcm16, -3.0);
    EXPECT_EQ(readSample16(bytes, kPcm16), -32768);
}

}  // namespace
}  // namespace audio
