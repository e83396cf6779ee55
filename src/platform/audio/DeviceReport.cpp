#include "DeviceReport.hpp"

#include "platform/kvo/HostInfo.hpp"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include <functional>
#include <set>

namespace audio {
namespace {

using nlohmann::json;

// A topology deeper than this is taken to be broken (a loop).
constexpr int kMaxTopologyDepth = 32;

void collectStages(const std::shared_ptr<IPart>& part, int depth, std::set<std::uint32_t>& seen,
                   std::vector<GainStage>& stages) {
    std::uint32_t localId = 0;
    if (depth > kMaxTopologyDepth ||
        (succeeded(part->GetLocalId(localId)) && !seen.insert(localId).second)) {
        return;
    }
    std::shared_ptr<IAudioVolumeLevel> level;
    if (succeeded(part->Activate(level)) && level) {
        GainStage stage;
        part->GetName(stage.name);
        level->GetChannelCount(stage.channels);
        level->GetLevelRange(0, stage.minDb, stage.maxDb, stage.stepDb);
        level->GetLevel(0, stage.levelDb);
        stages.push_back(stage);
    }
    std::shared_ptr<IPartsList> outgoing;
    std::uint32_t count = 0;
    if (failed(part->EnumPartsOutgoing(outgoing)) || !outgoing ||
        failed(outgoing->GetCount(count))) {
        return;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        std::shared_ptr<IPart> next;
        if (succeeded(outgoing->GetPart(i, next)) && next) {
            collectStages(next, depth + 1, seen, stages);
        }
    }
}

std::string versionText(const OsVersion& version) {
    return version.servicePackMajor == 0
               ? fmt::format("{}.{}", version.major, version.minor)
               : fmt::format("{}.{}.{}", version.major, version.minor, version.servicePackMajor);
}

// The system the program runs on. A simulated PC is the Windows its machine
// file names; elsewhere the version checks answer 10.0 whatever runs.
std::string operatingSystemText(AudioSystem& system, bool simulated) {
    const std::string windows = "Windows " + versionText(system.osVersion());
    if (simulated) {
        return windows + " (simulated)";
    }
    return kvo::operatingSystem();
}

json formatsJson(AudioDevice& endpoint, _AUDCLNT_SHAREMODE mode) {
    json formats = json::array();
    kvo::Array<tWAVEFORMATEX> list;
    endpoint.compatibleFormats(list, mode);
    for (const tWAVEFORMATEX& format : list) {
        // Copied out: the record is packed, its fields cannot be bound to references.
        const std::uint32_t rate = format.nSamplesPerSec;
        const std::uint32_t bits = format.wBitsPerSample;
        const std::uint32_t channels = format.nChannels;
        formats.push_back(
            {{"rate", rate},
             {"bits", bits},
             {"channels", channels},
             {"type", format.wFormatTag == WAVE_FORMAT_IEEE_FLOAT ? "float" : "pcm"}});
    }
    return formats;
}

json volumeJson(AudioDevice& endpoint) {
    const std::shared_ptr<VolumeControllerInterface> control = endpoint.volumeControl();
    if (!control) {
        return nullptr;
    }
    json volume = json::object();
    std::uint32_t percent = 0;
    bool muted = false;
    std::uint32_t channels = 0;
    float levelDb = 0.0F;
    if (control->getVolumeLevel(percent)) {
        volume["percent"] = percent;
    }
    if (control->getMute(muted)) {
        volume["muted"] = muted;
    }
    if (control->channelCount(channels)) {
        volume["channels"] = channels;
    }
    if (control->decibelLevel(levelDb)) {
        volume["levelDb"] = levelDb;
    }
    float minDb = 0.0F;
    float maxDb = 0.0F;
    float stepDb = 0.0F;
    if (control->decibelRange(0, minDb, maxDb, stepDb)) {
        volume["minDb"] = minDb;
        volume["maxDb"] = maxDb;
        volume["stepDb"] = stepDb;
    }
    return volume;
}

json jacksJson(AudioDevice& endpoint) {
    json jacks = json::array();
    kvo::Array<KSJACK_DESCRIPTION> list;
    endpoint.jackInfo(list);
    for (const KSJACK_DESCRIPTION& jack : list) {
        jacks.push_back({{"connectionType", connectionTypeText(jack.ConnectionType)},
                         {"location", geoLocationText(jack.GeoLocation)},
                         {"generalLocation", genLocationText(jack.GenLocation)},
                         {"port", portConnectionText(jack.PortConnection)},
                         {"color", fmt::format("#{:06X}", jack.Color & 0xFFFFFFU)},
                         {"connected", jack.IsConnected}});
    }
    return jacks;
}

json endpointJson(AudioDevice& endpoint) {
    const DeviceProperty property = endpoint.deviceProperty();
    json stages = json::array();
    for (const GainStage& stage : findGainStages(endpoint)) {
        stages.push_back({{"name", stage.name},
                          {"channels", stage.channels},
                          {"levelDb", stage.levelDb},
                          {"minDb", stage.minDb},
                          {"maxDb", stage.maxDb},
                          {"stepDb", stage.stepDb}});
    }
    return {{"id", endpoint.id()},
            {"direction", dataFlowText(endpoint.dataFlow())},
            {"name", property.friendlyName},
            {"description", property.description},
            {"formFactor", formFactorText(property.formFactor)},
            {"state", deviceStateText(endpoint.state())},
            {"integrated", isIntegratedEndpoint(endpoint)},
            {"default", endpoint.isDefaultEndpoint()},
            {"formats",
             {{"shared", formatsJson(endpoint, AUDCLNT_SHAREMODE_SHARED)},
              {"exclusive", formatsJson(endpoint, AUDCLNT_SHAREMODE_EXCLUSIVE)}}},
            {"volume", volumeJson(endpoint)},
            {"jacks", jacksJson(endpoint)},
            {"gainStages", stages}};
}

std::string formatsText(const json& formats) {
    if (formats.empty()) {
        return "none";
    }
    std::string text;
    for (const json& format : formats) {
        text += fmt::format("{}{} Hz {} bit{} {} ch", text.empty() ? "" : ", ",
                            format["rate"].get<unsigned>(), format["bits"].get<unsigned>(),
                            format["type"] == "float" ? " float" : "",
                            format["channels"].get<unsigned>());
    }
    return text;
}

std::string volumeText(const json& volume) {
    if (volume.is_null()) {
        return "no volume control";
    }
    std::string text;
    if (volume.contains("percent")) {
        text += fmt::format("{}%", volume["percent"].get<unsigned>());
    }
    if (volume.contains("levelDb")) {
        text += fmt::format(" ({:.2f} dB)", volume["levelDb"].get<double>());
    }
    if (volume.contains("muted")) {
        text += volume["muted"].get<bool>() ? ", muted" : ", not muted";
    }
    if (volume.contains("channels")) {
        text += fmt::format(", {} channel{}", volume["channels"].get<unsigned>(),
                            volume["channels"].get<unsigned>() == 1 ? "" : "s");
    }
    if (volume.contains("minDb")) {
        text += fmt::format(", range {:.2f} to {:.2f} dB in {:.2f} dB steps",
                            volume["minDb"].get<double>(), volume["maxDb"].get<double>(),
                            volume["stepDb"].get<double>());
    } else {
        text += ", no dB range";
    }
    return text;
}

}  // namespace

std::vector<GainStage> findGainStages(AudioDevice& endpoint) {
    std::vector<GainStage> stages;
    kvo::Array<AudioComponent<IConnector>> connectors;
    if (endpoint.connector(connectors) == 0 || !connectors[0].component) {
        return stages;
    }
    std::shared_ptr<IConnector> adapter;
    std::shared_ptr<IPart> part;
    if (failed(connectors[0].component->GetConnectedTo(adapter)) || !adapter ||
        failed(adapter->QueryInterface(part)) || !part) {
        return stages;
    }
    std::set<std::uint32_t> seen;
    collectStages(part, 0, seen, stages);
    return stages;
}

namespace {

json deviceReport(AudioSystem& system, bool simulated) {
    json report{{"audioSystem", system.backendName()},
                {"description", system.description()},
                {"simulated", simulated},
                {"operatingSystem", operatingSystemText(system, simulated)},
                {"windowsVersion", versionText(system.osVersion())},
                {"allowExternalMicTesting", system.allowExternalMicTesting()}};
    for (const auto& [key, flow] :
         {std::pair{"defaultRender", eRender}, std::pair{"defaultCapture", eCapture}}) {
        const AudioDevicePtr endpoint = system.defaultEndpoint(flow);
        report[key] = endpoint ? json(endpoint->id()) : json(nullptr);
    }
    json cards = json::array();
    kvo::Array<SoundCardPtr> list;
    system.soundCards(list);
    for (const SoundCardPtr& card : list) {
        json endpoints = json::array();
        kvo::Array<AudioDevicePtr> devices;
        card->endpoints(eRender, DEVICE_STATEMASK_ALL, devices);
        card->endpoints(eCapture, DEVICE_STATEMASK_ALL, devices);
        for (const AudioDevicePtr& device : devices) {
            endpoints.push_back(endpointJson(*device));
        }
        cards.push_back({{"id", card->id()},
                         {"name", card->name()},
                         {"driver", card->driver()},
                         {"driverVersion", card->driverVersion()},
                         {"endpoints", endpoints}});
    }
    report["soundCards"] = cards;
    return report;
}

std::string reportText(const json& report) {
    std::string text;
    const auto line = [&text](int indent, const std::string& content) {
        text += std::string(static_cast<std::size_t>(indent) * 2, ' ') + content + "\n";
    };
    line(0, "Audio system: " + report["description"].get<std::string>());
    line(0, "Operating system: " + report["operatingSystem"].get<std::string>());
    line(0, std::string("External microphones may be tested: ") +
                (report["allowExternalMicTesting"].get<bool>() ? "yes" : "no"));
    if (report["soundCards"].empty()) {
        line(0, "No sound cards.");
    }
    for (const json& card : report["soundCards"]) {
        text += "\n";
        line(0, "Sound card \"" + card["name"].get<std::string>() + "\"");
        line(1, "Driver: " + card["driver"].get<std::string>() + ", version " +
                    card["driverVersion"].get<std::string>());
        if (card["endpoints"].empty()) {
            line(1, "No endpoints.");
        }
        for (const json& endpoint : card["endpoints"]) {
            const std::string direction = endpoint["direction"].get<std::string>();
            line(1, fmt::format("{} endpoint \"{}\" [{}]",
                                direction == "render" ? "Render" : "Capture",
                                endpoint["name"].get<std::string>(),
                                endpoint["formFactor"].get<std::string>()));
            std::string state = endpoint["state"].get<std::string>();
            state += endpoint["integrated"].get<bool>() ? ", integrated" : ", external";
            if (endpoint["default"].get<bool>()) {
                state += ", default";
            }
            line(2, "State: " + state);
            line(2, "Id: " + endpoint["id"].get<std::string>());
            line(2, "Formats (shared): " + formatsText(endpoint["formats"]["shared"]));
            line(2, "Formats (exclusive): " + formatsText(endpoint["formats"]["exclusive"]));
            line(2, "Volume: " + volumeText(endpoint["volume"]));
            std::size_t number = 0;
            for (const json& jack : endpoint["jacks"]) {
                line(2,
                     fmt::format("Jack {}: {}, {}, {}, {}, colour {}, {}", number++,
                                 jack["connectionType"].get<std::string>(),
                                 jack["location"].get<std::string>(),
                                 jack["generalLocation"].get<std::string>(),
                                 jack["port"].get<std::string>(), jack["color"].get<std::string>(),
                                 jack["connected"].get<bool>() ? "connected" : "not connected"));
            }
            if (endpoint["gainStages"].empty()) {
                line(2, "Gain stages: none");
            }
            for (const json& stage : endpoint["gainStages"]) {
                line(2,
                     fmt::format("Gain stage \"{}\": {:.2f} dB, range {:.2f} to {:.2f} dB in "
                                 "{:.2f} dB steps, {} channel{}",
                                 stage["name"].get<std::string>(), stage["levelDb"].get<double>(),
                                 stage["minDb"].get<double>(), stage["maxDb"].get<double>(),
                                 stage["stepDb"].get<double>(), stage["channels"].get<unsigned>(),
                                 stage["channels"].get<unsigned>() == 1 ? "" : "s"));
            }
        }
    }
    return text;
}

}  // namespace

std::string deviceReportJson(AudioSystem& system, bool simulated) {
    // Names may hold bytes that are not UTF-8: written as U+FFFD instead of failing.
    return deviceReport(system, simulated)
        .dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string deviceReportText(AudioSystem& system, bool simulated) {
    return reportText(deviceReport(system, simulated));
}

}  // namespace audio
