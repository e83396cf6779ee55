#include "SimDevices.hpp"

#include <algorithm>
#include <vector>

namespace audio::sim {
namespace {

// Local ids of the topology parts behind endpoint e: 0x10000 + 0x100 * e plus
// 0 for the adapter's connector, 1 + i for gain stage i, 0xFF for the jack.
std::uint32_t localIdBase(std::size_t endpoint) {
    return 0x10000U + 0x100U * static_cast<std::uint32_t>(endpoint);
}

class SimVolume final : public VolumeControllerInterface {
public:
    SimVolume(std::shared_ptr<World> world, std::size_t endpoint)
        : world_(std::move(world)), endpoint_(endpoint) {}

    bool getVolumeLevel(std::uint32_t& percent) override {
        if (!reachable()) {
            return false;
        }
        percent = world_->volumePercent(endpoint_);
        return true;
    }
    bool setVolumeLevel(std::uint32_t percent) override {
        if (!reachable() || percent > 100) {
            return false;
        }
        world_->setVolumeScalar(endpoint_, percent / 100.0);
        return true;
    }
    bool getMute(bool& muted) override {
        if (!reachable()) {
            return false;
        }
        muted = world_->muted(endpoint_);
        return true;
    }
    bool setMute(bool muted) override {
        if (!reachable()) {
            return false;
        }
        world_->setMuted(endpoint_, muted);
        return true;
    }
    bool channelCount(std::uint32_t& count) override {
        if (!reachable()) {
            return false;
        }
        count = config().channels;
        return true;
    }
    bool decibelRange(std::uint32_t channel, float& minDb, float& maxDb, float& stepDb) override {
        if (!reachable() || !config().decibelInfo || channel >= config().channels) {
            return false;
        }
        minDb = static_cast<float>(config().minDb);
        maxDb = static_cast<float>(config().maxDb);
        stepDb = static_cast<float>(config().stepDb);
        return true;
    }
    bool decibelLevel(float& levelDb) override {
        if (!reachable()) {
            return false;
        }
        levelDb = static_cast<float>(world_->masterDb(endpoint_));
        return true;
    }
    bool channelDecibelLevel(std::uint32_t channel, float& levelDb) override {
        double scalar = 0.0;
        if (!reachable() || !world_->channelScalar(endpoint_, channel, scalar)) {
            return false;
        }
        levelDb = static_cast<float>(taperDb(config(), scalar));
        return true;
    }
    bool setChannelDecibelLevel(std::uint32_t channel, float levelDb) override {
        return reachable() &&
               world_->setChannelScalar(endpoint_, channel, scalarForDb(config(), levelDb));
    }
    bool channelVolumeLevel(std::uint32_t channel, float& scalar) override {
        double value = 0.0;
        if (!reachable() || !world_->channelScalar(endpoint_, channel, value)) {
            return false;
        }
        scalar = static_cast<float>(value);
        return true;
    }
    bool setChannelVolumeLevel(std::uint32_t channel, float scalar) override {
        return reachable() && scalar >= 0.0F && scalar <= 1.0F &&
               world_->setChannelScalar(endpoint_, channel, scalar);
    }

private:
    // The control of an endpoint that is not present cannot be reached.
    bool reachable() const { return world_->state(endpoint_) != DEVICE_STATE_NOTPRESENT; }
    const VolumeConfig& config() const { return world_->machine().endpoints[endpoint_].volume; }

    std::shared_ptr<World> world_;
    std::size_t endpoint_;
};

class SimVolumeLevel final : public IAudioVolumeLevel {
public:
    SimVolumeLevel(std::shared_ptr<World> world, std::size_t endpoint, std::size_t stage)
        : world_(std::move(world)), endpoint_(endpoint), stage_(stage) {}

    HResult GetChannelCount(std::uint32_t& count) override {
        if (!reachable()) {
            return kDeviceInvalidated;
        }
        count = config().channels;
        return kOk;
    }
    HResult GetLevelRange(std::uint32_t channel, float& minDb, float& maxDb,
                          float& stepDb) override {
        if (!reachable()) {
            return kDeviceInvalidated;
        }
        if (channel >= config().channels) {
            return kInvalidArg;
        }
        minDb = static_cast<float>(config().minDb);
        maxDb = static_cast<float>(config().maxDb);
        stepDb = static_cast<float>(config().stepDb);
        return kOk;
    }
    HResult GetLevel(std::uint32_t channel, float& levelDb) override {
        double db = 0.0;
        if (!reachable()) {
            return kDeviceInvalidated;
        }
        if (!world_->stageLevel(endpoint_, stage_, channel, db)) {
            return kInvalidArg;
        }
        levelDb = static_cast<float>(db);
        return kOk;
    }
    HResult SetLevel(std::uint32_t channel, float levelDb) override {
        if (!reachable()) {
            return kDeviceInvalidated;
        }
        return world_->setStageLevel(endpoint_, stage_, channel, levelDb) ? kOk : kInvalidArg;
    }

private:
    bool reachable() const { return world_->state(endpoint_) != DEVICE_STATE_NOTPRESENT; }
    const GainStageConfig& config() const {
        return world_->machine().endpoints[endpoint_].stages[stage_];
    }

