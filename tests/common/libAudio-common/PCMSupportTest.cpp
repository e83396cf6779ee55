#include "common/libAudio-common/PCMSupport.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

#include "support/CapturingLogSink.hpp"
#include "support/TempDirectory.hpp"

namespace libAudio {
namespace {

const audio::WAVEFORMATEX kStereo44k = audio::makePcmFormat(2, 44100, 16);

std::int16_t sampleAt(const StaticPCMBuffer& buffer, std::size_t index) {
    std::int16_t value;
    std::memcpy(&value, buffer.pcmStorage.data() + 2 * index, sizeof value);
    return value;
}

std::vector<unsigned char> readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(CreatePCMBuffer, BlockCountIsRoundedToNearest) {
    StaticPCMBuffer buffer;
    ASSERT_TRUE(createPCMBuffer(kStereo44k, 0.00001, buffer));  // 0.441 blocks
    EXPECT_EQ(buffer.numBlocks(), 0u);
    EXPECT_EQ(buffer.pcmStorage.data(), nullptr);

    const audio::WAVEFORMATEX mono8k = audio::makePcmFormat(1, 8000, 16);
    ASSERT_TRUE(createPCMBuffer(mono8k, 0.0000625, buffer));  // exactly 0.5 blocks
    EXPECT_EQ(buffer.numBlocks(), 1u);
    ASSERT_TRUE(createPCMBuffer(mono8k, 0.00018, buffer));  // 1.44 blocks
    EXPECT_EQ(buffer.numBlocks(), 1u);
}

TEST(CreatePCMBuffer, ByteCountBeyond32BitsIsAMismatch) {
    // 2^30 blocks of 4 bytes wrap to 0 bytes: nothing is allocated and the counts differ.
    StaticPCMBuffer buffer;
    EXPECT_FALSE(createPCMBuffer(kStereo44k, 1073741824.0 / 44100, buffer));
    EXPECT_EQ(buffer.pcmStorage.size(), 0u);
}

// A quarter-rate tone: zero, peak, zero, trough.
TEST(CreateSinusoid, EachChannelGetsItsOwnToneAndMonoIgnoresTheChannel) {
    StaticPCMBuffer stereo;
    ASSERT_TRUE(createPCMBuffer(audio::makePcmFormat(2, 8000, 16), 0.0005, stereo));  // 4 frames
    ASSERT_TRUE(createSinusoid(1, 10000, 2000.0, stereo));
    EXPECT_EQ(sampleAt(stereo, 1 * 2), 0);  // left untouched
    EXPECT_EQ(sampleAt(stereo, 1 * 2 + 1), 10000);
    ASSERT_TRUE(createSinusoid(0, 5000, 2000.0, stereo));
    EXPECT_EQ(sampleAt(stereo, 1 * 2), 5000);
    EXPECT_EQ(sampleAt(stereo, 1 * 2 + 1), 10000);  // right kept
    EXPECT_EQ(sampleAt(stereo, 3 * 2 + 1), -10000);

    StaticPCMBuffer mono;
    ASSERT_TRUE(createPCMBuffer(audio::makePcmFormat(1, 8000, 16), 0.0005, mono));
    ASSERT_TRUE(createSinusoid(1, 10000, 2000.0, mono));
    const std::vector<std::int16_t> samples{sampleAt(mono, 0), sampleAt(mono, 1), sampleAt(mono, 2),
                                            sampleAt(mono, 3)};
    EXPECT_EQ(samples, (std::vector<std::int16_t>{0, 10000, 0, -10000}));
}

TEST(CreateSinusoid, NarrowSamplesNeverWritePastTheStorage) {
    // 8-bit stereo: two bytes per frame, yet tones are written as 16-bit frames of four.
    StaticPCMBuffer buffer;
    ASSERT_TRUE(createPCMBuffer(audio::makePcmFormat(2, 8000, 8), 0.001, buffer));  // 8 frames
    ASSERT_TRUE(createSinusoid(1, 10000, 2000.0, buffer));
    EXPECT_EQ(sampleAt(buffer, 3), 10000);  // frame 1, channel 1
    EXPECT_EQ(buffer.pcmStorage.size(), 16u);
}

TEST(SignalStatistics, StrideSelectsOneChannelOfInterleavedFrames) {
    const std::int16_t frames[] = {100, -7, 300, 9, 500, 11};
    EXPECT_EQ(mean(frames, 3, 4), 300.0);
    EXPECT_EQ(mean(frames + 1, 3, 4), 13.0 / 3);
    EXPECT_DOUBLE_EQ(stdDev(frames, 3, 4), std::sqrt(80000.0 / 3));
}

TEST(SignalStatistics, NoSamplesGiveNotANumber) {
    const std::int16_t none = 0;
    EXPECT_TRUE(std::isnan(mean(&none, 0, 2)));
}

TEST(CreatePCMWaveFile, FiftyTwoByteFileOfEightDataBytes) {
    kvo::test::TempDirectory dir;
    const std::string path = dir.write("440.wav", std::string(100, 'x'));  // overwritten
    const unsigned char data[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    ASSERT_TRUE(createPCMWaveFile(path, kStereo44k, data, sizeof data));
    const std::vector<unsigned char> expected{
        'R', 'I', 'F', 'F', 48, 0, 0,    0,    'W', 'A', 'V',  'E',  'f', 'm', 't', ' ', 16, 0,
        0,   0,   1,   0,   2,  0, 0x44, 0xAC, 0,   0,   0x10, 0xB1, 2,   0,   4,   0,   16, 0,
        'd', 'a', 't', 'a', 8,  0, 0,    0,    1,   2,   3,    4,    5,   6,   7,   8};
    EXPECT_EQ(readFile(path), expected);
}

TEST(CreatePCMWaveFile, UnopenablePathFailsWithoutWriting) {
    kvo::test::CapturingLogSink capture;
    kvo::test::TempDirectory dir;
    EXPECT_FALSE(createPCMWaveFile(dir.file("missing/440.wav"), kStereo44k, nullptr, 0));
    for (const std::string& message : capture.messages("libAudio.pcmsupport")) {
        EXPECT_NE(message.rfind("161 ", 0), 0u) << message;
    }
}

}  // namespace
}  // namespace libAudio
