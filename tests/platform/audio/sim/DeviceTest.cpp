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

// The program's boost search walks the chain from the connector; one boost stage is
// the end-to-end runs', a second one here.
TEST_F(SimDevices, GainStagesAreEveryStageOfTheChainWithALevel) {
    json machine = benchMachine();
    machine["endpoints"][1]["stages"].push_back({{"name", "Input Gain"},
                                                 {"channels", 1},
                                                 {"minDb", -12},
                                                 {"maxDb", 12},
                                                 {"stepDb", 1.5},
                                                 {"levelDb", 4.5}});
    const auto system = makeSystem(machine);
    const std::vector<GainStage> stages = findGainStages(*endpointById(*system, "mic"));
    ASSERT_EQ(stages.size(), 2u);
    EXPECT_EQ(std::tuple(stages[0].name, stages[1].name, stages[1].levelDb, stages[1].channels),
              std::tuple("Boost", "Input Gain", 4.5F, 1u));
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
