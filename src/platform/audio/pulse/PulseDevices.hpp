#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "PulseServer.hpp"
#include "platform/audio/EndpointBase.hpp"

// Sound cards, endpoints and volume controls of a PulseAudio server. An
// endpoint names its sink or source and asks the server on every call, so it
// always answers for the device as it is now, and fails once it is gone.

namespace audio::pulse {

// ---------------------------------------------------------------------------
// How the server's descriptions map onto the layer (pure, for tests).

// The endpoint id of a sink or source: "sink:<name>" / "source:<name>".
std::string endpointId(const DeviceInfo& device);
// The endpoint state the server's view gives: active, or unplugged when the
// active port reports nothing plugged in.
std::uint32_t endpointState(const DeviceInfo& device);
// Which card an endpoint belongs to: the card of the device, or the group of
// its owner module for card-less devices.
std::string cardIdOf(const DeviceInfo& device);

// Built-in hardware: the device's form factor is "internal", or this port is
// a laptop's own speaker or microphone.
bool isBuiltInPort(const PortInfo& port, EDataFlow flow);
EndpointFormFactor formFactorOf(const DeviceInfo& device);
// One description per port; a device without ports but with the "internal"
// form factor gets one integrated description, any other none. Only the
// active port (or every port of an "internal" device) is marked integrated:
// the endpoint records and plays through that one.
std::vector<KSJACK_DESCRIPTION> jacksOf(const DeviceInfo& device);

// Percent of PA_VOLUME_NORM of the loudest channel, 0..100 (louder reads as 100).
std::uint32_t percentOf(const pa_cvolume& volume);
// The level in dB with the base volume as 0 dB, never below the range's minimum.
float decibelsOf(const DeviceInfo& device, pa_volume_t volume);
struct DecibelRange {
    float minDb = 0.0F;
    float maxDb = 0.0F;
    float stepDb = 0.0F;
};
// From 1 % to 100 % of the nominal volume; false without decibel volume.
bool decibelRangeOf(const DeviceInfo& device, DecibelRange& range);
pa_volume_t volumeForDecibels(const DeviceInfo& device, float levelDb);

// ---------------------------------------------------------------------------

class PulseEndpoint final : public EndpointBase {
public:
    PulseEndpoint(std::shared_ptr<PulseServer> server, const DeviceInfo& device,
                  std::string cardName);

    const std::shared_ptr<PulseServer>& server() const { return server_; }
    const std::string& deviceName() const { return name_; }

    const std::string& id() const override { return id_; }
    EDataFlow dataFlow() const override { return flow_; }
    DeviceProperty deviceProperty() const override { return property_; }
    bool isDefaultEndpoint() override;
    std::shared_ptr<VolumeControllerInterface> volumeControl() override;
    // No connector(): the server keeps no topology, the ALSA gain controls
    // behind a source are already part of its volume.
    std::uint32_t jackInfo(kvo::Array<KSJACK_DESCRIPTION>& jacks) override;
    bool waveLegacyDeviceID(std::uint32_t& deviceId) override;

private:
    std::optional<std::uint32_t> currentState() const override;
    // Shared mode only: the server mixes every stream.
    std::vector<WAVEFORMATEX> offeredFormats(_AUDCLNT_SHAREMODE shareMode) const override;

    std::shared_ptr<PulseServer> server_;
    EDataFlow flow_;
    std::string name_;
    std::string id_;
    DeviceProperty property_;
};

class PulseSoundCard final : public ObservedSoundCard {
public:
    PulseSoundCard(std::shared_ptr<PulseServer> server, std::string id, std::string name,
                   std::string driver, std::string driverVersion);

    const std::string& id() const override { return id_; }
    const std::string& name() const override { return name_; }
    const std::string& driver() const override { return driver_; }
    const std::string& driverVersion() const override { return driverVersion_; }
    std::uint32_t endpoints(EDataFlow flow, std::uint32_t stateMask,
                            kvo::Array<AudioDevicePtr>& list) override;

private:
    std::shared_ptr<PulseServer> server_;
    std::string id_;
    std::string name_;
    std::string driver_;
    std::string driverVersion_;
};

// The server's sound cards: its cards, then one per module that owns devices
// without a card.
std::vector<SoundCardPtr> soundCardsOf(const std::shared_ptr<PulseServer>& server);
// The sinks or the sources without monitors, in the server's order: the wave
// device numbers.
std::vector<DeviceInfo> waveDevices(PulseServer& server, EDataFlow flow);
// Endpoint objects for devices, named after the cards they belong to.
AudioDevicePtr makeEndpoint(const std::shared_ptr<PulseServer>& server, const DeviceInfo& device);

// The PCM formats a shared stream on `device` takes: 16 bit at the device's
// rate, mono and stereo.
std::vector<WAVEFORMATEX> sharedFormatsOf(const DeviceInfo& device);

}  // namespace audio::pulse
