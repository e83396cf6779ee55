#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <thread>

#include "ContractSupport.hpp"
#include "ContractTarget.hpp"
#include "platform/kvo/Stopwatch.hpp"

// The rules every backend keeps (docs/audio-layer.md), as typed cases that a
// backend instantiates with its ContractTarget. Each case opens the backend
// through the backend table, as the program does.

namespace audio::contract {

// An endpoint that belongs to no audio system: stream objects must refuse it.
class ForeignEndpoint final : public AudioDevice {
public:
    explicit ForeignEndpoint(EDataFlow flow) : flow_(flow) {}
    const std::string& id() const override { return id_; }
    EDataFlow dataFlow() const override { return flow_; }
    DeviceProperty deviceProperty() const override { return {}; }
    std::uint32_t state() const override { return DEVICE_STATE_ACTIVE; }
    bool refresh() override { return true; }
    bool isDefaultEndpoint() override { return false; }
    std::uint32_t compatibleFormats(kvo::Array<tWAVEFORMATEX>& formats,
                                    _AUDCLNT_SHAREMODE) override {
        formats.clear();
        formats.append(makePcmFormat(2, 48000, 16));
        return formats.size();
    }
    HResult isFormatSupported(const WAVEFORMATEX&, _AUDCLNT_SHAREMODE) override { return kOk; }
    std::shared_ptr<VolumeControllerInterface> volumeControl() override { return nullptr; }
    std::uint32_t jackInfo(kvo::Array<KSJACK_DESCRIPTION>& jacks) override {
        jacks.clear();
        return 0;
    }
    std::uint32_t connector(kvo::Array<AudioComponent<IConnector>>& connectors) override {
        connectors.clear();
        return 0;
    }
    bool waveLegacyDeviceID(std::uint32_t&) override { return false; }

private:
    std::string id_ = "foreign";
    EDataFlow flow_;
};

// Records what it hears about one endpoint, on which thread, and whether it
// could call back into the layer from there.
class RecordingObserver final : public SoundCardObserver {
public:
    RecordingObserver(SoundCardPtr card, std::string endpointId)
        : card_(std::move(card)), endpointId_(std::move(endpointId)) {}

    void onEndpointDeviceStateChanged(const std::string& id, std::uint32_t) override { heard(id); }
    void onEndpointDeviceAdded(const std::string& id) override { heard(id); }
    void onEndpointDeviceRemoved(const std::string& id) override { heard(id); }
    void onEndpointDevicePropertyChanged(const std::string& id) override { heard(id); }

    bool heardOfIt() {
        std::lock_guard lock(mutex_);
        return heard_;
    }
    std::set<std::thread::id> threads() {
        std::lock_guard lock(mutex_);
        return threads_;
    }
    bool calledBack() const { return calledBack_.load(); }

private:
    void heard(const std::string& id) {
        // Re-enumerating from the callback must not deadlock.
        kvo::Array<AudioDevicePtr> endpoints;
        card_->endpoints(eAll, DEVICE_STATEMASK_ALL, endpoints);
        calledBack_.store(true);
        std::lock_guard lock(mutex_);
        threads_.insert(std::this_thread::get_id());
        heard_ = heard_ || id == endpointId_;
    }

    SoundCardPtr card_;
    std::string endpointId_;
    std::mutex mutex_;
    bool heard_ = false;
    std::set<std::thread::id> threads_;
    std::atomic<bool> calledBack_{false};
};

template <typename Target>
class AudioContract : public testing::Test {
protected:
    static void SetUpTestSuite() { target_ = new Target; }
    static void TearDownTestSuite() {
        delete target_;
        target_ = nullptr;
    }

    void SetUp() override {
        const Backend* backend = findBackend(target_->backend());
        ASSERT_NE(backend, nullptr) << target_->backend() << " is not in this build's table";
        session_ = backend->open(target_->options());
        system_ = &session_->system();
        speaker_ = endpoint(target_->speaker());
        microphone_ = endpoint(target_->microphone());
        ASSERT_TRUE(speaker_ && microphone_);
    }
    void TearDown() override { session_.reset(); }

