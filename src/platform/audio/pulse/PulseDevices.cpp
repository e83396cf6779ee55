#include "PulseDevices.hpp"

#include <fmt/format.h>
#include <sys/utsname.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace audio::pulse {
namespace {

std::string kernelRelease() {
    utsname name{};
    return uname(&name) == 0 ? std::string(name.release) : "";
}

std::string withoutSuffix(std::string value, const std::string& suffix) {
    if (value.size() > suffix.size() &&
        value.compare(value.size() - suffix.size(), suffix.size(), suffix) == 0) {
        value.resize(value.size() - suffix.size());
    }
    return value;
}

struct CardDescription {
    std::string id;
    std::string name;
    std::string driver;
    std::string driverVersion;
};

// Every card of the server, and a card for each module that owns card-less
// devices, in that order.
std::vector<CardDescription> describeCards(PulseServer& server) {
    std::vector<CardDescription> result;
    const auto info = server.serverInfo();
    const std::string serverVersion = info ? info->version : "";
    for (const CardInfo& card : server.cards().value_or(std::vector<CardInfo>{})) {
        const bool alsa = !card.kernelDriver.empty();
        // In-tree kernel drivers carry no version of their own but the kernel's.
        result.push_back({fmt::format("card:{}", card.index),
                          card.description.empty() ? card.name : card.description,
                          alsa ? card.kernelDriver : withoutSuffix(card.driver, ".c"),
                          alsa ? kernelRelease() : serverVersion});
    }
    std::map<std::uint32_t, std::string> moduleNames;
    for (const ModuleInfo& module : server.modules().value_or(std::vector<ModuleInfo>{})) {
        moduleNames[module.index] = module.name;
    }
    for (const EDataFlow flow : {eRender, eCapture}) {
        for (const DeviceInfo& device : waveDevices(server, flow)) {
            if (device.card != PA_INVALID_INDEX) {
                continue;
            }
            const std::string id = cardIdOf(device);
            if (std::any_of(result.begin(), result.end(),
                            [&](const CardDescription& known) { return known.id == id; })) {
                continue;
            }
            const auto found = moduleNames.find(device.ownerModule);
            const std::string module =
                found != moduleNames.end() ? found->second : withoutSuffix(device.driver, ".c");
            // Numbered: a server often loads the same module more than once.
            const std::string name = device.ownerModule != PA_INVALID_INDEX
                                         ? fmt::format("{} #{}", module, device.ownerModule)
                                         : module;
            result.push_back({id, name, module, serverVersion});
        }
    }
    return result;
}

std::string cardNameOf(PulseServer& server, const DeviceInfo& device) {
    const std::string id = cardIdOf(device);
    for (const CardDescription& card : describeCards(server)) {
        if (card.id == id) {
            return card.name;
        }
    }
    return "";
}

// ---------------------------------------------------------------------------

class PulseVolume final : public VolumeControllerInterface {
public:
    PulseVolume(std::shared_ptr<PulseServer> server, EDataFlow flow, std::string name)
        : server_(std::move(server)), flow_(flow), name_(std::move(name)) {}

    bool getVolumeLevel(std::uint32_t& percent) override {
        const auto device = current();
        if (!device) {
            return false;
        }
        percent = percentOf(device->volume);
        return true;
    }
    bool setVolumeLevel(std::uint32_t percent) override {
        auto device = current();
        if (!device || percent > 100) {
            return false;
        }
        // The level it already has leaves the user's exact value alone; others
        // are truncated like pactl's percentages, so a saved level comes back as it was.
        if (percentOf(device->volume) == percent) {
            return true;
        }
        // The level the device had before this process changed it is put back exactly,
        // with its channel balance and above 100 %, where a percentage cannot say it.
        if (const auto original = server_->originalVolume(flow_, name_);
            original && percentOf(*original) == percent) {
            return server_->setVolume(flow_, name_, *original);
        }
        pa_cvolume volume = device->volume;
        pa_cvolume_scale(&volume,
                         static_cast<pa_volume_t>(std::uint64_t{percent} * PA_VOLUME_NORM / 100));
        return server_->setVolume(flow_, name_, volume);
    }
    bool getMute(bool& muted) override {
        const auto device = current();
        if (!device) {
            return false;
        }
        muted = device->muted;
        return true;
    }
    bool setMute(bool muted) override { return server_->setMute(flow_, name_, muted); }
    bool channelCount(std::uint32_t& count) override {
        const auto device = current();
        if (!device) {
            return false;
        }
        count = device->volume.channels;
        return true;
    }
    bool decibelRange(std::uint32_t channel, float& minDb, float& maxDb, float& stepDb) override {
        const auto device = current();
        DecibelRange range;
        if (!device || channel >= device->volume.channels || !decibelRangeOf(*device, range)) {
            return false;
        }
        minDb = range.minDb;
        maxDb = range.maxDb;
        stepDb = range.stepDb;
        return true;
    }
    bool decibelLevel(float& levelDb) override {
        const auto device = current();
        if (!device || !device->decibelVolume) {
            return false;
        }
        levelDb = decibelsOf(*device, pa_cvolume_max(&device->volume));
        return true;
    }
    bool channelDecibelLevel(std::uint32_t channel, float& levelDb) override {
        const auto device = current();
        if (!device || !device->decibelVolume || channel >= device->volume.channels) {
            return false;
        }
        levelDb = decibelsOf(*device, device->volume.values[channel]);
        return true;
    }
    bool setChannelDecibelLevel(std::uint32_t channel, float levelDb) override {
        auto device = current();
        if (!device || !device->decibelVolume || channel >= device->volume.channels) {
            return false;
        }
        device->volume.values[channel] = volumeForDecibels(*device, levelDb);
        return server_->setVolume(flow_, name_, device->volume);
    }
    bool channelVolumeLevel(std::uint32_t channel, float& scalar) override {
        const auto device = current();
        if (!device || channel >= device->volume.channels) {
            return false;
        }
        scalar = std::min(1.0F, static_cast<float>(device->volume.values[channel]) /
                                    static_cast<float>(PA_VOLUME_NORM));
        return true;
    }
    bool setChannelVolumeLevel(std::uint32_t channel, float scalar) override {
        auto device = current();
        if (!device || channel >= device->volume.channels || !(scalar >= 0.0F && scalar <= 1.0F)) {
            return false;
        }
        device->volume.values[channel] =
            static_cast<pa_volume_t>(std::lround(static_cast<double>(scalar) * PA_VOLUME_NORM));
        return server_->setVolume(flow_, name_, device->volume);
    }

private:
    std::optional<DeviceInfo> current() { return server_->device(flow_, name_); }

