#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "SimTestSupport.hpp"

namespace audio::sim::test {
namespace {

using nlohmann::json;

// A 1 s tone at half full scale: -6.02 dBFS peak.
const double kToneDb = 20.0 * std::log10(0.5);
// The bench microphones' endpoint volume at 100 %.
constexpr double kMicMaxDb = 10.0;

class SimSignal : public VirtualTime, public testing::Test {};

// Tolerance 0.05 dB: the paths have no filters, the 0.5 ms delay is 24 whole
// samples, the Goertzel window holds whole periods, and rounding a tone of
// -16 dBFS to 16 bits changes its level by less than 0.001 dB.
TEST_F(SimSignal, ToneReachesEachMicrophoneAtItsPathsGainLessTheVolumesDecibels) {
    const auto system = makeSystem(benchMachine());
    EXPECT_NEAR(toneDb(captureTone(*system, "spk", "mic2", 1000), 1, 1000),
                kToneDb - 32 + kMicMaxDb, 0.05);
    const libAudio::StaticPCMBuffer recording = captureTone(*system, "spk", "mic", 1000);
    for (int channel = 0; channel < 2; ++channel) {
        EXPECT_NEAR(toneDb(recording, channel, 1000), kToneDb - 20 + kMicMaxDb, 0.05);
    }
    const double loud = toneDb(recording, 0, 1000);
    const auto micVolume = endpointById(*system, "mic")->volumeControl();
    const auto speakerVolume = endpointById(*system, "spk")->volumeControl();
    // 25 % of the -30..+10 dB range, steps of 0.5 dB: -20 dB.
    ASSERT_TRUE(micVolume->setVolumeLevel(25));
    float micDb = 0;
    ASSERT_TRUE(micVolume->decibelLevel(micDb));
    EXPECT_FLOAT_EQ(micDb, -20.0F);
    const double quieter = toneDb(captureTone(*system, "spk", "mic", 1000), 0, 1000);
    EXPECT_NEAR(loud - quieter, kMicMaxDb - micDb, 0.05);

    // 71 % of -60..0 dB is -17.4 dB, on the 0.5 dB grid -17.5 dB.
    ASSERT_TRUE(speakerVolume->setVolumeLevel(71));
    float speakerDb = 0;
    ASSERT_TRUE(speakerVolume->decibelLevel(speakerDb));
    EXPECT_FLOAT_EQ(speakerDb, -17.5F);
    const double quietest = toneDb(captureTone(*system, "spk", "mic", 1000), 0, 1000);
    EXPECT_NEAR(quieter - quietest, 17.5, 0.05);
}

// The filters are pre-warped at their corners; at 100 Hz and 1 kHz they differ
// from the analogue first-order response by less than 0.02 dB, and the first
// half of the capture, where they settle, is not measured.
TEST_F(SimSignal, PathFiltersShapeTheToneAsFirstOrderFilters) {
    json machine = benchMachine();
    machine["paths"][0]["highPassHz"] = 300;
    machine["paths"][0]["lowPassHz"] = 12000;
    const auto system = makeSystem(machine);
    for (const double frequency : {100.0, 1000.0}) {
        SCOPED_TRACE(frequency);
        const double highPass = (frequency / 300) / std::sqrt(1 + std::pow(frequency / 300, 2));
        const double lowPass = 1 / std::sqrt(1 + std::pow(frequency / 12000, 2));
        const double expected =
            kToneDb - 20 + kMicMaxDb + 20 * std::log10(highPass) + 20 * std::log10(lowPass);
        EXPECT_NEAR(toneDb(captureTone(*system, "spk", "mic", frequency), 0, frequency), expected,
                    0.1);
    }
}

TEST_F(SimSignal, MutingTheMicrophoneGivesDigitalSilenceMutingTheSpeakerRemovesTheTone) {
    json machine = benchMachine();
    machine["endpoints"][1]["noiseDbfs"] = -60;
    const auto system = makeSystem(machine);
    const AudioDevicePtr mic = endpointById(*system, "mic");
    const AudioDevicePtr speaker = endpointById(*system, "spk");

    ASSERT_TRUE(mic->volumeControl()->setMute(true));
    EXPECT_TRUE(isDigitalSilence(captureTone(*system, "spk", "mic", 1000)));

    ASSERT_TRUE(mic->volumeControl()->setMute(false));
    ASSERT_TRUE(speaker->volumeControl()->setMute(true));
    const libAudio::StaticPCMBuffer recording = captureTone(*system, "spk", "mic", 1000);
    // Unmuted the tone is at -16 dB; the noise alone reads about -88 dB in this window.
    EXPECT_LT(toneDb(recording, 0, 1000), -70.0);
    EXPECT_NEAR(rmsDb(recording, 0), -60 + kMicMaxDb, 0.3);
}

std::vector<unsigned char> noisyToneCapture(std::uint64_t seed) {
    kvo::VirtualClock clock;
    kvo::ScopedClock installed(clock);
    kvo::ClockParticipant participant(clock);
    json machine = benchMachine();
    machine["seed"] = seed;
    machine["endpoints"][1]["noiseDbfs"] = -40;
    const auto system = makeSystem(machine);
    const libAudio::StaticPCMBuffer recording = captureTone(*system, "spk", "mic", 1000);
    return {recording.pcmStorage.data(), recording.pcmStorage.data() + recording.pcmStorage.size()};
}

TEST(SimDeterminism, SameSeedGivesTheSameCaptureAnotherSeedOtherNoise) {
    const std::vector<unsigned char> first = noisyToneCapture(7);
    EXPECT_EQ(noisyToneCapture(7), first);
    EXPECT_NE(noisyToneCapture(8), first);
}

}  // namespace
}  // namespace audio::sim::test
