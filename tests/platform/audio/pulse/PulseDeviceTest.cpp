#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <thread>
#include <vector>

#include "PulseTestServer.hpp"
#include "common/libAudio-common/StaticPCMBuffer.hpp"
#include "platform/audio/pulse/PulseServer.hpp"
#include "platform/audio/pulse/PulseSystem.hpp"

// The backend against a private PulseAudio daemon: int_speaker/int_mic are
// the integrated pair (the microphone hears the speaker's monitor),
// ext_headphones/ext_mic the external one.

namespace audio::pulse {
namespace {

using test::PulseTestServer;

constexpr std::uint32_t kRate = 48000;

libAudio::StaticPCMBuffer makeBuffer(std::uint16_t channels, std::uint32_t rate, double seconds) {
    libAudio::StaticPCMBuffer buffer;
    buffer.format.Format = makePcmFormat(channels, rate, 16);
    buffer.pcmStorage.resize(static_cast<std::size_t>(seconds * rate) *
                             buffer.format.Format.nBlockAlign);
    return buffer;
}

libAudio::StaticPCMBuffer makeTone(double frequency, double amplitude, std::uint32_t rate = kRate) {
    libAudio::StaticPCMBuffer tone = makeBuffer(2, rate, 1.0);
    auto* samples = reinterpret_cast<std::int16_t*>(tone.pcmStorage.data());
    for (std::uint32_t i = 0; i < rate; ++i) {
        const auto value = static_cast<std::int16_t>(
            amplitude * std::sin(2.0 * std::numbers::pi * frequency * i / rate));
        samples[2 * i] = value;
        samples[2 * i + 1] = value;
    }
    return tone;
}

// Channel 0 of the second half of a 16-bit capture: the first half may hold
// the time before the tone reached the microphone.
std::vector<double> settledChannel(const libAudio::StaticPCMBuffer& buffer) {
    const WAVEFORMATEX& format = buffer.format.Format;
    const auto* samples = reinterpret_cast<const std::int16_t*>(buffer.pcmStorage.data());
    const std::size_t frames = buffer.position / format.nBlockAlign;
    std::vector<double> channel;
    for (std::size_t i = frames / 2; i < frames; ++i) {
        channel.push_back(samples[i * format.nChannels]);
    }
    return channel;
}

// Amplitude of the `frequency` component (Goertzel).
double toneAmplitude(const std::vector<double>& x, double frequency, double rate) {
    const double coefficient = 2.0 * std::cos(2.0 * std::numbers::pi * frequency / rate);
    double previous = 0.0;
    double beforePrevious = 0.0;
    for (const double sample : x) {
        const double current = sample + coefficient * previous - beforePrevious;
        beforePrevious = previous;
        previous = current;
    }
    const double power = previous * previous + beforePrevious * beforePrevious -
                         coefficient * previous * beforePrevious;
    return x.empty() ? 0.0 : 2.0 * std::sqrt(std::max(power, 0.0)) / static_cast<double>(x.size());
}

double rms(const std::vector<double>& x) {
    double sum = 0.0;
    for (const double sample : x) {
        sum += sample * sample;
    }
    return x.empty() ? 0.0 : std::sqrt(sum / static_cast<double>(x.size()));
}

AudioDevicePtr endpointNamed(AudioSystem& system, const std::string& id) {
    kvo::Array<AudioDevicePtr> all;
    system.endpoints(eAll, DEVICE_STATEMASK_ALL, all);
    for (const AudioDevicePtr& endpoint : all) {
        if (endpoint->id() == id) {
            return endpoint;
        }
    }
    return nullptr;
}

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
        speaker_ = endpointNamed(*system_, "sink:int_speaker");
        microphone_ = endpointNamed(*system_, "source:int_mic");
        ASSERT_TRUE(speaker_ && microphone_);
    }