    AudioSystem& system() { return *system_; }
    Target& target() { return *target_; }
    AudioDevicePtr endpoint(const std::string& id) { return endpointById(*system_, id); }

    static Target* target_;
    std::unique_ptr<BackendSession> session_;
    AudioSystem* system_ = nullptr;
    AudioDevicePtr speaker_;
    AudioDevicePtr microphone_;
};

template <typename Target>
Target* AudioContract<Target>::target_ = nullptr;

// Skips the case, with the target's reason, when the backend lacks `feature`.
#define KVO_REQUIRE_FEATURE(feature)                                         \
    if (const std::string why = this->target().lacks(feature); !why.empty()) \
    GTEST_SKIP() << why

TYPED_TEST_SUITE_P(AudioContract);

TYPED_TEST_P(AudioContract, EnumerationsReturnTheCountsOfWhatTheyList) {
    AudioSystem& system = this->system();
    kvo::Array<SoundCardPtr> cards;
    const std::uint32_t cardCount = system.soundCards(cards);
    EXPECT_EQ(cardCount, cards.size());
    EXPECT_GT(cardCount, 0U);

    std::uint32_t onCards = 0;
    for (const SoundCardPtr& card : cards) {
        for (const EDataFlow flow : {eRender, eCapture}) {
            kvo::Array<AudioDevicePtr> listed;
            const std::uint32_t count = flow == eRender ? card->allPlaybackDevice(listed)
                                                        : card->microphoneEndpointDevice(listed);
            EXPECT_EQ(count, listed.size()) << card->name();
            for (const AudioDevicePtr& endpoint : listed) {
                EXPECT_EQ(endpoint->dataFlow(), flow) << endpoint->id();
            }
            onCards += count;
        }
    }
    kvo::Array<AudioDevicePtr> all;
    EXPECT_EQ(system.endpoints(eAll, DEVICE_STATEMASK_ALL, all), onCards);
    EXPECT_EQ(all.size(), onCards);

    kvo::Array<AudioDevicePtr> active;
    system.endpoints(eAll, DEVICE_STATE_ACTIVE, active);
    for (const AudioDevicePtr& endpoint : active) {
        EXPECT_EQ(endpoint->state(), DEVICE_STATE_ACTIVE) << endpoint->id();
    }

    for (const EDataFlow flow : {eRender, eCapture}) {
        const AudioDevicePtr preferred = system.defaultEndpoint(flow);
        ASSERT_TRUE(preferred) << dataFlowText(flow);
        EXPECT_EQ(preferred->dataFlow(), flow);
        EXPECT_TRUE(preferred->isDefaultEndpoint()) << preferred->id();
    }
    EXPECT_EQ(this->speaker_->dataFlow(), eRender);
    EXPECT_EQ(this->microphone_->dataFlow(), eCapture);
    EXPECT_TRUE(this->speaker_->refresh());
    EXPECT_EQ(this->speaker_->state(), DEVICE_STATE_ACTIVE);
}

TYPED_TEST_P(AudioContract, StreamObjectsRefuseWhatTheCallerMayNotAskAndSayWhy) {
    const AudioDevicePtr& speaker = this->speaker_;
    const AudioDevicePtr& microphone = this->microphone_;
    auto capture = this->system().createAudioCaptureEx();
    auto renderer = this->system().createAudioRendererEx();
    EXPECT_EQ(capture->lastError(), kOk);

    libAudio::StaticPCMBuffer recording = makeBuffer(sixteenBitFormat(*microphone), 2000);
    libAudio::StaticPCMBuffer empty = makeBuffer(recording.format.Format, 0);
    // Consistent, but no device offers it.
    libAudio::StaticPCMBuffer odd = makeBuffer(makePcmFormat(6, 12345, 24), 100);
    const HResult oddRefused =
        microphone->isFormatSupported(odd.format.Format, capture->shareMode());
    ASSERT_TRUE(failed(oddRefused));
    const auto foreign = std::make_shared<ForeignEndpoint>(eCapture);
    EXPECT_EQ(refusal(capture->start({}), *capture), kNotInitialized);
    EXPECT_EQ(refusal(capture->initialize(nullptr, &recording), *capture), kPointer);
    EXPECT_EQ(refusal(capture->initialize(microphone, nullptr), *capture), kPointer);
    EXPECT_EQ(refusal(capture->initialize(foreign, &recording), *capture), kInvalidArg);
    EXPECT_EQ(refusal(capture->initialize(speaker, &recording), *capture), kWrongEndpointType);
    EXPECT_EQ(refusal(capture->initialize(microphone, &empty), *capture), kInvalidArg);
    EXPECT_EQ(refusal(capture->initialize(microphone, &odd), *capture), oddRefused);

    // A success clears the last error; a second start while running is refused.
    ASSERT_TRUE(capture->initialize(microphone, &recording));
    EXPECT_EQ(capture->lastError(), kOk);
    ASSERT_TRUE(capture->start({}));
    EXPECT_EQ(refusal(capture->start({}), *capture), kNotStopped);
    EXPECT_TRUE(capture->stop());
    EXPECT_FALSE(capture->isStillRecording());
    EXPECT_EQ(capture->threadExitCode(), 0);

    libAudio::StaticPCMBuffer tone = makeTone(sixteenBitFormat(*speaker), 1000.0, 200);
    EXPECT_EQ(refusal(renderer->play(1, {}), *renderer), kNotInitialized);
    EXPECT_TRUE(renderer->compatibleFormat().empty());
    EXPECT_EQ(refusal(renderer->initialize(microphone, &tone), *renderer), kWrongEndpointType);
    ASSERT_TRUE(renderer->initialize(speaker, &tone));
    EXPECT_FALSE(renderer->compatibleFormat().empty());
    EXPECT_EQ(refusal(renderer->play(0, {}), *renderer), kInvalidArg);
    ASSERT_TRUE(renderer->play(1, {}));
    EXPECT_EQ(refusal(renderer->play(1, {}), *renderer), kNotStopped);
    EXPECT_TRUE(renderer->stop());
    EXPECT_FALSE(renderer->isStillPlaying());
}

TYPED_TEST_P(AudioContract, StreamsRunInClockTimeAndEndByThemselvesOrAtTheirTimeout) {
    auto capture = this->system().createAudioCaptureEx();
    libAudio::StaticPCMBuffer recording = makeBuffer(sixteenBitFormat(*this->microphone_), 300);
    const std::size_t whole = recording.pcmStorage.size();
    // A partial frame at the end of the storage is left alone.
    recording.pcmStorage.resize(whole + 1);
    recording.position = 12345;
    kvo::Stopwatch watch;
    EXPECT_EQ(recordToEnd(*capture, this->microphone_, recording), 0);
    EXPECT_GE(watch.elapsedMs(), 290U) << "300 ms of audio take 300 ms of clock time";
    EXPECT_EQ(recording.position, whole);

    auto timed = this->system().createAudioCaptureEx();
    libAudio::StaticPCMBuffer longer = makeBuffer(sixteenBitFormat(*this->microphone_), 5000);
    timed->setTimeout(100);
    EXPECT_EQ(recordToEnd(*timed, this->microphone_, longer), kCaptureTimedOut);
    EXPECT_EQ(timed->lastError(), kOk) << "the end of a capture is not a failed call";
    EXPECT_LT(longer.position, longer.pcmStorage.size());

    auto renderer = this->system().createAudioRendererEx();
    libAudio::StaticPCMBuffer tone = makeTone(sixteenBitFormat(*this->speaker_), 440.0, 200);
    ASSERT_TRUE(renderer->initialize(this->speaker_, &tone));
    watch.reset();
    ASSERT_TRUE(renderer->play(2, {}));
    EXPECT_TRUE(renderer->isStillPlaying());
    EXPECT_TRUE(waitWhile([&] { return renderer->isStillPlaying(); }, 10000));
    EXPECT_GE(watch.elapsedMs(), 390U) << "two repetitions of 200 ms";
    EXPECT_TRUE(renderer->stop());
}

TYPED_TEST_P(AudioContract, TheStopCallbackIsAskedOnTheStreamThreadAndEndsNormally) {
    const std::thread::id caller = std::this_thread::get_id();
    std::atomic<int> asked{0};
    std::atomic<bool> askedOnCaller{false};
    const auto stopAfterTenPackets = [&] {
        askedOnCaller.store(askedOnCaller.load() || std::this_thread::get_id() == caller);
        return ++asked >= 10;
    };

    auto capture = this->system().createAudioCaptureEx();
    libAudio::StaticPCMBuffer recording = makeBuffer(sixteenBitFormat(*this->microphone_), 5000);
    EXPECT_EQ(recordToEnd(*capture, this->microphone_, recording, stopAfterTenPackets), 0);
    EXPECT_EQ(asked.load(), 10);
    EXPECT_LT(recording.position, recording.pcmStorage.size());

    asked.store(0);
    auto renderer = this->system().createAudioRendererEx();
    libAudio::StaticPCMBuffer tone = makeTone(sixteenBitFormat(*this->speaker_), 1000.0, 1000);
    ASSERT_TRUE(renderer->initialize(this->speaker_, &tone));
    ASSERT_TRUE(renderer->play(30, stopAfterTenPackets));
    EXPECT_TRUE(waitWhile([&] { return renderer->isStillPlaying(); }));
    EXPECT_EQ(asked.load(), 10);
    EXPECT_FALSE(askedOnCaller.load());
}

// The modern stream objects in the endpoint's own format, then the legacy wave
// objects in 44.1 kHz stereo: each hears the tone the other plays.
TYPED_TEST_P(AudioContract, AToneIsHeardThroughTheLoopbackFromSamplesCopiedAtPlay) {
    KVO_REQUIRE_FEATURE(Feature::Loopback);
    struct Pair {
        std::unique_ptr<AudioRenderer> renderer;
        std::unique_ptr<AudioCapture> capture;
        WAVEFORMATEX speakerFormat, microphoneFormat;
    };
    const WAVEFORMATEX wave = makePcmFormat(2, 44100, 16);
    Pair pairs[] = {{this->system().createAudioRendererEx(), this->system().createAudioCaptureEx(),
                     sixteenBitFormat(*this->speaker_), sixteenBitFormat(*this->microphone_)},
                    {this->system().createAudioRendererLegacyWave(),
                     this->system().createAudioCaptureLegacyWave(), wave, wave}};
    EXPECT_EQ(pairs[1].capture->shareMode(), AUDCLNT_SHAREMODE_SHARED);
    for (Pair& pair : pairs) {
        SCOPED_TRACE(pair.speakerFormat.nSamplesPerSec);
        libAudio::StaticPCMBuffer tone = makeTone(pair.speakerFormat, 1000.0, 1000);
        libAudio::StaticPCMBuffer recording = makeBuffer(pair.microphoneFormat, 1000);
        ASSERT_TRUE(pair.renderer->initialize(this->speaker_, &tone));
        ASSERT_TRUE(pair.renderer->play(3, {}));
        // The playback has its own copy: what the caller does with the buffer now is not heard.
        std::fill(tone.pcmStorage.data(), tone.pcmStorage.data() + tone.pcmStorage.size(), 0);
        EXPECT_EQ(recordToEnd(*pair.capture, this->microphone_, recording), 0);
        EXPECT_EQ(recording.position, recording.pcmStorage.size());
        pair.renderer->stop();
        const double heard = toneLevel(recording, 1000.0);
        EXPECT_GT(heard, 0.001) << "the microphone hears the speaker";
        EXPECT_GT(heard, 20.0 * toneLevel(recording, 1500.0)) << "and hears a tone, not noise";
    }
}

TYPED_TEST_P(AudioContract, WaveDevicesRefuseWhatWinmmRefusesAndRecordAndPlayOtherwise) {
    auto waveIn = this->system().createWaveIn();
    auto waveOut = this->system().createWaveOut();
    const WAVEFORMATEX wave = makePcmFormat(2, 44100, 16);
    libAudio::StaticPCMBuffer recording = makeBuffer(wave, 200);
    libAudio::StaticPCMBuffer tone = makeTone(wave, 1000.0, 100);
    libAudio::StaticPCMBuffer floatTrack = makeBuffer(wave, 100);
    floatTrack.format.Format.wFormatTag = WAVE_FORMAT_IEEE_FLOAT;
    EXPECT_EQ(refusal(waveIn->start(), *waveIn), kNotInitialized);
    EXPECT_EQ(refusal(waveIn->open(1000, &recording), *waveIn), kNotFound);
    EXPECT_EQ(refusal(waveOut->open(WAVE_MAPPER_ID, floatTrack), *waveOut), kUnsupportedFormat);

    std::uint32_t waveId = 0;
    ASSERT_TRUE(this->microphone_->waveLegacyDeviceID(waveId));
    ASSERT_TRUE(waveIn->open(waveId, &recording));
    ASSERT_TRUE(waveIn->start());
    EXPECT_EQ(waveIn->errorCode(), 0);
    EXPECT_TRUE(waitWhile([&] { return waveIn->stillRecording(); }));
    EXPECT_TRUE(waveIn->stop());
    EXPECT_EQ(waveIn->errorCode(), 0);
    EXPECT_EQ(recording.position, recording.pcmStorage.size());
    waveIn->close();
    EXPECT_FALSE(waveIn->start());

    ASSERT_TRUE(waveOut->open(WAVE_MAPPER_ID, tone));
    EXPECT_EQ(refusal(waveOut->start(0), *waveOut), kInvalidArg);
    ASSERT_TRUE(waveOut->start(2));
    EXPECT_EQ(waveOut->errorCode(), 0);
    EXPECT_TRUE(waitWhile([&] { return waveOut->stillPlaying(); }, 10000));
    EXPECT_EQ(waveOut->errorCode(), 0);
    EXPECT_TRUE(waveOut->stop());
}

TYPED_TEST_P(AudioContract, VolumeAndMuteComeBackAsTheyWereSet) {
    KVO_REQUIRE_FEATURE(Feature::VolumeControl);
    for (const AudioDevicePtr& endpoint : {this->speaker_, this->microphone_}) {
        const std::string& id = endpoint->id();
        const auto volume = endpoint->volumeControl();
        ASSERT_TRUE(volume) << id;
        std::uint32_t savedPercent = 0;
        bool savedMute = false;
        ASSERT_TRUE(volume->getVolumeLevel(savedPercent)) << id;
        ASSERT_TRUE(volume->getMute(savedMute)) << id;

        for (const std::uint32_t percent : {30U, 50U, 100U, savedPercent}) {
            EXPECT_TRUE(volume->setVolumeLevel(percent)) << id;
            std::uint32_t read = 0;
            EXPECT_TRUE(volume->getVolumeLevel(read)) << id;
            EXPECT_EQ(read, percent) << id;
        }
        EXPECT_FALSE(volume->setVolumeLevel(101)) << id;
        for (const bool mute : {!savedMute, savedMute}) {
            EXPECT_TRUE(volume->setMute(mute)) << id;
            bool read = !mute;
            EXPECT_TRUE(volume->getMute(read)) << id;
            EXPECT_EQ(read, mute) << id;
        }
        std::uint32_t channels = 0;
        EXPECT_TRUE(volume->channelCount(channels)) << id;
        EXPECT_GT(channels, 0U) << id;
        float scalar = 0.0F;
        EXPECT_FALSE(volume->channelVolumeLevel(channels, scalar)) << id << ": no such channel";
    }
}

TYPED_TEST_P(AudioContract, AnEndpointOutlivesItsDeviceAndItsStreamsEndAsInvalidated) {
    KVO_REQUIRE_FEATURE(Feature::DeviceRemoval);
    this->target().prepareRemovableDevice();
    const AudioDevicePtr microphone = this->endpoint(this->target().removableMicrophone());
    ASSERT_TRUE(microphone);
    auto capture = this->system().createAudioCaptureEx();
    libAudio::StaticPCMBuffer recording = makeBuffer(sixteenBitFormat(*microphone), 20000);
    ASSERT_TRUE(capture->initialize(microphone, &recording));
    ASSERT_TRUE(capture->start({}));
    this->target().removeDevice();
    EXPECT_TRUE(waitWhile([&] { return capture->isStillRecording(); }));
    EXPECT_EQ(capture->threadExitCode(), kDeviceInvalidated);

    // Gone: either the endpoint cannot be reached, or it says it is not active.
    const bool reached = microphone->refresh();
    EXPECT_TRUE(!reached || microphone->state() != DEVICE_STATE_ACTIVE) << microphone->id();
    EXPECT_EQ(refusal(capture->start({}), *capture), kDeviceInvalidated);
    // Its other operations answer without crashing.
    kvo::Array<WAVEFORMATEX> formats;
    kvo::Array<KSJACK_DESCRIPTION> jacks;
    microphone->compatibleFormats(formats, AUDCLNT_SHAREMODE_SHARED);
    microphone->jackInfo(jacks);
    EXPECT_FALSE(microphone->isDefaultEndpoint());
}

TYPED_TEST_P(AudioContract, ObserversHearOfARemovalOffTheCallersThreadAndMayCallBack) {
    KVO_REQUIRE_FEATURE(Feature::Notifications);
    KVO_REQUIRE_FEATURE(Feature::DeviceRemoval);
    this->target().prepareRemovableDevice();
    const std::string id = this->target().removableMicrophone();
    kvo::Array<SoundCardPtr> cards;
    this->system().soundCards(cards);
    SoundCardPtr card;
    for (const SoundCardPtr& candidate : cards) {
        kvo::Array<AudioDevicePtr> endpoints;
        candidate->microphoneEndpointDevice(endpoints);
        for (const AudioDevicePtr& endpoint : endpoints) {
            card = endpoint->id() == id ? candidate : card;
        }
    }
    ASSERT_TRUE(card) << "no card lists " << id;
    const auto observer = std::make_shared<RecordingObserver>(card, id);
    const auto playbackOnly = std::make_shared<RecordingObserver>(card, id);
    EXPECT_TRUE(card->registerRecordObserver(observer));
    EXPECT_FALSE(card->registerRecordObserver(observer)) << "registered twice";
    EXPECT_FALSE(card->registerRecordObserver(nullptr));
    EXPECT_TRUE(card->registerPlaybackObserver(playbackOnly));

    this->target().removeDevice();
    EXPECT_TRUE(waitWhile([&] { return !observer->heardOfIt(); }));
    EXPECT_TRUE(observer->calledBack());
    EXPECT_EQ(observer->threads().count(std::this_thread::get_id()), 0U);
    EXPECT_FALSE(playbackOnly->heardOfIt()) << "a microphone is not the playback direction";
    EXPECT_TRUE(card->unregisterObserver(observer));
    EXPECT_FALSE(card->unregisterObserver(observer));
    EXPECT_TRUE(card->unregisterObserver(playbackOnly));
}

REGISTER_TYPED_TEST_SUITE_P(AudioContract, EnumerationsReturnTheCountsOfWhatTheyList,
                            StreamObjectsRefuseWhatTheCallerMayNotAskAndSayWhy,
                            StreamsRunInClockTimeAndEndByThemselvesOrAtTheirTimeout,
                            TheStopCallbackIsAskedOnTheStreamThreadAndEndsNormally,
                            AToneIsHeardThroughTheLoopbackFromSamplesCopiedAtPlay,
                            WaveDevicesRefuseWhatWinmmRefusesAndRecordAndPlayOtherwise,
                            VolumeAndMuteComeBackAsTheyWereSet,
                            AnEndpointOutlivesItsDeviceAndItsStreamsEndAsInvalidated,
                            ObserversHearOfARemovalOffTheCallersThreadAndMayCallBack);

}  // namespace audio::contract
