#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "PulseTestServer.hpp"
#include "platform/audio/contract/ContractSupport.hpp"
#include "platform/audio/pulse/PulseServer.hpp"
#include "platform/audio/pulse/PulseSystem.hpp"

// The backend against a private PulseAudio daemon: int_speaker/int_mic are
// the integrated pair (the microphone hears the speaker's monitor),
// ext_headphones/ext_mic the external one.

namespace audio::pulse {
namespace {

using contract::endpointById;
using contract::makeBuffer;
using contract::toneLevel;
using test::PulseTestServer;

constexpr std::uint32_t kRate = 48000;
const WAVEFORMATEX kStereo = makePcmFormat(2, kRate, 16);

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

    // The level of a 1 s tone of 1 kHz at half full scale played on `speaker` over and over
    // while `microphone` records one second.
    double heardLevel(const AudioDevicePtr& microphone) {
        libAudio::StaticPCMBuffer tone = contract::makeTone(kStereo, 1000.0, 1000);
        libAudio::StaticPCMBuffer capture = makeBuffer(kStereo, 1000);
        auto renderer = system_->createAudioRendererEx();
        EXPECT_TRUE(renderer->initialize(speaker_, &tone));
        EXPECT_TRUE(renderer->play(6, {}));
        EXPECT_EQ(contract::recordToEnd(*system_->createAudioCaptureEx(), microphone, capture), 0);
        renderer->stop();
        return toneLevel(capture, 1000.0);
    }

