#include <gtest/gtest.h>

#include <cmath>

#include "platform/audio/pulse/PulseDevices.hpp"

// How the server's descriptions of real hardware map onto the layer: the
// private test daemon has only null sinks, so ALSA-like devices are built here.

namespace audio::pulse {
namespace {

DeviceInfo alsaSource(const std::string& activePort) {
    DeviceInfo device;
    device.flow = eCapture;
    device.name = "alsa_input.pci-0000_00_1f.3.analog-stereo";
    device.description = "Built-in Audio Analog Stereo";
    pa_channel_map_init_stereo(&device.channelMap);
    device.ports = {
        {"analog-input-internal-mic", "Internal Microphone", PA_DEVICE_PORT_TYPE_MIC,
         PA_PORT_AVAILABLE_UNKNOWN},
        {"analog-input-front-mic", "Front Microphone", PA_DEVICE_PORT_TYPE_MIC,
         PA_PORT_AVAILABLE_NO},
    };
    device.activePort = activePort;
    return device;
}

TEST(PulseMappingTest, OnlyTheActiveBuiltInPortMakesAnEndpointIntegrated) {
    const std::vector<KSJACK_DESCRIPTION> internal =
        jacksOf(alsaSource("analog-input-internal-mic"));
    ASSERT_EQ(internal.size(), 2U);
    EXPECT_EQ(internal[0].PortConnection, ePortConnIntegratedDevice);
    EXPECT_EQ(internal[0].GenLocation, eGenLocInternal);
    EXPECT_EQ(internal[0].ChannelMapping, 0x3U);
    EXPECT_EQ(internal[1].PortConnection, ePortConnJack);
    EXPECT_EQ(internal[1].ConnectionType, eConnType3Point5mm);
    EXPECT_EQ(internal[1].GeoLocation, eGeoLocFront);
    EXPECT_FALSE(internal[1].IsConnected);

    // Switched to the front jack, the same source records from outside the box.
    for (const KSJACK_DESCRIPTION& jack : jacksOf(alsaSource("analog-input-front-mic"))) {
        EXPECT_NE(jack.PortConnection, ePortConnIntegratedDevice);
    }
    EXPECT_EQ(endpointState(alsaSource("analog-input-front-mic")), DEVICE_STATE_UNPLUGGED);
    EXPECT_EQ(endpointState(alsaSource("analog-input-internal-mic")), DEVICE_STATE_ACTIVE);
}

TEST(PulseMappingTest, TheInternalFormFactorMarksEveryPortAndAPortlessDevice) {
    DeviceInfo device = alsaSource("analog-input-front-mic");
    device.formFactor = "internal";
    for (const KSJACK_DESCRIPTION& jack : jacksOf(device)) {
        EXPECT_EQ(jack.PortConnection, ePortConnIntegratedDevice);
    }
    device.ports.clear();
    device.activePort.clear();
    ASSERT_EQ(jacksOf(device).size(), 1U);
    EXPECT_TRUE(jacksOf(device)[0].IsConnected);
    device.formFactor = "webcam";
    EXPECT_TRUE(jacksOf(device).empty()) << "no ports and not internal: nothing to describe";
    EXPECT_EQ(formFactorOf(device), Microphone);
}

TEST(PulseMappingTest, FormFactorFallsBackToTheActivePortType) {
    DeviceInfo sink;
    sink.flow = eRender;
    sink.ports = {{"analog-output-speaker", "Speakers", PA_DEVICE_PORT_TYPE_SPEAKER, 0},
                  {"analog-output-headphones", "Headphones", PA_DEVICE_PORT_TYPE_HEADPHONES, 0}};
    sink.activePort = "analog-output-headphones";
    EXPECT_EQ(formFactorOf(sink), Headphones);
    sink.activePort = "analog-output-speaker";
    EXPECT_EQ(formFactorOf(sink), Speakers);
    EXPECT_EQ(jacksOf(sink)[0].PortConnection, ePortConnIntegratedDevice);
    sink.formFactor = "internal";
    EXPECT_EQ(formFactorOf(sink), Speakers);
    sink.formFactor = "tv";
    EXPECT_EQ(formFactorOf(sink), DigitalAudioDisplayDevice);
}

TEST(PulseMappingTest, PercentIsTheLoudestChannelAndAmplificationReadsAsFull) {
    pa_cvolume volume;
    pa_cvolume_init(&volume);
    volume.channels = 2;
    volume.values[0] = PA_VOLUME_NORM / 4;
    volume.values[1] = static_cast<pa_volume_t>(std::lround(PA_VOLUME_NORM * 0.65));
    EXPECT_EQ(percentOf(volume), 65U);
    volume.values[0] = PA_VOLUME_NORM * 3 / 2;
    EXPECT_EQ(percentOf(volume), 100U);
    volume.values[0] = PA_VOLUME_MUTED;
    volume.values[1] = PA_VOLUME_MUTED;
    EXPECT_EQ(percentOf(volume), 0U);
}

TEST(PulseMappingTest, DecibelsCountFromTheBaseVolume) {
    DeviceInfo device;
    device.decibelVolume = true;
    device.volumeSteps = 65537;
    // A hardware source whose 0 dB point sits at 25 % of the nominal volume: above it is gain.
    device.baseVolume = PA_VOLUME_NORM / 4;
    DecibelRange range;
    ASSERT_TRUE(decibelRangeOf(device, range));
    EXPECT_NEAR(range.maxDb, -60.0 * std::log10(0.25), 0.01);
    EXPECT_NEAR(range.minDb, 60.0 * std::log10(0.01) - 60.0 * std::log10(0.25), 0.05);
    EXPECT_NEAR(decibelsOf(device, device.baseVolume), 0.0F, 0.001F);
    EXPECT_FLOAT_EQ(decibelsOf(device, PA_VOLUME_MUTED), range.minDb) << "silence has no level";
    EXPECT_NEAR(decibelsOf(device, volumeForDecibels(device, 6.0F)), 6.0F, 0.01F);
    EXPECT_EQ(volumeForDecibels(device, 200.0F), PA_VOLUME_NORM);

    device.decibelVolume = false;
    EXPECT_FALSE(decibelRangeOf(device, range));
}

}  // namespace
}  // namespace audio::pulse