    std::shared_ptr<PulseServer> server_;
    EDataFlow flow_;
    std::string name_;
};

}  // namespace

// ---------------------------------------------------------------------------

PulseEndpoint::PulseEndpoint(std::shared_ptr<PulseServer> server, const DeviceInfo& device,
                             std::string cardName)
    : EndpointBase(endpointState(device)),
      server_(std::move(server)),
      flow_(device.flow),
      name_(device.name),
      id_(endpointId(device)) {
    property_.description = device.description;
    for (const PortInfo& port : device.ports) {
        if (port.name == device.activePort && !port.description.empty()) {
            property_.description = port.description;
        }
    }
    property_.interfaceName = std::move(cardName);
    property_.friendlyName =
        property_.interfaceName.empty() || property_.interfaceName == device.description
            ? device.description
            : device.description + " (" + property_.interfaceName + ")";
    property_.formFactor = formFactorOf(device);
}

std::optional<std::uint32_t> PulseEndpoint::currentState() const {
    const auto device = server_->device(flow_, name_);
    return device ? std::optional<std::uint32_t>(endpointState(*device)) : std::nullopt;
}

bool PulseEndpoint::isDefaultEndpoint() {
    const auto info = server_->serverInfo();
    return info && (flow_ == eRender ? info->defaultSink : info->defaultSource) == name_;
}

std::vector<WAVEFORMATEX> PulseEndpoint::offeredFormats(_AUDCLNT_SHAREMODE shareMode) const {
    const auto device =
        shareMode == AUDCLNT_SHAREMODE_SHARED ? server_->device(flow_, name_) : std::nullopt;
    return device ? sharedFormatsOf(*device) : std::vector<WAVEFORMATEX>{};
}

std::shared_ptr<VolumeControllerInterface> PulseEndpoint::volumeControl() {
    if (!server_->device(flow_, name_)) {
        return nullptr;
    }
    return std::make_shared<PulseVolume>(server_, flow_, name_);
}

std::uint32_t PulseEndpoint::jackInfo(kvo::Array<KSJACK_DESCRIPTION>& jacks) {
    jacks.clear();
    if (const auto device = server_->device(flow_, name_)) {
        for (const KSJACK_DESCRIPTION& jack : jacksOf(*device)) {
            jacks.append(jack);
        }
    }
    return jacks.size();
}

bool PulseEndpoint::waveLegacyDeviceID(std::uint32_t& deviceId) {
    const std::vector<DeviceInfo> devices = waveDevices(*server_, flow_);
    for (std::uint32_t i = 0; i < devices.size(); ++i) {
        if (devices[i].name == name_) {
            deviceId = i;
            return true;
        }
    }
    return false;
}

// ---------------------------------------------------------------------------

PulseSoundCard::PulseSoundCard(std::shared_ptr<PulseServer> server, std::string id,
                               std::string name, std::string driver, std::string driverVersion)
    : ObservedSoundCard(server->observers()),
      server_(std::move(server)),
      id_(std::move(id)),
      name_(std::move(name)),
      driver_(std::move(driver)),
      driverVersion_(std::move(driverVersion)) {}

std::uint32_t PulseSoundCard::endpoints(EDataFlow flow, std::uint32_t stateMask,
                                        kvo::Array<AudioDevicePtr>& list) {
    std::uint32_t appended = 0;
    for (const EDataFlow direction : {eRender, eCapture}) {
        if (flow != eAll && flow != direction) {
            continue;
        }
        for (const DeviceInfo& device : waveDevices(*server_, direction)) {
            if (cardIdOf(device) != id_ || (endpointState(device) & stateMask) == 0) {
                continue;
            }
            list.append(std::make_shared<PulseEndpoint>(server_, device, name_));
            ++appended;
        }
    }
    return appended;
}

std::vector<SoundCardPtr> soundCardsOf(const std::shared_ptr<PulseServer>& server) {
    std::vector<SoundCardPtr> cards;
    for (CardDescription& card : describeCards(*server)) {
        cards.push_back(std::make_shared<PulseSoundCard>(
            server, std::move(card.id), std::move(card.name), std::move(card.driver),
            std::move(card.driverVersion)));
    }
    return cards;
}

std::vector<DeviceInfo> waveDevices(PulseServer& server, EDataFlow flow) {
    std::vector<DeviceInfo> devices = server.devices(flow).value_or(std::vector<DeviceInfo>{});
    std::erase_if(devices, [](const DeviceInfo& device) { return device.monitor; });
    return devices;
}

AudioDevicePtr makeEndpoint(const std::shared_ptr<PulseServer>& server, const DeviceInfo& device) {
    return std::make_shared<PulseEndpoint>(server, device, cardNameOf(*server, device));
}

}  // namespace audio::pulse
