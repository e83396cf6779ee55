#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "AudioTypes.hpp"
#include "DeviceTopology.hpp"
#include "WaveFormat.hpp"
#include "platform/kvo/Array.hpp"

// Sound cards and their endpoints. Objects are shared: an endpoint stays
// valid (and answers with failures) after its device went away.

namespace audio {

// The volume control of one endpoint (IAudioEndpointVolume). Every operation
// returns false when the control is unavailable, for example after the
// endpoint was removed; out parameters are then left untouched.
class VolumeControllerInterface {
public:
    virtual ~VolumeControllerInterface() = default;

    // Master level in percent, 0..100 (the scalar level × 100, rounded).
    virtual bool getVolumeLevel(std::uint32_t& percent) = 0;
    // Above 100 is refused. Channels keep their balance: the loudest channel
    // gets the new level and the others follow in proportion.
    virtual bool setVolumeLevel(std::uint32_t percent) = 0;
    virtual bool getMute(bool& muted) = 0;
    virtual bool setMute(bool muted) = 0;

    virtual bool channelCount(std::uint32_t& count) = 0;
    // The endpoint's volume range in dB for a channel. False also when the
    // endpoint reports no dB information.
    virtual bool decibelRange(std::uint32_t channel, float& minDb, float& maxDb, float& stepDb) = 0;
    // Master level in dB.
    virtual bool decibelLevel(float& levelDb) = 0;
    virtual bool channelDecibelLevel(std::uint32_t channel, float& levelDb) = 0;
    virtual bool setChannelDecibelLevel(std::uint32_t channel, float levelDb) = 0;
    // Per-channel scalar level, 0.0..1.0.
    virtual bool channelVolumeLevel(std::uint32_t channel, float& scalar) = 0;
    virtual bool setChannelVolumeLevel(std::uint32_t channel, float scalar) = 0;
};

// One endpoint (IMMDevice): a place where sound is captured or rendered.
class AudioDevice {
public:
    virtual ~AudioDevice() = default;

    // Endpoint id, stable for the life of the audio system.
    virtual const std::string& id() const = 0;
    virtual EDataFlow dataFlow() const = 0;
    virtual DeviceProperty deviceProperty() const = 0;
    std::string friendlyName() const { return deviceProperty().friendlyName; }

    // The state as of the last refresh (or enumeration): one DEVICE_STATE_ bit.
    virtual std::uint32_t state() const = 0;
    // Reads the state again; false when the endpoint cannot be reached any
    // more, and the state is then left as it was.
    virtual bool refresh() = 0;
    // True for the current default endpoint of this direction.
    virtual bool isDefaultEndpoint() = 0;

    // Replaces `formats` by the PCM formats a stream in `shareMode` accepts and
    // returns their count; 0 when the query fails.
    virtual std::uint32_t compatibleFormats(kvo::Array<tWAVEFORMATEX>& formats,
                                            _AUDCLNT_SHAREMODE shareMode) = 0;
    virtual HResult isFormatSupported(const WAVEFORMATEX& format, _AUDCLNT_SHAREMODE shareMode) = 0;

    // Null when the endpoint has no volume control (not present, removed).
    virtual std::shared_ptr<VolumeControllerInterface> volumeControl() = 0;

    // Replaces `jacks` by the endpoint's jack descriptions and returns the count.
    virtual std::uint32_t jackInfo(kvo::Array<KSJACK_DESCRIPTION>& jacks) = 0;
    // Replaces `connectors` by the endpoint's connectors and returns the count.
    virtual std::uint32_t connector(kvo::Array<AudioComponent<IConnector>>& connectors) = 0;

    // The winmm device number of this endpoint (0-based among the present
    // wave devices of its direction); false when it has none.
    virtual bool waveLegacyDeviceID(std::uint32_t& deviceId) = 0;
};

using AudioDevicePtr = std::shared_ptr<AudioDevice>;

// Receives changes of the endpoints of one sound card and direction. Called on
// the audio system's notification thread, never while the audio system holds
// a lock, so an observer may call back into the library.
class SoundCardObserver {
public:
    virtual ~SoundCardObserver() = default;
    virtual void onEndpointDeviceStateChanged(const std::string& endpointId,
                                              std::uint32_t newState) = 0;
    virtual void onEndpointDeviceAdded(const std::string& endpointId) = 0;
    virtual void onEndpointDeviceRemoved(const std::string& endpointId) = 0;
    virtual void onEndpointDevicePropertyChanged(const std::string& endpointId) = 0;
};

// One audio adapter with its endpoints.
class SoundCard {
public:
    virtual ~SoundCard() = default;

    virtual const std::string& id() const = 0;
    // Device name, e.g. "Realtek High Definition Audio".
    virtual const std::string& name() const = 0;
    // The "Driver" and "DriverVersion" device properties: driver file name
    // ("rtkvhd64.sys") and version ("6.0.1.8040").
    virtual const std::string& driver() const = 0;
    virtual const std::string& driverVersion() const = 0;

    // Append the card's endpoints of one direction whose state is in
    // `stateMask` and return how many were appended.
    virtual std::uint32_t endpoints(EDataFlow flow, std::uint32_t stateMask,
                                    kvo::Array<AudioDevicePtr>& list) = 0;
    std::uint32_t microphoneEndpointDevice(kvo::Array<AudioDevicePtr>& list,
                                           std::uint32_t stateMask = DEVICE_STATEMASK_ALL) {
        return endpoints(eCapture, stateMask, list);
    }
    std::uint32_t allPlaybackDevice(kvo::Array<AudioDevicePtr>& list,
                                    std::uint32_t stateMask = DEVICE_STATEMASK_ALL) {
        return endpoints(eRender, stateMask, list);
    }

    // The observer is kept until it is unregistered or the card is destroyed.
    // Registering the same observer twice for a direction is refused.
    virtual bool registerRecordObserver(std::shared_ptr<SoundCardObserver> observer) = 0;
    virtual bool registerPlaybackObserver(std::shared_ptr<SoundCardObserver> observer) = 0;
    // Removes it from both directions; false when it was not registered.
    virtual bool unregisterObserver(const std::shared_ptr<SoundCardObserver>& observer) = 0;
};

using SoundCardPtr = std::shared_ptr<SoundCard>;

// An endpoint is integrated when one of its jacks is an integrated device
// (not a jack): a built-in microphone or built-in speakers. These read only
// the jack descriptions, so every backend answers alike.
bool isIntegratedEndpoint(AudioDevice& device);
bool isIntegratedMicrophone(AudioDevice& device);
bool isIntegratedSpeaker(AudioDevice& device);

}  // namespace audio
