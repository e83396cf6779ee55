#include <gtest/gtest.h>

#include <cmath>

#include "SimTestSupport.hpp"
#include "platform/audio/DeviceReport.hpp"

namespace audio::sim::test {
namespace {

using nlohmann::json;

class SimDevices : public VirtualTime, public testing::Test {};

TEST_F(SimDevices, VolumeControllerKeepsTheBalanceAndRefusesWhatItCannotDo) {
    const auto system = makeSystem(benchMachine());
    const auto volume = endpointById(*system, "mic")->volumeControl();
    ASSERT_TRUE(volume->setChannelVolumeLevel(1, 0.5F));
    ASSERT_TRUE(volume->setVolumeLevel(50));
    float left = 0;
    float right = 0;
    ASSERT_TRUE(volume->channelVolumeLevel(0, left));
    ASSERT_TRUE(volume->channelVolumeLevel(1, right));
    EXPECT_FLOAT_EQ(left, 0.5F);
    EXPECT_FLOAT_EQ(right, 0.25F);
    std::uint32_t percent = 0;
    ASSERT_TRUE(volume->getVolumeLevel(percent));
    EXPECT_EQ(percent, 50u);
    float rightDb = 0;
    ASSERT_TRUE(volume->channelDecibelLevel(1, rightDb));
    EXPECT_FLOAT_EQ(rightDb, -20.0F);  // a quarter of -30..+10 dB

    float minDb = 0;
    float maxDb = 0;
    float stepDb = 0;
    ASSERT_TRUE(volume->decibelRange(0, minDb, maxDb, stepDb));
    EXPECT_EQ(std::tuple(minDb, maxDb, stepDb), std::tuple(-30.0F, 10.0F, 0.5F));
}

TEST_F(SimDevices, VolumeWithoutDecibelInformationOrEndpointSaysSo) {
    json machine = benchMachine();
    machine["endpoints"][1]["volume"]["decibelInfo"] = false;
    machine["endpoints"][2]["state"] = "notPresent";
    const auto system = makeSystem(machine);
    float minDb = 0;
    float maxDb = 0;
    float stepDb = 0;
    EXPECT_FALSE(
        endpointById(*system, "mic")->volumeControl()->decibelRange(0, minDb, maxDb, stepDb));
    EXPECT_EQ(endpointById(*system, "mic2")->volumeControl(), nullptr);
    kvo::Array<AudioComponent<IConnector>> connectors;
    EXPECT_EQ(endpointById(*system, "mic2")->connector(connectors), 0u);
}

TEST_F(SimDevices, TopologyChainsTheAdapterConnectorEveryStageAndTheJack) {
    json machine = benchMachine();
    machine["endpoints"][1]["stages"].push_back(
        {{"name", "Input Gain"}, {"channels", 1}, {"minDb", -12}, {"maxDb", 12}, {"stepDb", 1.5}});
    const auto system = makeSystem(machine);
    kvo::Array<AudioComponent<IConnector>> connectors;
    ASSERT_EQ(endpointById(*system, "mic")->connector(connectors), 1u);
    std::shared_ptr<IConnector> adapter;
    ASSERT_EQ(connectors[0].component->GetConnectedTo(adapter), kOk);
    std::shared_ptr<IPart> part;
    ASSERT_EQ(adapter->QueryInterface(part), kOk);

    std::vector<std::string> names;
    std::vector<std::shared_ptr<IAudioVolumeLevel>> levels;
    while (part && names.size() < 10) {
        std::string name;
        ASSERT_EQ(part->GetName(name), kOk);
        names.push_back(name);
        std::shared_ptr<IAudioVolumeLevel> level;
        if (part->Activate(level) == kOk) {
            levels.push_back(level);
        }
        std::shared_ptr<IPartsList> outgoing;
        std::shared_ptr<IPart> next;
        std::uint32_t count = 0;
        if (part->EnumPartsOutgoing(outgoing) == kOk && outgoing->GetCount(count) == kOk &&
            count == 1) {
            ASSERT_EQ(outgoing->GetPart(0, next), kOk);
        }
        part = next;
    }
    EXPECT_EQ(names,
              (std::vector<std::string>{"Capture", "Boost", "Input Gain", "Microphone Jack"}));
    ASSERT_EQ(levels.size(), 2u);

    // Levels are clamped to the range and rounded to the step counted from the minimum.
    const std::shared_ptr<IAudioVolumeLevel>& inputGain = levels[1];
    float level = 0;
    ASSERT_EQ(inputGain->SetLevel(0, 1.0F), kOk);
    ASSERT_EQ(inputGain->GetLevel(0, level), kOk);
    EXPECT_FLOAT_EQ(level, 1.5F);
    ASSERT_EQ(inputGain->SetLevel(0, 40.0F), kOk);
    ASSERT_EQ(inputGain->GetLevel(0, level), kOk);
    EXPECT_FLOAT_EQ(level, 12.0F);
    EXPECT_EQ(inputGain->SetLevel(1, 0.0F), kInvalidArg);

    const std::vector<GainStage> stages = findGainStages(*endpointById(*system, "mic"));
    ASSERT_EQ(stages.size(), 2u);
    EXPECT_EQ(std::tuple(stages[0].name, stages[1].name, stages[1].levelDb, stages[1].channels),
              std::tuple("Boost", "Input Gain", 12.0F, 1u));
}

// The refusals, callbacks and legacy objects every backend shares are the
// conformance suite's; exclusive mode is the simulated PC's own.
TEST_F(SimDevices, ExclusiveObjectsOfferTheEndpointsExclusiveFormats) {
    const auto system = makeSystem(benchMachine());
    libAudio::StaticPCMBuffer buffer = makeBuffer(makePcmFormat(2, 48000, 16), 100);
    const auto renderer = system->createAudioRendererEx(AUDCLNT_SHAREMODE_EXCLUSIVE);
    EXPECT_EQ(renderer->shareMode(), AUDCLNT_SHAREMODE_EXCLUSIVE);
    ASSERT_TRUE(renderer->initialize(endpointById(*system, "spk"), &buffer));
    EXPECT_EQ(renderer->compatibleFormat().size(), 1u);
    libAudio::StaticPCMBuffer mono = makeBuffer(makePcmFormat(1, 48000, 16), 100);
    const auto capture = system->createAudioCaptureEx(AUDCLNT_SHAREMODE_EXCLUSIVE);
    EXPECT_FALSE(capture->initialize(endpointById(*system, "mic"), &mono));
    EXPECT_EQ(capture->lastError(), kUnsupportedFormat);
}

// The loud recording of the amplitude test: a stimulus on the default speaker
// through wave-out while wave-in records the microphone in 44.1 kHz stereo.
TEST_F(SimDevices, WaveInHearsWhatWaveOutPlaysUnlessMuted) {
    const auto system = makeSystem(benchMachine());
    const WAVEFORMATEX format = makePcmFormat(2, 44100, 16);
    libAudio::StaticPCMBuffer stimulus = makeTone(format, 1000, 1000);
    const auto micVolume = endpointById(*system, "mic")->volumeControl();
    std::uint32_t waveId = 99;
    ASSERT_TRUE(endpointById(*system, "mic")->waveLegacyDeviceID(waveId));
    EXPECT_EQ(waveId, 0u);

    const auto record = [&](bool muted) {
        micVolume->setMute(muted);
        libAudio::StaticPCMBuffer recording = makeBuffer(format, 1000);
        const auto waveOut = system->createWaveOut();
        const auto waveIn = system->createWaveIn();
        EXPECT_TRUE(waveOut->open(WAVE_MAPPER_ID, stimulus));
        EXPECT_TRUE(waveIn->open(waveId, &recording));
        EXPECT_TRUE(waveIn->start());
        EXPECT_TRUE(waveOut->start(2));
        waitWhile([&] { return waveIn->stillRecording(); });
        EXPECT_EQ(waveIn->errorCode(), 0);
        waveOut->stop();
        return recording;
    };
    EXPECT_TRUE(isDigitalSilence(record(true)));
    // Unmuted the tone starts at wave-in's start: its level holds over the whole second half.
    EXPECT_NEAR(toneDb(record(false), 0, 1000), 20 * std::log10(0.5) - 20 + 10, 0.05);

    libAudio::StaticPCMBuffer wide = makeBuffer(makePcmFormat(2, 48000, 24), 100);
    EXPECT_FALSE(system->createWaveIn()->open(WAVE_MAPPER_ID, &wide));
}

TEST_F(SimDevices, WaveDeviceNumbersCountOnlyActiveEndpoints) {
    json machine = benchMachine();
    machine["endpoints"][1]["state"] = "unplugged";
    const auto system = makeSystem(machine);
    std::uint32_t waveId = 99;
    EXPECT_FALSE(endpointById(*system, "mic")->waveLegacyDeviceID(waveId));
    ASSERT_TRUE(endpointById(*system, "mic2")->waveLegacyDeviceID(waveId));
    EXPECT_EQ(waveId, 0u);
}

// The default machine: a laptop with an integrated microphone and speakers and an
// empty headset jack.
TEST_F(SimDevices, ReportListsCardsEndpointsVolumesJacksAndGainStages) {
    const auto system = createSimulatedSystem("");
    EXPECT_TRUE(system->isWindowsVersionOrLater(6, 1));
    const json report = json::parse(deviceReportJson(*system, true));
    EXPECT_EQ(report["audioSystem"], "sim");
    EXPECT_EQ(report["simulated"], true);
    EXPECT_EQ(report["allowExternalMicTesting"], false);
    EXPECT_EQ(report["defaultCapture"], "mic-array");
    ASSERT_EQ(report["soundCards"].size(), 1u);
    const json& card = report["soundCards"][0];
    EXPECT_EQ(card["driver"], "hdaudio.sys");
    ASSERT_EQ(card["endpoints"].size(), 4u);
    EXPECT_EQ(card["endpoints"][0]["integrated"], true) << "the speakers";
    const json& mic = card["endpoints"][2];
    EXPECT_EQ(mic["id"], "mic-array");
    EXPECT_EQ(mic["direction"], "capture");
    EXPECT_EQ(mic["formFactor"], "microphone");
    EXPECT_EQ(mic["integrated"], true);
    EXPECT_EQ(mic["default"], true);
    EXPECT_EQ(mic["formats"]["shared"].size(), 5u);
    EXPECT_EQ(mic["volume"]["percent"], 70);
    EXPECT_EQ(mic["volume"]["minDb"], -34.5);
    EXPECT_EQ(mic["jacks"][0]["location"], "mobile inside lid");
    EXPECT_EQ(mic["gainStages"][0]["name"], "Microphone Boost");
    EXPECT_EQ(mic["gainStages"][0]["levelDb"], 10.0);
    const json& headset = card["endpoints"][3];
    EXPECT_EQ(headset["id"], "headset-mic");
    EXPECT_EQ(headset["state"], "unplugged");
    EXPECT_EQ(headset["integrated"], false);
    EXPECT_TRUE(headset["formats"]["shared"].empty());
    EXPECT_EQ(headset["jacks"][0]["connectionType"], "3.5 mm");

    const std::string text = deviceReportText(*system, true);
    EXPECT_NE(text.find("Audio system: simulated PC \"Typical laptop\" (built-in), seed 1"),
              std::string::npos);
    EXPECT_NE(text.find("Operating system: Windows 10.0 (simulated)"), std::string::npos);
    EXPECT_NE(text.find("Driver: hdaudio.sys, version 10.0.19041.3636"), std::string::npos);
    EXPECT_NE(text.find("Capture endpoint \"Headset Microphone (High Definition Audio Device)\""),
              std::string::npos);
    EXPECT_NE(text.find("Gain stage \"Microphone Boost\": 10.00 dB"), std::string::npos);
}

}  // namespace
}  // namespace audio::sim::test