    static PulseTestServer* server_;
    std::unique_ptr<AudioSystem> system_;
    AudioDevicePtr speaker_;
    AudioDevicePtr microphone_;
};

PulseTestServer* PulseDeviceTest::server_ = nullptr;

TEST_F(PulseDeviceTest, EnumeratesSinksAndSourcesWithoutMonitorsAndMarksTheIntegratedPair) {
    kvo::Array<AudioDevicePtr> all;
    EXPECT_EQ(system_->endpoints(eAll, DEVICE_STATEMASK_ALL, all), 4U);
    std::vector<std::string> integrated;
    for (const AudioDevicePtr& endpoint : all) {
        EXPECT_EQ(endpoint->state(), DEVICE_STATE_ACTIVE) << endpoint->id();
        if (isIntegratedEndpoint(*endpoint)) {
            integrated.push_back(endpoint->id());
        }
    }
    EXPECT_EQ(integrated, (std::vector<std::string>{"sink:int_speaker", "source:int_mic"}));
    EXPECT_TRUE(isIntegratedSpeaker(*speaker_));
    EXPECT_TRUE(isIntegratedMicrophone(*microphone_));
    EXPECT_EQ(speaker_->deviceProperty().formFactor, Speakers);
    EXPECT_EQ(endpointById(*system_, "sink:ext_headphones")->deviceProperty().formFactor,
              Headphones);
    EXPECT_EQ(microphone_->deviceProperty().description, "Built-in Microphone");

    // Card-less devices are grouped by the module that made them, one card each.
    kvo::Array<SoundCardPtr> cards;
    ASSERT_EQ(system_->soundCards(cards), 4U);
    kvo::Array<AudioDevicePtr> onCard;
    for (const SoundCardPtr& card : cards) {
        onCard.clear();
        EXPECT_EQ(card->endpoints(eAll, DEVICE_STATEMASK_ALL, onCard), 1U) << card->name();
        EXPECT_EQ(card->name().rfind(card->driver() + " #", 0), 0U) << card->name();
        EXPECT_FALSE(card->driverVersion().empty());
    }

    EXPECT_EQ(system_->defaultEndpoint(eRender)->id(), "sink:int_speaker");
    EXPECT_EQ(system_->defaultEndpoint(eCapture)->id(), "source:int_mic");
    EXPECT_TRUE(microphone_->isDefaultEndpoint());
    EXPECT_FALSE(endpointById(*system_, "source:ext_mic")->isDefaultEndpoint());

    // Wave device numbers count the sinks and the non-monitor sources in server order.
    std::uint32_t waveId = 99;
    EXPECT_TRUE(microphone_->waveLegacyDeviceID(waveId));
    EXPECT_EQ(waveId, 0U);
    EXPECT_TRUE(endpointById(*system_, "source:ext_mic")->waveLegacyDeviceID(waveId));
    EXPECT_EQ(waveId, 1U);
}

TEST_F(PulseDeviceTest, OffersSixteenBitMonoAndStereoAtTheDeviceRateSharedOnly) {
    kvo::Array<WAVEFORMATEX> formats;
    ASSERT_EQ(microphone_->compatibleFormats(formats, AUDCLNT_SHAREMODE_SHARED), 2U);
    EXPECT_EQ(formats[0], makePcmFormat(1, kRate, 16));
    EXPECT_EQ(formats[1], makePcmFormat(2, kRate, 16));
    EXPECT_EQ(microphone_->compatibleFormats(formats, AUDCLNT_SHAREMODE_EXCLUSIVE), 0U);
    EXPECT_EQ(microphone_->isFormatSupported(makePcmFormat(2, 44100, 16), AUDCLNT_SHAREMODE_SHARED),
              kUnsupportedFormat);
    EXPECT_EQ(
        microphone_->isFormatSupported(makePcmFormat(2, kRate, 16), AUDCLNT_SHAREMODE_EXCLUSIVE),
        kUnsupportedFormat);
    kvo::Array<AudioComponent<IConnector>> connectors;
    EXPECT_EQ(microphone_->connector(connectors), 0U) << "no topology: no boost control";
}

TEST_F(PulseDeviceTest, TheIntegratedSpeakerIsHeardAtUnityGainByTheIntegratedMicrophoneOnly) {
    EXPECT_NEAR(heardLevel(microphone_), 0.5, 0.05);
    EXPECT_LT(heardLevel(endpointById(*system_, "source:ext_mic")), 0.0003);
}

TEST_F(PulseDeviceTest, TheSourceVolumeAndMuteActOnTheCaptureAndAreSeenByOtherClients) {
    const auto volume = microphone_->volumeControl();
    ASSERT_TRUE(volume);
    ASSERT_TRUE(volume->setVolumeLevel(50));
    std::uint32_t percent = 0;
    EXPECT_TRUE(volume->getVolumeLevel(percent));
    EXPECT_EQ(percent, 50U);
    EXPECT_NE(server_->pactl("get-source-volume int_mic").find("/  50% /"), std::string::npos)
        << server_->pactl("get-source-volume int_mic");
    // The server's software volume is cubic: half the level is an eighth of the amplitude.
    EXPECT_NEAR(heardLevel(microphone_), 0.5 * 0.125, 0.5 * 0.125 * 0.1);
    float levelDb = 0.0F;
    EXPECT_TRUE(volume->decibelLevel(levelDb));
    EXPECT_NEAR(levelDb, 60.0 * std::log10(0.5), 0.05);

    ASSERT_TRUE(volume->setMute(true));
    bool muted = false;
    EXPECT_TRUE(volume->getMute(muted));
    EXPECT_TRUE(muted);
    EXPECT_EQ(server_->pactl("get-source-mute int_mic"), "Mute: yes");
    EXPECT_LT(heardLevel(microphone_), 0.00003);

    EXPECT_TRUE(volume->setMute(false));
    EXPECT_TRUE(volume->setVolumeLevel(100));
    EXPECT_EQ(server_->pactl("get-source-mute int_mic"), "Mute: no");
}

TEST_F(PulseDeviceTest, VolumeKeepsTheBalanceAndSetsDecibelsPerChannel) {
    const auto volume = speaker_->volumeControl();
    ASSERT_TRUE(volume);
    std::uint32_t channels = 0;
    EXPECT_TRUE(volume->channelCount(channels));
    EXPECT_EQ(channels, 2U);
    EXPECT_TRUE(volume->setVolumeLevel(100));
    EXPECT_TRUE(volume->setChannelVolumeLevel(1, 0.5F));
    EXPECT_TRUE(volume->setVolumeLevel(80));
    float left = 0.0F;
    float right = 0.0F;
    EXPECT_TRUE(volume->channelVolumeLevel(0, left));
    EXPECT_TRUE(volume->channelVolumeLevel(1, right));
    EXPECT_NEAR(left, 0.8F, 0.001F);
    EXPECT_NEAR(right, 0.4F, 0.001F);
    EXPECT_FALSE(volume->setChannelVolumeLevel(2, 0.5F));
    EXPECT_FALSE(volume->setChannelVolumeLevel(0, 1.5F));

    // The decibel range itself is the mapping's (PulseMappingTest).
    EXPECT_TRUE(volume->setChannelDecibelLevel(0, -6.0F));
    float channelDb = 0.0F;
    EXPECT_TRUE(volume->channelDecibelLevel(0, channelDb));
    EXPECT_NEAR(channelDb, -6.0F, 0.01F);
    EXPECT_TRUE(volume->setVolumeLevel(100));
    EXPECT_TRUE(volume->setChannelVolumeLevel(1, 1.0F));
}

// The refusals, stop callback, timeout, wave devices, loopback and observers
// every backend shares are the conformance suite's (tests/platform/audio/contract).
TEST_F(PulseDeviceTest, StreamObjectsAreSharedOnlyWhateverTheyAreAskedFor) {
    auto recorder = system_->createAudioCaptureEx(AUDCLNT_SHAREMODE_EXCLUSIVE);
    EXPECT_EQ(recorder->shareMode(), AUDCLNT_SHAREMODE_SHARED);
    libAudio::StaticPCMBuffer capture = makeBuffer(kStereo, 100);
    EXPECT_TRUE(recorder->initialize(microphone_, &capture));
    libAudio::StaticPCMBuffer wrongRate = makeBuffer(makePcmFormat(2, 44100, 16), 100);
    EXPECT_FALSE(recorder->initialize(microphone_, &wrongRate));
    EXPECT_EQ(recorder->lastError(), kUnsupportedFormat);
}

TEST(PulseConnectionTest, AServerThatDiesEndsStreamsAndCallsWithoutHanging) {
    PulseTestServer server;
    ASSERT_TRUE(server.running());
    auto system = createPulseSystem();
    const AudioDevicePtr microphone = endpointById(*system, "source:int_mic");
    ASSERT_TRUE(microphone);
    libAudio::StaticPCMBuffer capture = makeBuffer(kStereo, 30000);
    auto recorder = system->createAudioCaptureEx();
    ASSERT_TRUE(recorder->initialize(microphone, &capture));
    ASSERT_TRUE(recorder->start({}));
    contract::waitWhile([&] { return capture.position == 0; });
    server.kill();
    contract::waitWhile([&] { return recorder->isStillRecording(); });
    EXPECT_EQ(recorder->threadExitCode(), kDeviceInvalidated);
    EXPECT_FALSE(microphone->refresh());
    EXPECT_EQ(microphone->volumeControl(), nullptr);
    kvo::Array<AudioDevicePtr> endpoints;
    EXPECT_EQ(system->endpoints(eAll, DEVICE_STATEMASK_ALL, endpoints), 0U);
    EXPECT_FALSE(recorder->start({}));
    EXPECT_EQ(recorder->lastError(), kDeviceInvalidated);
}

}  // namespace
}  // namespace audio::pulse