    std::shared_ptr<World> world_;
    std::size_t endpoint_;
    std::size_t stage_;
};

// The parts behind an endpoint form a chain: the adapter's connector, then
// every gain stage in machine order, then the jack (a connector part without
// gain). The endpoint's own connector is a part with nothing behind it.
class SimPart final : public IPart {
public:
    enum class Kind { EndpointConnector, AdapterConnector, Stage, Jack };

    SimPart(std::shared_ptr<World> world, std::size_t endpoint, Kind kind, std::size_t stage = 0)
        : world_(std::move(world)), endpoint_(endpoint), kind_(kind), stage_(stage) {}

    HResult GetName(std::string& name) override {
        const EndpointConfig& config = world_->machine().endpoints[endpoint_];
        switch (kind_) {
            case Kind::EndpointConnector:
                name = config.name;
                break;
            case Kind::AdapterConnector:
                name = config.flow == eCapture ? "Capture" : "Render";
                break;
            case Kind::Stage:
                name = config.stages[stage_].name;
                break;
            case Kind::Jack:
                name = config.name + " Jack";
                break;
        }
        return kOk;
    }
    HResult GetLocalId(std::uint32_t& localId) override {
        const std::uint32_t base = localIdBase(endpoint_);
        switch (kind_) {
            case Kind::EndpointConnector:
                localId = 0;
                break;
            case Kind::AdapterConnector:
                localId = base;
                break;
            case Kind::Stage:
                localId = base + 1 + static_cast<std::uint32_t>(stage_);
                break;
            case Kind::Jack:
                localId = base + 0xFF;
                break;
        }
        return kOk;
    }
    HResult GetPartType(PartType& type) override {
        type = kind_ == Kind::Stage ? Subunit : Connector;
        return kOk;
    }
    HResult EnumPartsOutgoing(std::shared_ptr<IPartsList>& parts) override;
    HResult EnumPartsIncoming(std::shared_ptr<IPartsList>& parts) override;
    HResult Activate(std::shared_ptr<IAudioVolumeLevel>& volumeLevel) override {
        if (kind_ != Kind::Stage) {
            return kNoInterface;
        }
        volumeLevel = std::make_shared<SimVolumeLevel>(world_, endpoint_, stage_);
        return kOk;
    }

private:
    std::shared_ptr<IPart> neighbour(bool outgoing) const {
        const std::size_t stages = world_->machine().endpoints[endpoint_].stages.size();
        // Position in the chain: adapter connector 0, stage i at 1 + i, jack at stages + 1.
        std::size_t position = 0;
        switch (kind_) {
            case Kind::EndpointConnector:
                return nullptr;
            case Kind::AdapterConnector:
                position = 0;
                break;
            case Kind::Stage:
                position = 1 + stage_;
                break;
            case Kind::Jack:
                position = stages + 1;
                break;
        }
        if (outgoing ? position == stages + 1 : position == 0) {
            return nullptr;
        }
        const std::size_t target = outgoing ? position + 1 : position - 1;
        if (target == 0) {
            return std::make_shared<SimPart>(world_, endpoint_, Kind::AdapterConnector);
        }
        if (target == stages + 1) {
            return std::make_shared<SimPart>(world_, endpoint_, Kind::Jack);
        }
        return std::make_shared<SimPart>(world_, endpoint_, Kind::Stage, target - 1);
    }

    std::shared_ptr<World> world_;
    std::size_t endpoint_;
    Kind kind_;
    std::size_t stage_;
};

class SimPartsList final : public IPartsList {
public:
    explicit SimPartsList(std::vector<std::shared_ptr<IPart>> parts) : parts_(std::move(parts)) {}

    HResult GetCount(std::uint32_t& count) override {
        count = static_cast<std::uint32_t>(parts_.size());
        return kOk;
    }
    HResult GetPart(std::uint32_t index, std::shared_ptr<IPart>& part) override {
        if (index >= parts_.size()) {
            return kInvalidArg;
        }
        part = parts_[index];
        return kOk;
    }

private:
    std::vector<std::shared_ptr<IPart>> parts_;
};

HResult SimPart::EnumPartsOutgoing(std::shared_ptr<IPartsList>& parts) {
    std::shared_ptr<IPart> next = neighbour(true);
    if (!next) {
        return kNotFound;
    }
    parts = std::make_shared<SimPartsList>(std::vector<std::shared_ptr<IPart>>{std::move(next)});
    return kOk;
}

HResult SimPart::EnumPartsIncoming(std::shared_ptr<IPartsList>& parts) {
    std::shared_ptr<IPart> previous = neighbour(false);
    if (!previous) {
        return kNotFound;
    }
    parts =
        std::make_shared<SimPartsList>(std::vector<std::shared_ptr<IPart>>{std::move(previous)});
    return kOk;
}

class SimConnector final : public IConnector {
public:
    SimConnector(std::shared_ptr<World> world, std::size_t endpoint, bool adapterSide)
        : world_(std::move(world)), endpoint_(endpoint), adapterSide_(adapterSide) {}

