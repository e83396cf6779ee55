#include "common/libAudio-common/StaticPCMBuffer.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace libAudio {
namespace {

using Bytes = std::vector<unsigned char>;

StaticPCMBuffer bufferOf(const audio::WAVEFORMATEX& format, const Bytes& bytes) {
    StaticPCMBuffer buffer;
    buffer.format.Format = format;
    buffer.pcmStorage.assign(bytes.data(), bytes.size());
    return buffer;
}

Bytes contents(const kvo::ByteArray& array) {
    return {array.data(), array.data() + array.size()};
}

// Three stereo 16-bit frames L0 R0 L1 R1 L2 R2, every byte distinct.
const Bytes kStereo{0x10, 0x11, 0x20, 0x21, 0x12, 0x13, 0x22, 0x23, 0x14, 0x15, 0x24, 0x25};

TEST(StaticPCMBufferChannels, InterleavedStereoSplitsIntoItsChannels) {
    const StaticPCMBuffer buffer = bufferOf(audio::makePcmFormat(2, 44100, 16), kStereo);
    kvo::ByteArray out;
    ASSERT_TRUE(buffer.getChannelData(0, out));
    EXPECT_EQ(contents(out), (Bytes{0x10, 0x11, 0x12, 0x13, 0x14, 0x15}));
    ASSERT_TRUE(buffer.getChannelData(1, out));
    EXPECT_EQ(contents(out), (Bytes{0x20, 0x21, 0x22, 0x23, 0x24, 0x25}));
}

TEST(StaticPCMBufferChannels, SampleWidthFollowsTheBitsPerSample) {
    // 24-bit stereo: three bytes per sample, six per frame.
    const StaticPCMBuffer buffer =
        bufferOf(audio::makePcmFormat(2, 48000, 24), {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13});
    kvo::ByteArray out;
    ASSERT_TRUE(buffer.getChannelData(1, out));
    EXPECT_EQ(contents(out), (Bytes{4, 5, 6, 10, 11, 12}));  // the partial frame is left out
}

TEST(StaticPCMBufferChannels, MonoGivesAllSamplesForEitherChannel) {
    const Bytes mono{1, 2, 3, 4, 5, 6};
    const StaticPCMBuffer buffer = bufferOf(audio::makePcmFormat(1, 8000, 16), mono);
    kvo::ByteArray out;
    ASSERT_TRUE(buffer.getChannelData(0, out));
    EXPECT_EQ(contents(out), mono);
    ASSERT_TRUE(buffer.getChannelData(1, out));
    EXPECT_EQ(contents(out), mono);
}

TEST(StaticPCMBufferChannels, ChannelTwoAndAboveAreRefused) {
    const StaticPCMBuffer buffer = bufferOf(audio::makePcmFormat(4, 44100, 16), kStereo);
    kvo::ByteArray out;
    out.assign(kStereo.data(), 2);
    EXPECT_FALSE(buffer.getChannelData(2, out));
    EXPECT_EQ(contents(out), (Bytes{0x10, 0x11}));  // untouched
}

TEST(StaticPCMBufferSize, BlocksAndDurationFollowTheFormat) {
    const StaticPCMBuffer buffer =
        bufferOf(audio::makePcmFormat(2, 4, 16), Bytes(4 * 6 + 3));  // a partial frame too
    EXPECT_EQ(buffer.numBlocks(), 6u);
    EXPECT_DOUBLE_EQ(buffer.duration(), 27.0 / 4 / 4);

    const StaticPCMBuffer unformatted = bufferOf(audio::WAVEFORMATEX{}, Bytes(8));
    EXPECT_EQ(unformatted.numBlocks(), 0u);
    EXPECT_EQ(unformatted.duration(), 0.0);
}

TEST(StaticPCMBufferTruncate, DropsWholeBlocksFromTheFront) {
    // 10 frames per second: 0.25 s is 2.5 frames, cut to 2.
    StaticPCMBuffer buffer = bufferOf(audio::makePcmFormat(2, 10, 16), kStereo);
    ASSERT_TRUE(buffer.truncateFront(0.25));
    EXPECT_EQ(buffer.numBlocks(), 1u);
    EXPECT_EQ(contents(buffer.pcmStorage), (Bytes{0x14, 0x15, 0x24, 0x25}));
    EXPECT_EQ(buffer.format.Format, audio::makePcmFormat(2, 10, 16));
}

TEST(StaticPCMBufferTruncate, TheWholeDurationOrMoreIsRefused) {
    StaticPCMBuffer buffer = bufferOf(audio::makePcmFormat(2, 10, 16), kStereo);
    for (const double seconds : {buffer.duration(), 5.0, -1.0}) {
        EXPECT_FALSE(buffer.truncateFront(seconds)) << seconds;
        EXPECT_EQ(contents(buffer.pcmStorage), kStereo);
    }
}

TEST(StaticPCMBufferTruncate, ToneTestCutOfOneSecondAt48kHzKeeps19200Frames) {
    StaticPCMBuffer buffer = bufferOf(audio::makePcmFormat(2, 48000, 16), Bytes(48000 * 4));
    // The tone test cuts duration x 0.6 in single precision (0.6000000238418579).
    ASSERT_TRUE(buffer.truncateFront(buffer.duration() * 0.6f));
    EXPECT_EQ(buffer.numBlocks(), 19200u);
    EXPECT_EQ(buffer.pcmStorage.capacity(), 19200u * 4);
}

}  // namespace
}  // namespace libAudio
