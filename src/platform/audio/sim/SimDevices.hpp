#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "World.hpp"
#include "platform/audio/EndpointBase.hpp"
#include "platform/audio/ObserverRegistry.hpp"

// Sound cards, endpoints, volume controls and topology parts of the
// simulated PC: thin views on the shared World.

namespace audio::sim {

class SimEndpoint final : public EndpointBase {
public:
    SimEndpoint(std::shared_ptr<World> world, std::size_t index);

    std::size_t index() const { return index_; }
    const std::shared_ptr<World>& world() const { return world_; }

    const std::string& id() const override;
    EDataFlow dataFlow() const override;
    DeviceProperty deviceProperty() const override;
    bool isDefaultEndpoint() override;
    std::shared_ptr<VolumeControllerInterface> volumeControl() override;
    std::uint32_t jackInfo(kvo::Array<KSJACK_DESCRIPTION>& jacks) override;
    std::uint32_t connector(kvo::Array<AudioComponent<IConnector>>& connectors) override;
    bool waveLegacyDeviceID(std::uint32_t& deviceId) override;

private:
    std::optional<std::uint32_t> currentState() const override;
    std::vector<WAVEFORMATEX> offeredFormats(_AUDCLNT_SHAREMODE shareMode) const override;

    std::shared_ptr<World> world_;
    std::size_t index_;
};

class SimSoundCard final : public ObservedSoundCard {
public:
    SimSoundCard(std::shared_ptr<World> world, std::size_t index);

    const std::string& id() const override;
    const std::string& name() const override;
    const std::string& driver() const override;
    const std::string& driverVersion() const override;
    std::uint32_t endpoints(EDataFlow flow, std::uint32_t stateMask,
                            kvo::Array<AudioDevicePtr>& list) override;

private:
    std::shared_ptr<World> world_;
    std::size_t index_;
};

}  // namespace audio::sim
