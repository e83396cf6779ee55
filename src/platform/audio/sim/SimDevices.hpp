#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "World.hpp"
#include "platform/audio/AudioDevice.hpp"

// Sound cards, endpoints, volume controls and topology parts of the
// simulated PC: thin views on the shared World.

namespace audio::sim {

class SimEndpoint final : public AudioDevice {
public:
    SimEndpoint(std::shared_ptr<World> world, std::size_t index);

    std::size_t index() const { return index_; }
    const std::shared_ptr<World>& world() const { return world_; }

    const std::string& id() const override;
    EDataFlow dataFlow() const override;
    DeviceProperty deviceProperty() const override;
    std::uint32_t state() const override { return state_; }
    bool refresh() override;
    bool isDefaultEndpoint() override;
    std::uint32_t compatibleFormats(kvo::Array<tWAVEFORMATEX>& formats,
                                    _AUDCLNT_SHAREMODE shareMode) override;
    HResult isFormatSupported(const WAVEFORMATEX& format, _AUDCLNT_SHAREMODE shareMode) override;
    std::shared_ptr<VolumeControllerInterface> volumeControl() override;
    std::uint32_t jackInfo(kvo::Array<KSJACK_DESCRIPTION>& jacks) override;
    std::uint32_t connector(kvo::Array<AudioComponent<IConnector>>& connectors) override;
    bool waveLegacyDeviceID(std::uint32_t& deviceId) override;

private:
    std::shared_ptr<World> world_;
    std::size_t index_;
    std::uint32_t state_;
};

class SimSoundCard final : public SoundCard {
public:
    SimSoundCard(std::shared_ptr<World> world, std::size_t index);

    const std::string& id() const override;
    const std::string& name() const override;
    const std::string& driver() const override;
    const std::string& driverVersion() const override;
    std::uint32_t endpoints(EDataFlow flow, std::uint32_t stateMask,
                            kvo::Array<AudioDevicePtr>& list) override;
    bool registerRecordObserver(std::shared_ptr<SoundCardObserver> observer) override;
    bool registerPlaybackObserver(std::shared_ptr<SoundCardObserver> observer) override;
    bool unregisterObserver(const std::shared_ptr<SoundCardObserver>& observer) override;

private:
    std::shared_ptr<World> world_;
    std::size_t index_;
};

// True when `format` is one of `formats`, field for field (the fields the
// format derives are checked too, so an inconsistent record never matches).
bool containsFormat(const std::vector<WAVEFORMATEX>& formats, const WAVEFORMATEX& format);

}  // namespace audio::sim
