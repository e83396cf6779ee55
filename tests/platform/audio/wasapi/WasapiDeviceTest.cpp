#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "common/COM/comptr.hpp"
#include "platform/audio/wasapi/AdapterInfo.hpp"
#include "platform/audio/wasapi/Endpoints.hpp"
#include "support/CapturingLogSink.hpp"

// The backend's endpoints under Wine, on the private PulseAudio daemon of
// scripts/wine-audio-bed.sh: "Built-in Speaker"/"Built-in Microphone" (the
// microphone hears the speaker), "USB Headphones"/"USB Microphone", and the
// monitors Wine lists as line-level inputs. Wine adds "PulseAudio Output" and
// "PulseAudio Input", which follow the server's defaults.

namespace audio::wasapi {
namespace {

long timesSaid(const kvo::test::CapturingLogSink& log, const std::string& text) {
    const auto said = log.messages("audio.wasapi");
    return std::count_if(said.begin(), said.end(), [&](const std::string& line) {
        return line.find(text) != std::string::npos;
    });
}

class WasapiDeviceTest : public ::testing::Test {
protected:
    const kvormicrophone::COMInitializer com_;
    std::shared_ptr<Context> context_ = Context::create();

    AudioDevicePtr endpointNamed(EDataFlow flow, const std::string& description) {
        for (const EndpointRecord& record :
             enumerateEndpoints(*context_, flow, DEVICE_STATE_ACTIVE)) {
            if (record.property.description == description) {
                return makeEndpoint(context_, record);
            }
        }
        return nullptr;
    }
};

// Which devices Wine shows, with their formats, is the end-to-end runs'; an
// endpoint of a device that is gone cannot be shown there.
TEST_F(WasapiDeviceTest, AnEndpointOfAGoneDeviceAnswersWithoutIt) {
    EndpointRecord gone;
    gone.id = L"{0.0.1.00000000}.{00000000-0000-0000-0000-000000000000}";
    gone.utf8Id = toUtf8(gone.id.c_str());
    gone.place.flow = eCapture;
    gone.state = DEVICE_STATE_ACTIVE;
    const AudioDevicePtr missing = makeEndpoint(context_, gone);
    EXPECT_FALSE(missing->refresh());
    EXPECT_EQ(missing->state(), DEVICE_STATE_ACTIVE) << "a failed refresh keeps the state";
    kvo::Array<tWAVEFORMATEX> formats;
    EXPECT_EQ(missing->compatibleFormats(formats, AUDCLNT_SHAREMODE_SHARED), 0u);
    EXPECT_EQ(missing->isFormatSupported(makePcmFormat(2, 48000, 16), AUDCLNT_SHAREMODE_SHARED),
              kDeviceInvalidated);
    EXPECT_EQ(missing->volumeControl(), nullptr);
    std::uint32_t number = 0;
    EXPECT_FALSE(missing->waveLegacyDeviceID(number));
}

// What is built in shows in the end-to-end runs; here, that a missing topology
// is said once, however often the jacks are read, and what stands in for it.
TEST_F(WasapiDeviceTest, WithoutTopologyJacksComeFromTheFormFactorAndCardsFromTheInterface) {
    const kvo::test::CapturingLogSink log;
    const AudioDevicePtr microphone = endpointNamed(eCapture, "Built-in Microphone");
    ASSERT_TRUE(microphone);
    kvo::Array<KSJACK_DESCRIPTION> jacks;
    for (int read = 0; read < 2; ++read) {
        ASSERT_EQ(microphone->jackInfo(jacks), 1u);
        EXPECT_EQ(jacks[0].PortConnection, ePortConnIntegratedDevice);
    }
    kvo::Array<AudioComponent<IConnector>> connectors;
    EXPECT_EQ(microphone->connector(connectors), 0u);
    EXPECT_EQ(timesSaid(log,
                        "\"Built-in Microphone\" has no device topology: its jack is "
                        "taken from its form factor, microphone"),
              1);

    const auto cards = soundCardsOf(context_);
    const auto card = std::find_if(cards.begin(), cards.end(), [](const SoundCardPtr& each) {
        return each->name() == "Built-in Microphone";
    });
    ASSERT_NE(card, cards.end());
    EXPECT_EQ((*card)->driver(), "");
    kvo::Array<AudioDevicePtr> microphones;
    kvo::Array<AudioDevicePtr> speakers;
    EXPECT_EQ((*card)->microphoneEndpointDevice(microphones), 1u);
    EXPECT_EQ((*card)->allPlaybackDevice(speakers), 0u);
    EXPECT_EQ(microphones[0]->deviceProperty().description, "Built-in Microphone");
    EXPECT_EQ(timesSaid(log,
                        "endpoint \"Built-in Microphone\" has no device topology "
                        "(0x80004002 E_NOINTERFACE): its sound card is named after its "
                        "interface, \"Built-in Microphone\", without driver information"),
              1);
}

TEST_F(WasapiDeviceTest, WaveDeviceNumbersNameTheSameEndpoints) {
    const AudioDevicePtr microphone = endpointNamed(eCapture, "Built-in Microphone");
    const AudioDevicePtr speaker = endpointNamed(eRender, "Built-in Speaker");
    ASSERT_TRUE(microphone && speaker);
    std::uint32_t in = 0;
    std::uint32_t out = 0;
    ASSERT_TRUE(microphone->waveLegacyDeviceID(in));
    ASSERT_TRUE(speaker->waveLegacyDeviceID(out));
    EXPECT_LT(in, waveInGetNumDevs());
    EXPECT_LT(out, waveOutGetNumDevs());
    WAVEINCAPSW caps{};
    ASSERT_EQ(waveInGetDevCapsW(in, &caps, sizeof(caps)), MMSYSERR_NOERROR);
    EXPECT_NE(toUtf8(caps.szPname).find("Built-in Microphone"), std::string::npos);
}

TEST(WasapiAdapterInfoTest, VersionsComeFromTheFilesVersionResource) {
    wchar_t system[MAX_PATH] = {};
    ASSERT_GT(GetSystemDirectoryW(system, MAX_PATH), 0u);
    const std::string version = fileVersionOf(std::wstring(system) + L"\\kernel32.dll");
    EXPECT_EQ(std::count(version.begin(), version.end(), '.'), 3) << version;
    EXPECT_EQ(fileVersionOf(std::wstring(system) + L"\\no-such-driver.sys"), "");
    AdapterInfo info;
    EXPECT_FALSE(
        describeAdapter(L"\\\\?\\no#such#adapter#{00000000-0000-0000-0000-000000000000}", info));
}

// Records what reached it and on which thread.
class RecordingObserver final : public SoundCardObserver {
public:
    void onEndpointDeviceStateChanged(const std::string& id, std::uint32_t state) override {
        note("state " + id + " " + std::to_string(state));
    }
    void onEndpointDeviceAdded(const std::string& id) override { note("added " + id); }
    void onEndpointDeviceRemoved(const std::string& id) override { note("removed " + id); }
    void onEndpointDevicePropertyChanged(const std::string& id) override { note("property " + id); }

