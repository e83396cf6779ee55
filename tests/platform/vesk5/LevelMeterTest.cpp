#include "platform/vesk5/host/LevelMeter.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

// What the end-to-end runs cannot show with their steady signals: peaks and
// clips held for a while and then let go, frames cut between packets, and
// float samples.

namespace vesk5::host {
namespace {

std::vector<unsigned char> stereo16(const std::vector<std::int16_t>& samples) {
    std::vector<unsigned char> bytes;
    for (const std::int16_t sample : samples) {
        const auto value = static_cast<std::uint16_t>(sample);
        bytes.push_back(static_cast<unsigned char>(value & 0xFF));
        bytes.push_back(static_cast<unsigned char>(value >> 8));
    }
    return bytes;
}

TEST(LevelMeter, LevelsPerChannelEvenWhenPacketsCutFramesApart) {
    LevelMeter meter(audio::makePcmFormat(2, 48000, 16), 2);
    // Left at half scale, right silent; cut inside the second frame's right sample.
    const std::vector<unsigned char> bytes = stereo16({16384, 0, -16384, 0, 16384, 0});
    meter.add({bytes.data(), 7});
    meter.add({bytes.data() + 7, bytes.size() - 7});
    const MeterReading reading = meter.endInterval();
    EXPECT_EQ(reading.frames, 3U);
    ASSERT_EQ(reading.channels.size(), 2U);
    EXPECT_NEAR(reading.channels[0].rmsDbfs, -6.02, 0.01);
    EXPECT_NEAR(reading.channels[0].peakDbfs, -6.02, 0.01);
    EXPECT_TRUE(std::isinf(reading.channels[1].rmsDbfs) && reading.channels[1].rmsDbfs < 0);
    EXPECT_FALSE(reading.channels[0].clipped || reading.channels[1].clipped);
}

TEST(LevelMeter, APeakAndAClipStayShownForTheHoldTimeThenGo) {
    LevelMeter meter(audio::makePcmFormat(2, 48000, 16), 3);
    const std::vector<unsigned char> loud = stereo16({-32768, 100, 100, 100});
    const std::vector<unsigned char> quiet = stereo16({1000, 1000});
    meter.add(loud);
    MeterReading reading = meter.endInterval();
    EXPECT_NEAR(reading.channels[0].peakDbfs, 0.0, 1e-9);
    EXPECT_TRUE(reading.channels[0].clipped);
    EXPECT_FALSE(reading.channels[1].clipped);
    for (int interval = 1; interval < 3; ++interval) {
        meter.add(quiet);
        reading = meter.endInterval();
        EXPECT_NEAR(reading.channels[0].peakDbfs, 0.0, 1e-9) << interval;
        EXPECT_TRUE(reading.channels[0].clipped) << interval;
        EXPECT_NEAR(reading.channels[0].rmsDbfs, 20 * std::log10(1000 / 32768.0), 0.01);
    }
    meter.add(quiet);
    reading = meter.endInterval();
    EXPECT_NEAR(reading.channels[0].peakDbfs, 20 * std::log10(1000 / 32768.0), 0.01);
    EXPECT_FALSE(reading.channels[0].clipped);
    // A higher peak replaces a held one at once.
    meter.add(stereo16({20000, 0}));
    EXPECT_NEAR(meter.endInterval().channels[0].peakDbfs, 20 * std::log10(20000 / 32768.0), 0.01);
}

TEST(LevelMeter, FloatSamplesClipAtFullScaleAndAnEmptyIntervalSaysSo) {
    audio::WAVEFORMATEX format = audio::makePcmFormat(1, 48000, 32);
    format.wFormatTag = audio::WAVE_FORMAT_IEEE_FLOAT;
    ASSERT_TRUE(LevelMeter::reads(format));
    EXPECT_FALSE(LevelMeter::reads(audio::makePcmFormat(2, 48000, 24)));
    LevelMeter meter(format, 1);
    for (const float sample : {0.5F, -1.0F}) {
        std::vector<unsigned char> bytes(sizeof sample);
        std::memcpy(bytes.data(), &sample, sizeof sample);
        meter.add(bytes);
        const MeterReading reading = meter.endInterval();
        EXPECT_EQ(reading.channels[0].clipped, sample == -1.0F) << sample;
        EXPECT_NEAR(reading.channels[0].peakDbfs, 20 * std::log10(std::abs(sample)), 1e-6);
    }
    EXPECT_EQ(meter.endInterval().frames, 0U);
}

}  // namespace
}  // namespace vesk5::host
