#include "diag/kvormicrophone/Test/AudioTestHelper.hpp"

#include <gtest/gtest.h>

namespace kvormicrophone {
namespace {

using audio::makePcmFormat;
using Formats = kvo::Array<WAVEFORMATEX>;

TEST(NegotiateWaveFormat, RecordPrefersRateThenChannelsAmong16Bit) {
    const Formats playback{makePcmFormat(2, 44100, 16)};
    const Formats record{makePcmFormat(1, 48000, 16), makePcmFormat(2, 48000, 16),
                         makePcmFormat(2, 96000, 8), makePcmFormat(2, 44100, 16)};
    WAVEFORMATEX play, rec;
    ASSERT_TRUE(negotiateWaveFormat(playback, record, play, rec));
    EXPECT_EQ(rec, makePcmFormat(2, 48000, 16));
    EXPECT_EQ(play, makePcmFormat(2, 44100, 16));
}

TEST(NegotiateWaveFormat, PlaybackNeedsStereo16BitEvenWhenMonoIsBetter) {
    const Formats record{makePcmFormat(1, 16000, 16)};
    WAVEFORMATEX play, rec;
    ASSERT_TRUE(negotiateWaveFormat(
        Formats{makePcmFormat(1, 48000, 16), makePcmFormat(2, 22050, 16)}, record, play, rec));
    EXPECT_EQ(play, makePcmFormat(2, 22050, 16));

    EXPECT_FALSE(negotiateWaveFormat(Formats{makePcmFormat(1, 48000, 16)}, record, play, rec));
}

TEST(NegotiateWaveFormat, AllEightBitRecordFormatsFail) {
    WAVEFORMATEX play, rec;
    EXPECT_FALSE(negotiateWaveFormat(Formats{makePcmFormat(2, 48000, 16)},
                                     Formats{makePcmFormat(2, 48000, 8), makePcmFormat(1, 8000, 8)},
                                     play, rec));
}

}  // namespace
}  // namespace kvormicrophone
