#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <tuple>
#include <vector>

#include "platform/audio/SampleCodec.hpp"

namespace audio {
namespace {

constexpr SampleLayout kPcm8{1, false};
constexpr SampleLayout kPcm24{3, false};
constexpr SampleLayout kPcm32{4, false};
constexpr SampleLayout kFloat32{4, true};
constexpr SampleLayout kFloat64{8, true};

using Bytes = std::vector<unsigned char>;

template <typename T>
Bytes bytesOf(T value) {
    Bytes bytes(sizeof value);
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

// The lowest bit of each width is kept, not rounded away.
TEST(SampleCodec, FullScaleReadsAreExactForEveryWidth) {
    const std::vector<std::tuple<Bytes, SampleLayout, double>> cases{
        {{0x00}, kPcm8, -1.0},
        {{0x80}, kPcm8, 0.0},
        {{0xFF}, kPcm8, 127.0 / 128.0},
        {{0x00, 0x40}, kPcm16, 0.5},
        {{0x00, 0x80}, kPcm16, -1.0},
        {{0x01, 0x00, 0x00}, kPcm24, 1.0 / 8388608.0},
        {{0x00, 0x00, 0x80}, kPcm24, -1.0},
        {{0x01, 0x00, 0x00, 0x00}, kPcm32, 1.0 / 2147483648.0},
        {{0xFF, 0xFF, 0xFF, 0xFF}, kPcm32, -1.0 / 2147483648.0},
        {bytesOf(-0.375F), kFloat32, -0.375},
        {bytesOf(1.25), kFloat64, 1.25},
    };
    for (const auto& [bytes, layout, value] : cases) {
        EXPECT_EQ(readSample(bytes.data(), layout), value)
            << layout.bytes << " bytes, float " << layout.isFloat << ", first " << int{bytes[0]};
    }
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
    for (const auto& [value, expected] :
         std::vector<std::pair<double, std::int16_t>>{{0.5 / 32768.0, 0},
                                                      {1.5 / 32768.0, 2},
                                                      {-0.6 / 32768.0, -1},
                                                      {3.0, 32767},
                                                      {-3.0, -32768}}) {
        unsigned char bytes[2] = {};
        writeSample(bytes, kPcm16, value);
        EXPECT_EQ(readSample16(bytes, kPcm16), expected) << value;
    }
}

}  // namespace
}  // namespace audio
