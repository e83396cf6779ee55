#include <gtest/gtest.h>

#include <vector>

#include "PulseTestServer.hpp"
#include "platform/audio/contract/ContractSupport.hpp"
#include "platform/audio/pulse/PulseServer.hpp"
#include "platform/audio/pulse/PulseSystem.hpp"

// What only this backend does, against a private PulseAudio daemon: int_speaker/int_mic
// are the integrated pair, ext_headphones/ext_mic the external one. Refusals, streams,
// loopback, volume round trips and observers are the conformance suite's; what the
// program prints of these devices is PulseEndToEndTest's.

namespace audio::pulse {
namespace {

using contract::endpointById;

constexpr std::uint32_t kRate = 48000;

class PulseDeviceTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { server_ = new PulseTestServer(); }
    static void TearDownTestSuite() {
        delete server_;
        server_ = nullptr;
    }

    void SetUp() override {
        ASSERT_TRUE(server_->running()) << "the private PulseAudio daemon did not start";
        system_ = createPulseSystem();
        speaker_ = endpointById(*system_, "sink:int_speaker");
        microphone_ = endpointById(*system_, "source:int_mic");
        ASSERT_TRUE(speaker_ && microphone_);
    }

    using PulseTestServer = test::PulseTestServer;
    static PulseTestServer* server_;
    std::unique_ptr<AudioSystem> system_;
    AudioDevicePtr speaker_;
    AudioDevicePtr microphone_;
};

PulseDeviceTest::PulseTestServer* PulseDeviceTest::server_ = nullptr;

TEST_F(PulseDeviceTest, MonitorsAreNoEndpointsAndEachCardLessDeviceIsItsOwnCard) {
    kvo::Array<AudioDevicePtr> all;
    EXPECT_EQ(system_->endpoints(eAll, DEVICE_STATEMASK_ALL, all), 4U);
    EXPECT_EQ(endpointById(*system_, "sink:ext_headphones")->deviceProperty().formFactor,
              Headphones);

    // Card-less devices are grouped by the module that made them.
    kvo::Array<SoundCardPtr> cards;
    ASSERT_EQ(system_->soundCards(cards), 4U);
    for (const SoundCardPtr& card : cards) {
        all.clear();
        EXPECT_EQ(card->endpoints(eAll, DEVICE_STATEMASK_ALL, all), 1U) << card->name();
        EXPECT_EQ(card->name().rfind(card->driver() + " #", 0), 0U) << card->name();
    }

    // Wave device numbers count the sinks and the non-monitor sources in server order.
    std::uint32_t waveId = 99;
    EXPECT_TRUE(endpointById(*system_, "source:ext_mic")->waveLegacyDeviceID(waveId));
    EXPECT_EQ(waveId, 1U);
}

TEST_F(PulseDeviceTest, StreamsAreSixteenBitAtTheDeviceRateAndSharedWhateverIsAsked) {
    kvo::Array<WAVEFORMATEX> formats;
    ASSERT_EQ(microphone_->compatibleFormats(formats, AUDCLNT_SHAREMODE_SHARED), 2U);
    EXPECT_EQ(formats[0], makePcmFormat(1, kRate, 16));
    EXPECT_EQ(formats[1], makePcmFormat(2, kRate, 16));
    EXPECT_EQ(microphone_->compatibleFormats(formats, AUDCLNT_SHAREMODE_EXCLUSIVE), 0U);

    auto recorder = system_->createAudioCaptureEx(AUDCLNT_SHAREMODE_EXCLUSIVE);
    EXPECT_EQ(recorder->shareMode(), AUDCLNT_SHAREMODE_SHARED);
    libAudio::StaticPCMBuffer capture = contract::makeBuffer(makePcmFormat(2, kRate, 16), 100);
    EXPECT_TRUE(recorder->initialize(microphone_, &capture));
    libAudio::StaticPCMBuffer wrongRate = contract::makeBuffer(makePcmFormat(2, 44100, 16), 100);
    EXPECT_FALSE(recorder->initialize(microphone_, &wrongRate));
    EXPECT_EQ(recorder->lastError(), kUnsupportedFormat);
}

// Levels as the daemon itself shows them to other clients, and the balance kept.
TEST_F(PulseDeviceTest, VolumeAndMuteReachTheServerAndKeepTheBalance) {
    const auto micVolume = microphone_->volumeControl();
    ASSERT_TRUE(micVolume);
    ASSERT_TRUE(micVolume->setVolumeLevel(50));
    ASSERT_TRUE(micVolume->setMute(true));
    EXPECT_NE(server_->pactl("get-source-volume int_mic").find("/  50% /"), std::string::npos)
        << server_->pactl("get-source-volume int_mic");
    EXPECT_EQ(server_->pactl("get-source-mute int_mic"), "Mute: yes");
    EXPECT_TRUE(micVolume->setMute(false));
    EXPECT_TRUE(micVolume->setVolumeLevel(100));
    EXPECT_EQ(server_->pactl("get-source-mute int_mic"), "Mute: no");

    const auto volume = speaker_->volumeControl();
    ASSERT_TRUE(volume);
    EXPECT_TRUE(volume->setChannelVolumeLevel(1, 0.5F));
    EXPECT_TRUE(volume->setVolumeLevel(80));
    float left = 0.0F;
    float right = 0.0F;
    EXPECT_TRUE(volume->channelVolumeLevel(0, left));
    EXPECT_TRUE(volume->channelVolumeLevel(1, right));
    EXPECT_NEAR(left, 0.8F, 0.001F);
    EXPECT_NEAR(right, 0.4F, 0.001F);
    EXPECT_FALSE(volume->setChannelVolumeLevel(0, 1.5F));
    EXPECT_TRUE(volume->setChannelDecibelLevel(0, -6.0F));
    float channelDb = 0.0F;
    EXPECT_TRUE(volume->channelDecibelLevel(0, channelDb));
    EXPECT_NEAR(channelDb, -6.0F, 0.01F);
    EXPECT_TRUE(volume->setVolumeLevel(100));
    EXPECT_TRUE(volume->setChannelVolumeLevel(1, 1.0F));
}

}  // namespace
}  // namespace audio::pulse