    HResult GetConnectedTo(std::shared_ptr<IConnector>& other) override {
        if (world_->state(endpoint_) == DEVICE_STATE_NOTPRESENT) {
            return kNotFound;
        }
        other = std::make_shared<SimConnector>(world_, endpoint_, !adapterSide_);
        return kOk;
    }
    HResult QueryInterface(std::shared_ptr<IPart>& part) override {
        part = std::make_shared<SimPart>(
            world_, endpoint_,
            adapterSide_ ? SimPart::Kind::AdapterConnector : SimPart::Kind::EndpointConnector);
        return kOk;
    }

private:
    std::shared_ptr<World> world_;
    std::size_t endpoint_;
    bool adapterSide_;
};

}  // namespace

SimEndpoint::SimEndpoint(std::shared_ptr<World> world, std::size_t index)
    : EndpointBase(world->state(index)), world_(std::move(world)), index_(index) {}

const std::string& SimEndpoint::id() const {
    return world_->machine().endpoints[index_].id;
}

EDataFlow SimEndpoint::dataFlow() const {
    return world_->machine().endpoints[index_].flow;
}

DeviceProperty SimEndpoint::deviceProperty() const {
    const EndpointConfig& config = world_->machine().endpoints[index_];
    return DeviceProperty{config.friendlyName, config.name,
                          world_->machine().soundCards[world_->cardOf(index_)].name,
                          config.formFactor};
}

std::optional<std::uint32_t> SimEndpoint::currentState() const {
    return world_->state(index_);
}

bool SimEndpoint::isDefaultEndpoint() {
    return world_->defaultEndpoint(dataFlow()) == index_;
}

std::vector<WAVEFORMATEX> SimEndpoint::offeredFormats(_AUDCLNT_SHAREMODE shareMode) const {
    const EndpointConfig& config = world_->machine().endpoints[index_];
    return shareMode == AUDCLNT_SHAREMODE_EXCLUSIVE ? config.exclusiveFormats
                                                    : config.sharedFormats;
}

std::shared_ptr<VolumeControllerInterface> SimEndpoint::volumeControl() {
    if (world_->state(index_) == DEVICE_STATE_NOTPRESENT) {
        return nullptr;
    }
    return std::make_shared<SimVolume>(world_, index_);
}

std::uint32_t SimEndpoint::jackInfo(kvo::Array<KSJACK_DESCRIPTION>& jacks) {
    jacks.clear();
    for (const KSJACK_DESCRIPTION& jack : world_->jacks(index_)) {
        jacks.append(jack);
    }
    return jacks.size();
}

std::uint32_t SimEndpoint::connector(kvo::Array<AudioComponent<IConnector>>& connectors) {
    connectors.clear();
    if (world_->state(index_) == DEVICE_STATE_NOTPRESENT) {
        return 0;
    }
    const EndpointConfig& config = world_->machine().endpoints[index_];
    connectors.append({std::make_shared<SimConnector>(world_, index_, false),
                       AudioPart{config.name, 0, Connector}});
    return connectors.size();
}

bool SimEndpoint::waveLegacyDeviceID(std::uint32_t& deviceId) {
    const std::optional<std::uint32_t> id = world_->waveDeviceId(index_);
    if (!id) {
        return false;
    }
    deviceId = *id;
    return true;
}

SimSoundCard::SimSoundCard(std::shared_ptr<World> world, std::size_t index)
    : ObservedSoundCard(world->observers()), world_(std::move(world)), index_(index) {}

const std::string& SimSoundCard::id() const {
    return world_->machine().soundCards[index_].id;
}

const std::string& SimSoundCard::name() const {
    return world_->machine().soundCards[index_].name;
}

const std::string& SimSoundCard::driver() const {
    return world_->machine().soundCards[index_].driver;
}

const std::string& SimSoundCard::driverVersion() const {
    return world_->machine().soundCards[index_].driverVersion;
}

std::uint32_t SimSoundCard::endpoints(EDataFlow flow, std::uint32_t stateMask,
                                      kvo::Array<AudioDevicePtr>& list) {
    std::uint32_t appended = 0;
    const std::vector<EndpointConfig>& configs = world_->machine().endpoints;
    for (std::size_t e = 0; e < configs.size(); ++e) {
        if (world_->cardOf(e) != index_ || (flow != eAll && configs[e].flow != flow) ||
            (world_->state(e) & stateMask) == 0) {
            continue;
        }
        list.append(std::make_shared<SimEndpoint>(world_, e));
        ++appended;
    }
    return appended;
}

}  // namespace audio::sim