    std::vector<std::string> waitFor(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(5), [&] { return seen_.size() >= count; });
        return seen_;
    }
    std::thread::id thread() {
        const std::lock_guard lock(mutex_);
        return thread_;
    }

private:
    void note(const std::string& text) {
        {
            const std::lock_guard lock(mutex_);
            seen_.push_back(text);
            thread_ = std::this_thread::get_id();
        }
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> seen_;
    std::thread::id thread_;
};

TEST(WasapiNotifierTest, ChangesReachTheObserversOfTheirCardAndDirectionOnTheNotifiersThread) {
    Notifier notifier([](const std::string& id, EndpointPlace& place) {
        if (id == "unknown") {
            return false;
        }
        place = {id.rfind("mic", 0) == 0 ? "card-a" : "card-b",
                 id.rfind("mic", 0) == 0 ? eCapture : eRender};
        return true;
    });
    auto recorder = std::make_shared<RecordingObserver>();
    auto player = std::make_shared<RecordingObserver>();
    ASSERT_TRUE(notifier.observers()->add("card-a", eCapture, recorder));
    EXPECT_FALSE(notifier.observers()->add("card-a", eCapture, recorder))
        << "twice for one direction";
    ASSERT_TRUE(notifier.observers()->add("card-b", eRender, player));

    notifier.post({EndpointChange::StateChanged, "mic-1", DEVICE_STATE_UNPLUGGED});
    notifier.post({EndpointChange::Added, "unknown"});
    notifier.post({EndpointChange::Removed, "speaker-1"});
    notifier.post({EndpointChange::PropertyChanged, "mic-1"});
    EXPECT_EQ(recorder->waitFor(2), (std::vector<std::string>{"state mic-1 8", "property mic-1"}));
    EXPECT_EQ(player->waitFor(1), (std::vector<std::string>{"removed speaker-1"}));
    EXPECT_NE(recorder->thread(), std::this_thread::get_id());

    EXPECT_TRUE(notifier.observers()->remove("card-a", recorder));
    EXPECT_FALSE(notifier.observers()->remove("card-a", recorder));
    notifier.post({EndpointChange::Added, "mic-2"});
    notifier.post({EndpointChange::Added, "speaker-2"});
    EXPECT_EQ(player->waitFor(2).size(), 2u);
    EXPECT_EQ(recorder->waitFor(0).size(), 2u) << "nothing after it was removed";
}

}  // namespace
}  // namespace audio::wasapi