    // Plays a 1 s tone on `speaker` over and over while `microphone` records one second.
    libAudio::StaticPCMBuffer recordTone(const AudioDevicePtr& speaker,
                                         const AudioDevicePtr& microphone, double frequency) {
        libAudio::StaticPCMBuffer tone = makeTone(frequency, 16000.0);
        libAudio::StaticPCMBuffer capture = makeBuffer(2, kRate, 1.0);
        auto renderer = system_->createAudioRendererEx();
        auto recorder = system_->createAudioCaptureEx();
        EXPECT_TRUE(renderer->initialize(speaker, &tone));
        EXPECT_TRUE(recorder->initialize(microphone, &capture));
        EXPECT_TRUE(renderer->play(6, {}));
        EXPECT_TRUE(recorder->start({}));
        while (recorder->isStillRecording()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        EXPECT_EQ(recorder->threadExitCode(), 0);
        EXPECT_TRUE(renderer->isStillPlaying()) << "six seconds of tone outlast one of capture";
        renderer->stop();
        EXPECT_FALSE(renderer->isStillPlaying());
        return capture;
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
    EXPECT_EQ(endpointNamed(*system_, "sink:ext_headphones")->deviceProperty().formFactor,
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
    EXPECT_FALSE(endpointNamed(*system_, "source:ext_mic")->isDefaultEndpoint());

    // Wave device numbers count the sinks and the non-monitor sources in server order.
    std::uint32_t waveId = 99;
    EXPECT_TRUE(microphone_->waveLegacyDeviceID(waveId));
    EXPECT_EQ(waveId, 0U);
    EXPECT_TRUE(endpointNamed(*system_, "source:ext_mic")->waveLegacyDeviceID(waveId));
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

TEST_F(PulseDeviceTest, AToneOnTheIntegratedSpeakerIsHeardByTheIntegratedMicrophoneOnly) {
    const libAudio::StaticPCMBuffer heard = recordTone(speaker_, microphone_, 1000.0);
    ASSERT_EQ(heard.position, heard.pcmStorage.size()) << "the capture fills its buffer";
    const std::vector<double> channel = settledChannel(heard);
    EXPECT_NEAR(toneAmplitude(channel, 1000.0, kRate), 16000.0, 1600.0);
    EXPECT_LT(toneAmplitude(channel, 1500.0, kRate), 160.0);

    const libAudio::StaticPCMBuffer elsewhere =
        recordTone(speaker_, endpointNamed(*system_, "source:ext_mic"), 1000.0);
    EXPECT_LT(rms(settledChannel(elsewhere)), 10.0);
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
    const double half =
        toneAmplitude(settledChannel(recordTone(speaker_, microphone_, 1000.0)), 1000.0, kRate);
    EXPECT_NEAR(half, 16000.0 * 0.125, 16000.0 * 0.125 * 0.1);
    float levelDb = 0.0F;
    EXPECT_TRUE(volume->decibelLevel(levelDb));
    EXPECT_NEAR(levelDb, 60.0 * std::log10(0.5), 0.05);

    ASSERT_TRUE(volume->setMute(true));
    bool muted = false;
    EXPECT_TRUE(volume->getMute(muted));
    EXPECT_TRUE(muted);
    EXPECT_EQ(server_->pactl("get-source-mute int_mic"), "Mute: yes");
    EXPECT_LT(rms(settledChannel(recordTone(speaker_, microphone_, 1000.0))), 1.0);

    EXPECT_TRUE(volume->setMute(false));
    EXPECT_TRUE(volume->setVolumeLevel(100));
    EXPECT_EQ(server_->pactl("get-source-mute int_mic"), "Mute: no");
}

TEST_F(PulseDeviceTest, VolumeKeepsTheBalanceAndMapsDecibelsFromTheBaseVolume) {
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
    EXPECT_FALSE(volume->setVolumeLevel(101));
    EXPECT_FALSE(volume->setChannelVolumeLevel(2, 0.5F));
    EXPECT_FALSE(volume->setChannelVolumeLevel(0, 1.5F));

    // A null sink's base volume is the nominal one: 0 dB at 100 %, -120 dB at 1 %.
    float minDb = 1.0F;
    float maxDb = 1.0F;
    float stepDb = 0.0F;
    EXPECT_TRUE(volume->decibelRange(0, minDb, maxDb, stepDb));
    EXPECT_NEAR(maxDb, 0.0F, 0.001F);
    EXPECT_NEAR(minDb, -120.0F, 0.1F);
    EXPECT_GT(stepDb, 0.0F);
    EXPECT_FALSE(volume->decibelRange(2, minDb, maxDb, stepDb));
    EXPECT_TRUE(volume->setChannelDecibelLevel(0, -6.0F));
    float channelDb = 0.0F;
    EXPECT_TRUE(volume->channelDecibelLevel(0, channelDb));
    EXPECT_NEAR(channelDb, -6.0F, 0.01F);
    EXPECT_TRUE(volume->setVolumeLevel(100));
    EXPECT_TRUE(volume->setChannelVolumeLevel(1, 1.0F));
}

// The refusals, stop callback, timeout and wave devices every backend shares
// are the conformance suite's (tests/platform/audio/contract).
TEST_F(PulseDeviceTest, StreamObjectsAreSharedOnlyWhateverTheyAreAskedFor) {
    auto recorder = system_->createAudioCaptureEx(AUDCLNT_SHAREMODE_EXCLUSIVE);
    EXPECT_EQ(recorder->shareMode(), AUDCLNT_SHAREMODE_SHARED);
    libAudio::StaticPCMBuffer capture = makeBuffer(2, kRate, 0.1);
    EXPECT_TRUE(recorder->initialize(microphone_, &capture));
    libAudio::StaticPCMBuffer wrongRate = makeBuffer(2, 44100, 0.1);
    EXPECT_FALSE(recorder->initialize(microphone_, &wrongRate));
    EXPECT_EQ(recorder->lastError(), kUnsupportedFormat);
}

class Observer final : public SoundCardObserver {
public:
    void onEndpointDeviceStateChanged(const std::string&, std::uint32_t) override {}
    void onEndpointDeviceAdded(const std::string&) override {}
    void onEndpointDeviceRemoved(const std::string& endpointId) override {
        std::lock_guard lock(mutex_);
        removed_.push_back(endpointId);
    }
    void onEndpointDevicePropertyChanged(const std::string&) override {}

    std::vector<std::string> removed() {
        std::lock_guard lock(mutex_);
        return removed_;
    }

private:
    std::mutex mutex_;
    std::vector<std::string> removed_;
};

TEST_F(PulseDeviceTest, ObserversOfACardHearThatItsSinkWasRemoved) {
    const std::string module = server_->pactl("load-module module-null-sink sink_name=extra_sink");
    kvo::Array<SoundCardPtr> cards;
    system_->soundCards(cards);
    SoundCardPtr extra;
    for (const SoundCardPtr& card : cards) {
        if (card->id() == "module:" + module) {
            extra = card;
        }
    }
    ASSERT_TRUE(extra) << "module " << module;
    auto observer = std::make_shared<Observer>();
    EXPECT_TRUE(extra->registerPlaybackObserver(observer));
    EXPECT_FALSE(extra->registerPlaybackObserver(observer));
    auto recordOnly = std::make_shared<Observer>();
    EXPECT_TRUE(extra->registerRecordObserver(recordOnly));

    server_->pactl("unload-module " + module);
    for (int i = 0; i < 500 && observer->removed().empty(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(observer->removed(), std::vector<std::string>{"sink:extra_sink"});
    EXPECT_TRUE(recordOnly->removed().empty()) << "a sink is not the record direction";
    EXPECT_TRUE(extra->unregisterObserver(observer));
    EXPECT_FALSE(extra->unregisterObserver(observer));
}

TEST(PulseConnectionTest, NoServerIsOneLineThatNamesTheSimulatedPc) {
    setenv("PULSE_SERVER", "unix:/nonexistent/kvormicrophone/native", 1);
    try {
        createPulseSystem();
        ADD_FAILURE() << "connected to nothing";
    } catch (const ConnectionError& error) {
        const std::string message = error.what();
        EXPECT_NE(message.find("--audio sim"), std::string::npos) << message;
        EXPECT_EQ(message.find('\n'), std::string::npos) << message;
    }
    unsetenv("PULSE_SERVER");
}

TEST(PulseConnectionTest, AServerThatDiesEndsStreamsAndCallsWithoutHanging) {
    PulseTestServer server;
    ASSERT_TRUE(server.running());
    auto system = createPulseSystem();
    const AudioDevicePtr microphone = endpointNamed(*system, "source:int_mic");
    ASSERT_TRUE(microphone);
    libAudio::StaticPCMBuffer capture = makeBuffer(2, kRate, 30.0);
    auto recorder = system->createAudioCaptureEx();
    ASSERT_TRUE(recorder->initialize(microphone, &capture));
    ASSERT_TRUE(recorder->start({}));
    while (capture.position == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    server.kill();
    while (recorder->isStillRecording()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
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
