#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "SimTestSupport.hpp"

namespace audio::sim::test {
namespace {

using nlohmann::json;

// Bench level of the 1 kHz tone at "mic": -6.02 - 20 + 10 dB.
constexpr double kBenchToneDb = -16.02;

class SimFaults : public VirtualTime, public testing::Test {
protected:
    json machine = benchMachine();
    json& mic() { return machine["endpoints"][1]; }
    json& speaker() { return machine["endpoints"][0]; }
};

class RecordingObserver : public SoundCardObserver {
public:
    void onEndpointDeviceStateChanged(const std::string& id, std::uint32_t state) override {
        const std::lock_guard lock(mutex);
        changes.emplace_back(id, state);
        threads.push_back(std::this_thread::get_id());
    }
    void onEndpointDeviceAdded(const std::string&) override {}
    void onEndpointDeviceRemoved(const std::string&) override {}
    void onEndpointDevicePropertyChanged(const std::string&) override {}

    std::mutex mutex;
    std::vector<std::pair<std::string, std::uint32_t>> changes;
    std::vector<std::thread::id> threads;
};

TEST_F(SimFaults, DeadMicrophoneDeliversDigitalSilence) {
    mic()["noiseDbfs"] = -60;
    mic()["faults"] = {{"dead", true}};
    const auto system = makeSystem(machine);
    EXPECT_TRUE(isDigitalSilence(captureTone(*system, "spk", "mic", 1000)));
}

TEST_F(SimFaults, DisconnectedMicrophoneHearsOnlyItsNoise) {
    mic()["noiseDbfs"] = -60;
    mic()["faults"] = {{"disconnected", true}};
    const auto system = makeSystem(machine);
    const libAudio::StaticPCMBuffer recording = captureTone(*system, "spk", "mic", 1000);
    EXPECT_LT(toneDb(recording, 0, 1000), -70.0);
    EXPECT_NEAR(rmsDb(recording, 0), -50.0, 0.3);
    kvo::Array<KSJACK_DESCRIPTION> jacks;
    ASSERT_EQ(endpointById(*system, "mic")->jackInfo(jacks), 1u);
    EXPECT_FALSE(jacks[0].IsConnected);
}

TEST_F(SimFaults, WeakMicrophoneIsQuieterByItsWeakness) {
    mic()["faults"] = {{"weakDb", 25}};
    const auto system = makeSystem(machine);
    EXPECT_NEAR(toneDb(captureTone(*system, "spk", "mic", 1000), 0, 1000), kBenchToneDb - 25, 0.05);
}

TEST_F(SimFaults, NoisyMicrophoneHumsAtItsLevel) {
    mic()["faults"] = {{"hum", {{"hz", 50}, {"dbfs", -30}}}};
    const auto system = makeSystem(machine);
    // -30 dBFS RMS is a peak of -26.99 dB, raised by the +10 dB endpoint volume.
    EXPECT_NEAR(toneDb(captureSilence(*system, "mic"), 0, 50), -30 + 3.01 + 10, 0.05);
}

TEST_F(SimFaults, SilentSpeakerPlaysWithoutSound) {
    speaker()["faults"] = {{"silent", true}};
    const auto system = makeSystem(machine);
    libAudio::StaticPCMBuffer tone = makeBuffer(makePcmFormat(2, 48000, 16), 1000);
    fillTone(tone, 1000, 0.5);
    const auto renderer = system->createAudioRendererEx();
    ASSERT_TRUE(renderer->initialize(endpointById(*system, "spk"), &tone));
    ASSERT_TRUE(renderer->play(1, {}));
    EXPECT_TRUE(renderer->isStillPlaying());
    renderer->stop();
    EXPECT_TRUE(isDigitalSilence(captureTone(*system, "spk", "mic", 1000)));
}

TEST_F(SimFaults, UnplugAtItsTimeEndsTheCaptureAndIsNotified) {
    mic()["faults"] = {{"stateChanges", json::array({{{"atMs", 500}, {"state", "unplugged"}}})}};
    const auto system = makeSystem(machine);
    kvo::Array<SoundCardPtr> cards;
    system->soundCards(cards);
    const auto recordObserver = std::make_shared<RecordingObserver>();
    const auto playbackObserver = std::make_shared<RecordingObserver>();
    ASSERT_TRUE(cards[0]->registerRecordObserver(recordObserver));
    ASSERT_FALSE(cards[0]->registerRecordObserver(recordObserver));
    ASSERT_TRUE(cards[0]->registerPlaybackObserver(playbackObserver));
    const AudioDevicePtr endpoint = endpointById(*system, "mic");
    EXPECT_TRUE(endpoint->isDefaultEndpoint());

    libAudio::StaticPCMBuffer recording = makeBuffer(makePcmFormat(2, 48000, 16), 2000);
    const auto capture = system->createAudioCaptureEx();
    ASSERT_TRUE(capture->initialize(endpoint, &recording));
    ASSERT_TRUE(capture->start({}));
    waitWhile([&] { return capture->isStillRecording(); });
    EXPECT_EQ(capture->threadExitCode(), kDeviceInvalidated);
    EXPECT_GE(recording.position, 480u * 48 * 4);
    EXPECT_LE(recording.position, 500u * 48 * 4);

    EXPECT_EQ(endpoint->state(), DEVICE_STATE_ACTIVE);  // until refreshed
    ASSERT_TRUE(endpoint->refresh());
    EXPECT_EQ(endpoint->state(), DEVICE_STATE_UNPLUGGED);
    EXPECT_FALSE(endpoint->isDefaultEndpoint());
    EXPECT_EQ(system->defaultEndpoint(eCapture)->id(), "mic2");
    EXPECT_FALSE(capture->start({}));
    EXPECT_EQ(capture->lastError(), kDeviceInvalidated);

    kvo::System::mssleep(100);
    const std::lock_guard lock(recordObserver->mutex);
    ASSERT_EQ(recordObserver->changes.size(), 1u);
    EXPECT_EQ(recordObserver->changes[0], std::pair(std::string("mic"), DEVICE_STATE_UNPLUGGED));
    EXPECT_NE(recordObserver->threads[0], std::this_thread::get_id());
    EXPECT_TRUE(playbackObserver->changes.empty());
    EXPECT_TRUE(cards[0]->unregisterObserver(recordObserver));
    EXPECT_FALSE(cards[0]->unregisterObserver(recordObserver));
}

TEST_F(SimFaults, EndpointDisabledLaterCannotBeUsedAnyMore) {
    mic()["faults"] = {{"stateChanges", json::array({{{"atMs", 100}, {"state", "disabled"}}})}};
    const auto system = makeSystem(machine);
    const AudioDevicePtr endpoint = endpointById(*system, "mic");
    std::uint32_t waveId = 99;
    EXPECT_TRUE(endpoint->waveLegacyDeviceID(waveId));
    kvo::System::mssleep(200);
    kvo::Array<tWAVEFORMATEX> formats;
    EXPECT_EQ(endpoint->compatibleFormats(formats, AUDCLNT_SHAREMODE_SHARED), 0u);
    EXPECT_FALSE(endpoint->waveLegacyDeviceID(waveId));
    libAudio::StaticPCMBuffer recording = makeBuffer(makePcmFormat(2, 48000, 16), 100);
    const auto capture = system->createAudioCaptureEx();
    EXPECT_FALSE(capture->initialize(endpoint, &recording));
    EXPECT_EQ(capture->lastError(), kDeviceInvalidated);
    kvo::Array<AudioDevicePtr> active;
    system->endpoints(eCapture, DEVICE_STATE_ACTIVE, active);
    ASSERT_EQ(active.size(), 1u);
    EXPECT_EQ(active[0]->id(), "mic2");
}

TEST_F(SimFaults, CaptureRefusesToStartTheGivenNumberOfTimesWhateverTheApi) {
    mic()["faults"] = {{"startFailures", 2}};
    const auto system = makeSystem(machine);
    libAudio::StaticPCMBuffer recording = makeBuffer(makePcmFormat(2, 48000, 16), 100);
    const auto capture = system->createAudioCaptureEx();
    ASSERT_TRUE(capture->initialize(endpointById(*system, "mic"), &recording));
    EXPECT_FALSE(capture->start({}));
    EXPECT_EQ(capture->lastError(), kDeviceInUse);
    const auto waveIn = system->createWaveIn();
    ASSERT_TRUE(waveIn->open(WAVE_MAPPER_ID, &recording));
    EXPECT_FALSE(waveIn->start());
    EXPECT_EQ(waveIn->errorCode(), kDeviceInUse);
    EXPECT_TRUE(capture->start({}));
    waitWhile([&] { return capture->isStillRecording(); });
    EXPECT_EQ(capture->threadExitCode(), 0);
}

TEST_F(SimFaults, InterruptedCaptureEndsEarlyWithANonZeroExitCode) {
    mic()["faults"] = {{"interruptAfterMs", 300}, {"interruptCount", 1}};
    const auto system = makeSystem(machine);
    libAudio::StaticPCMBuffer recording = makeBuffer(makePcmFormat(2, 48000, 16), 1000);
    const auto capture = system->createAudioCaptureEx();
    ASSERT_TRUE(capture->initialize(endpointById(*system, "mic"), &recording));
    ASSERT_TRUE(capture->start({}));
    waitWhile([&] { return capture->isStillRecording(); });
    EXPECT_EQ(capture->threadExitCode(), kBufferError);
    EXPECT_EQ(recording.position, 300u * 48 * 4);
    // Only the first capture was to be interrupted.
    ASSERT_TRUE(capture->start({}));
    waitWhile([&] { return capture->isStillRecording(); });
    EXPECT_EQ(capture->threadExitCode(), 0);
    EXPECT_EQ(recording.position, recording.pcmStorage.size());
}

TEST_F(SimFaults, PlaybackRefusesToStartTheGivenNumberOfTimes) {
    speaker()["faults"] = {{"playFailures", 1}};
    const auto system = makeSystem(machine);
    libAudio::StaticPCMBuffer tone = makeBuffer(makePcmFormat(2, 48000, 16), 100);
    const auto renderer = system->createAudioRendererEx();
    ASSERT_TRUE(renderer->initialize(endpointById(*system, "spk"), &tone));
    EXPECT_FALSE(renderer->play(1, {}));
    EXPECT_EQ(renderer->lastError(), kDeviceInUse);
    EXPECT_TRUE(renderer->play(1, {}));
}

TEST_F(SimFaults, EndpointOffersExactlyTheFormatsOfTheMachine) {
    speaker()["formats"] = {
        {"shared", json::array({{{"rate", 48000}, {"bits", 24}, {"channels", 2}},
                                {{"rate", 48000}, {"bits", 16}, {"channels", 1}}})},
        {"exclusive", json::array()}};
    const auto system = makeSystem(machine);
    const AudioDevicePtr endpoint = endpointById(*system, "spk");
    kvo::Array<tWAVEFORMATEX> formats;
    ASSERT_EQ(endpoint->compatibleFormats(formats, AUDCLNT_SHAREMODE_SHARED), 2u);
    EXPECT_EQ(formats[0], makePcmFormat(2, 48000, 24));
    EXPECT_EQ(formats[1], makePcmFormat(1, 48000, 16));
    EXPECT_EQ(endpoint->compatibleFormats(formats, AUDCLNT_SHAREMODE_EXCLUSIVE), 0u);
    libAudio::StaticPCMBuffer stereo16 = makeBuffer(makePcmFormat(2, 48000, 16), 100);
    const auto renderer = system->createAudioRendererEx();
    EXPECT_FALSE(renderer->initialize(endpoint, &stereo16));
    EXPECT_EQ(renderer->lastError(), kUnsupportedFormat);
}

TEST_F(SimFaults, MachineSetsDriverWindowsVersionAndAStopRequest) {
    machine["soundCards"][0]["driver"] = "rtkvhd64.sys";
    machine["soundCards"][0]["driverVersion"] = "6.0.1.58641";
    machine["windowsVersion"] = "6.0";
    machine["stopRequestAtMs"] = 250;
    const auto system = makeSystem(machine);
    kvo::Array<SoundCardPtr> cards;
    ASSERT_EQ(system->soundCards(cards), 1u);
    EXPECT_EQ(cards[0]->driver(), "rtkvhd64.sys");
    EXPECT_EQ(cards[0]->driverVersion(), "6.0.1.58641");
    EXPECT_TRUE(system->isWindowsVersionOrLater(6, 0));
    EXPECT_FALSE(system->isWindowsVersionOrLater(6, 1));
    EXPECT_FALSE(system->stopRequested());
    kvo::System::mssleep(249);
    EXPECT_FALSE(system->stopRequested());
    kvo::System::mssleep(1);
    EXPECT_TRUE(system->stopRequested());
}

}  // namespace
}  // namespace audio::sim::test
