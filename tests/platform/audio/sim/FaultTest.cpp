#include <gtest/gtest.h>

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
};

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

}  // namespace
}  // namespace audio::sim::test
