#include "diag/kvormicrophone/Test/AudioTestHelper.hpp"

#include <gtest/gtest.h>

#include "support/CapturingLogSink.hpp"

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

    kvo::test::CapturingLogSink log;
    EXPECT_FALSE(negotiateWaveFormat(Formats{makePcmFormat(1, 48000, 16)}, record, play, rec));
    const auto messages = log.messages("kvormicrophone");
    ASSERT_FALSE(messages.empty());
    EXPECT_NE(messages.back().find(" Unable to negotitate stereo 16 bits playback"),
              std::string::npos);
    EXPECT_EQ(play, makePcmFormat(1, 48000, 16));  // the last format tried
}

TEST(NegotiateWaveFormat, AllEightBitRecordFormatsFail) {
    kvo::test::CapturingLogSink log;
    WAVEFORMATEX play, rec;
    EXPECT_FALSE(negotiateWaveFormat(Formats{makePcmFormat(2, 48000, 16)},
                                     Formats{makePcmFormat(2, 48000, 8), makePcmFormat(1, 8000, 8)},
                                     play, rec));
    EXPECT_NE(log.messages("kvormicrophone")
                  .back()
                  .find(" Unable to negotiate a 16 bit recording format"),
              std::string::npos);
}

TEST(NegotiateWaveFormat, EmptyListFails) {
    kvo::test::CapturingLogSink log;
    WAVEFORMATEX play, rec;
    EXPECT_FALSE(negotiateWaveFormat(Formats{}, Formats{makePcmFormat(2, 48000, 16)}, play, rec));
    EXPECT_NE(log.messages("kvormicrophone").back().find(" One of the input format list is empty."),
              std::string::npos);
}

TEST(NegotiateWaveFormat, OfTwoEqualFormatsTheLaterInTheListWins) {
    // Same key (rate, channels, bits); they differ only in fields the sort ignores.
    WAVEFORMATEX first = makePcmFormat(2, 48000, 16);
    WAVEFORMATEX second = first;
    second.cbSize = 22;
    WAVEFORMATEX play, rec;
    ASSERT_TRUE(negotiateWaveFormat(Formats{first, second}, Formats{first, second}, play, rec));
    // Sorted ascending the later one comes first, so the walk from the end picks the earlier one.
    EXPECT_EQ(rec.cbSize, 0);
    EXPECT_EQ(play.cbSize, 0);
}

TEST(NegotiateWaveFormat, InputListsAreNotChanged) {
    const Formats playback{makePcmFormat(2, 48000, 16), makePcmFormat(2, 8000, 16)};
    const Formats copy = playback;
    WAVEFORMATEX play, rec;
    ASSERT_TRUE(negotiateWaveFormat(playback, playback, play, rec));
    EXPECT_EQ(playback, copy);
}

}  // namespace
}  // namespace kvormicrophone
