#include "diag/kvormicrophone/Test/AudioTestHelper.hpp"

#include <gtest/gtest.h>

namespace kvormicrophone {
namespace {

using audio::makePcmFormat;
using Formats = kvo::Array<WAVEFORMATEX>;

// Recording takes the highest rate, then the most channels, of the 16-bit formats; playback
// needs stereo 16 bits even when a mono format is better.
TEST(NegotiateWaveFormat, RecordTakesRateBeforeChannelsIn16BitsAndPlaybackStereo16Bits) {
    WAVEFORMATEX play, rec;
    ASSERT_TRUE(
        negotiateWaveFormat(Formats{makePcmFormat(1, 48000, 16), makePcmFormat(2, 22050, 16)},
                            Formats{makePcmFormat(1, 48000, 16), makePcmFormat(2, 48000, 16),
                                    makePcmFormat(2, 96000, 8), makePcmFormat(2, 44100, 16)},
                            play, rec));
    EXPECT_EQ(rec, makePcmFormat(2, 48000, 16));
    EXPECT_EQ(play, makePcmFormat(2, 22050, 16));
    const Formats stereo{makePcmFormat(2, 44100, 16)};
    ASSERT_TRUE(negotiateWaveFormat(
        stereo, Formats{makePcmFormat(2, 44100, 16), makePcmFormat(1, 48000, 16)}, play, rec));
    EXPECT_EQ(rec, makePcmFormat(1, 48000, 16));
    // No stereo 16-bit playback, or no 16-bit recording: nothing to agree on.
    EXPECT_FALSE(negotiateWaveFormat(Formats{makePcmFormat(1, 48000, 16)}, stereo, play, rec));
    EXPECT_FALSE(negotiateWaveFormat(
        stereo, Formats{makePcmFormat(2, 48000, 8), makePcmFormat(1, 8000, 8)}, play, rec));
}

}  // namespace
}  // namespace kvormicrophone
