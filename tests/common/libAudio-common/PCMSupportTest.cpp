#include "common/libAudio-common/PCMSupport.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

#include "support/TempDirectory.hpp"

// The tone writer, the statistics and the WAV writer, at exact figures: the
// runs that use them only see their effect through a microphone's tolerance.

namespace libAudio {
namespace {

std::vector<std::int16_t> samplesOf(const kvo::ByteArray& bytes) {
    std::vector<std::int16_t> samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
}

// A quarter-rate tone: zero, peak, zero, trough.
TEST(CreateSinusoid, EachChannelGetsItsOwnToneAtItsAmplitudeReadBackAloneNarrowSamplesInside) {
    StaticPCMBuffer stereo;
    ASSERT_TRUE(createPCMBuffer(audio::makePcmFormat(2, 8000, 16), 0.0005, stereo));  // 4 frames
    ASSERT_TRUE(createSinusoid(1, 10000, 2000.0, stereo));
    ASSERT_TRUE(createSinusoid(0, 5000, 2000.0, stereo));
    EXPECT_EQ(samplesOf(stereo.pcmStorage),
              (std::vector<std::int16_t>{0, 0, 5000, 10000, 0, 0, -5000, -10000}));

    // The analysis reads one channel at a time.
    kvo::ByteArray right;
    ASSERT_TRUE(stereo.getChannelData(1, right));
    EXPECT_EQ(samplesOf(right), (std::vector<std::int16_t>{0, 10000, 0, -10000}));

    StaticPCMBuffer mono;
    ASSERT_TRUE(createPCMBuffer(audio::makePcmFormat(1, 8000, 16), 0.0005, mono));
    ASSERT_TRUE(createSinusoid(1, 10000, 2000.0, mono));
    EXPECT_EQ(samplesOf(mono.pcmStorage), (std::vector<std::int16_t>{0, 10000, 0, -10000}));

    // 8-bit stereo: two bytes per frame, yet tones are written as 16-bit frames of four.
    StaticPCMBuffer narrow;
    ASSERT_TRUE(createPCMBuffer(audio::makePcmFormat(2, 8000, 8), 0.001, narrow));  // 8 frames
    ASSERT_TRUE(createSinusoid(1, 10000, 2000.0, narrow));
    EXPECT_EQ(samplesOf(narrow.pcmStorage)[3], 10000);  // frame 1, channel 1
    EXPECT_EQ(narrow.pcmStorage.size(), 16u);
}

TEST(CreatePCMBuffer, ByteCountBeyond32BitsIsRefusedUnallocated) {
    // 2^30 blocks of 4 bytes wrap to 0 bytes.
    StaticPCMBuffer buffer;
    EXPECT_FALSE(createPCMBuffer(audio::makePcmFormat(2, 44100, 16), 1073741824.0 / 44100, buffer));
    EXPECT_EQ(buffer.pcmStorage.size(), 0u);
}

TEST(SignalStatistics, StrideSelectsOneChannelOfInterleavedFrames) {
    const std::int16_t frames[] = {100, -7, 300, 9, 500, 11};
    EXPECT_EQ(mean(frames, 3, 4), 300.0);
    EXPECT_EQ(mean(frames + 1, 3, 4), 13.0 / 3);
    EXPECT_DOUBLE_EQ(stdDev(frames, 3, 4), std::sqrt(80000.0 / 3));
}

TEST(CreatePCMWaveFile, FiftyTwoByteFileOfEightDataBytes) {
    kvo::test::TempDirectory dir;
    const std::string path = dir.write("440.wav", std::string(100, 'x'));  // overwritten
    const unsigned char data[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    ASSERT_TRUE(createPCMWaveFile(path, audio::makePcmFormat(2, 44100, 16), data, sizeof data));
    const std::vector<unsigned char> expected{
        'R', 'I', 'F', 'F', 48, 0, 0,    0,    'W', 'A', 'V',  'E',  'f', 'm', 't', ' ', 16, 0,
        0,   0,   1,   0,   2,  0, 0x44, 0xAC, 0,   0,   0x10, 0xB1, 2,   0,   4,   0,   16, 0,
        'd', 'a', 't', 'a', 8,  0, 0,    0,    1,   2,   3,    4,    5,   6,   7,   8};
    std::ifstream in(path, std::ios::binary);
    EXPECT_EQ(std::vector<unsigned char>(std::istreambuf_iterator<char>(in), {}), expected);
}

}  // namespace
}  // namespace libAudio
