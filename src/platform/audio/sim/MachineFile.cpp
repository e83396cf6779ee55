#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <set>
#include <sstream>
#include <utility>

#include "Machine.hpp"
#include "platform/kvo/SafeFile.hpp"
#include "platform/kvo/String.hpp"

namespace audio::sim {
namespace {

using nlohmann::json;

// A field that failed validation; the loader adds the file's name in front.
struct FieldError {
    std::string path;
    std::string message;
};

[[noreturn]] void fail(const std::string& path, const std::string& message) {
    throw FieldError{path, message};
}

std::string member(const std::string& path, std::string_view key) {
    return path.empty() ? std::string(key) : path + "." + std::string(key);
}

std::string element(const std::string& path, std::size_t index) {
    return path + "[" + std::to_string(index) + "]";
}

template <typename Enum, std::size_t N>
using NameTable = std::array<std::pair<const char*, Enum>, N>;

template <typename Enum, std::size_t N>
Enum lookup(const NameTable<Enum, N>& table, const json& value, const std::string& path) {
    std::string choices;
    if (value.is_string()) {
        for (const auto& [name, result] : table) {
            if (value.get<std::string>() == name) {
                return result;
            }
        }
    }
    for (const auto& [name, result] : table) {
        choices += std::string(choices.empty() ? "" : ", ") + "\"" + name + "\"";
    }
    fail(path, "expected one of " + choices);
}

constexpr NameTable<EDataFlow, 2> kDirections{{{"capture", eCapture}, {"render", eRender}}};

constexpr NameTable<std::uint32_t, 4> kStates{{{"active", DEVICE_STATE_ACTIVE},
                                               {"disabled", DEVICE_STATE_DISABLED},
                                               {"notPresent", DEVICE_STATE_NOTPRESENT},
                                               {"unplugged", DEVICE_STATE_UNPLUGGED}}};

constexpr NameTable<EndpointFormFactor, 11> kFormFactors{{
    {"remoteNetworkDevice", RemoteNetworkDevice},
    {"speakers", Speakers},
    {"lineLevel", LineLevel},
    {"headphones", Headphones},
    {"microphone", Microphone},
    {"headset", Headset},
    {"handset", Handset},
    {"digitalPassthrough", UnknownDigitalPassthrough},
    {"spdif", SPDIF},
    {"digitalDisplay", DigitalAudioDisplayDevice},
    {"unknown", UnknownFormFactor},
}};

constexpr NameTable<EPcxConnectionType, 12> kConnectionTypes{{
    {"unknown", eConnTypeUnknown},
    {"3.5mm", eConnType3Point5mm},
    {"6.3mm", eConnTypeQuarter},
    {"atapiInternal", eConnTypeAtapiInternal},
    {"rca", eConnTypeRCA},
    {"optical", eConnTypeOptical},
    {"otherDigital", eConnTypeOtherDigital},
    {"otherAnalog", eConnTypeOtherAnalog},
    {"multichannelAnalogDin", eConnTypeMultichannelAnalogDIN},
    {"xlr", eConnTypeXlrProfessional},
    {"rj11", eConnTypeRJ11Modem},
    {"combination", eConnTypeCombination},
}};

constexpr NameTable<EPcxGeoLocation, 14> kGeoLocations{{
    {"none", eGeoLocNone},
    {"rear", eGeoLocRear},
    {"front", eGeoLocFront},
    {"left", eGeoLocLeft},
    {"right", eGeoLocRight},
    {"top", eGeoLocTop},
    {"bottom", eGeoLocBottom},
    {"rearSlideOpen", eGeoLocRearPanel},
    {"riser", eGeoLocRiser},
    {"insideLid", eGeoLocInsideMobileLid},
    {"driveBay", eGeoLocDrivebay},
    {"hdmi", eGeoLocHDMI},
    {"outsideLid", eGeoLocOutsideMobileLid},
    {"atapi", eGeoLocATAPI},
}};

constexpr NameTable<EPcxGenLocation, 4> kGenLocations{{{"primaryBox", eGenLocPrimaryBox},
                                                       {"internal", eGenLocInternal},
                                                       {"separate", eGenLocSeparate},
                                                       {"other", eGenLocOther}}};

constexpr NameTable<EPxcPortConnection, 4> kPortConnections{
    {{"jack", ePortConnJack},
     {"integrated", ePortConnIntegratedDevice},
     {"integratedAndJack", ePortConnBothIntegratedAndJack},
     {"unknown", ePortConnUnknown}}};

// Reads the members of one JSON object and rejects those nobody asked for.
class ObjectReader {
public:
    ObjectReader(const json& value, std::string path) : value_(value), path_(std::move(path)) {
        if (!value_.is_object()) {
            fail(path_.empty() ? "(top level)" : path_, "expected an object");
        }
    }

    const std::string& path() const { return path_; }
    std::string pathOf(std::string_view key) const { return member(path_, key); }

    const json* find(std::string_view key) {
        used_.insert(std::string(key));
        const auto it = value_.find(key);
        return it == value_.end() ? nullptr : &*it;
    }

    const json& require(std::string_view key) {
        const json* value = find(key);
        if (value == nullptr) {
            fail(pathOf(key), "missing");
        }
        return *value;
    }

    std::string string(std::string_view key) { return asString(require(key), pathOf(key)); }
    std::string string(std::string_view key, const std::string& fallback) {
        const json* value = find(key);
        return value == nullptr ? fallback : asString(*value, pathOf(key));
    }

    double number(std::string_view key) { return asNumber(require(key), pathOf(key)); }
    double number(std::string_view key, double fallback) {
        const json* value = find(key);
        return value == nullptr ? fallback : asNumber(*value, pathOf(key));
    }
    double number(std::string_view key, double fallback, double min, double max) {
        const double result = number(key, fallback);
        if (result < min || result > max) {
            fail(pathOf(key),
                 "must be between " + std::to_string(min) + " and " + std::to_string(max));
        }
        return result;
    }

    std::uint64_t whole(std::string_view key, std::uint64_t fallback, std::uint64_t min,
                        std::uint64_t max) {
        const json* value = find(key);
        if (value == nullptr) {
            return fallback;
        }
        if (!value->is_number_unsigned()) {
            fail(pathOf(key), "expected a whole number of 0 or more");
        }
        const auto result = value->get<std::uint64_t>();
        if (result < min || result > max) {
            fail(pathOf(key),
                 "must be between " + std::to_string(min) + " and " + std::to_string(max));
        }
        return result;
    }
    std::uint32_t whole32(std::string_view key, std::uint32_t fallback, std::uint32_t min,
                          std::uint32_t max) {
        return static_cast<std::uint32_t>(whole(key, fallback, min, max));
    }

    bool boolean(std::string_view key, bool fallback) {
        const json* value = find(key);
        if (value == nullptr) {
            return fallback;
        }
        if (!value->is_boolean()) {
            fail(pathOf(key), "expected true or false");
        }
        return value->get<bool>();
    }

    // The array at `key` (empty when absent).
    const json& array(std::string_view key) {
        static const json kEmpty = json::array();
        const json* value = find(key);
        if (value == nullptr) {
            return kEmpty;
        }
        if (!value->is_array()) {
            fail(pathOf(key), "expected an array");
        }
        return *value;
    }

    template <typename Enum, std::size_t N>
    Enum choice(std::string_view key, const NameTable<Enum, N>& table, Enum fallback) {
        const json* value = find(key);
        return value == nullptr ? fallback : lookup(table, *value, pathOf(key));
    }

    // Every member must have been read; "comment" is allowed anywhere.
    void finish() const {
        for (const auto& [key, value] : value_.items()) {
            if (key == "comment" && value.is_string()) {
                continue;
            }
            if (used_.count(key) == 0) {
                fail(pathOf(key), "unknown field");
            }
        }
    }

    static std::string asString(const json& value, const std::string& path) {
        if (!value.is_string()) {
            fail(path, "expected a string");
        }
        return value.get<std::string>();
    }
    static double asNumber(const json& value, const std::string& path) {
        if (!value.is_number()) {
            fail(path, "expected a number");
        }
        return value.get<double>();
    }

private:
    const json& value_;
    std::string path_;
    std::set<std::string, std::less<>> used_;
};

OsVersion parseVersion(const std::string& text, const std::string& path) {
    const std::vector<std::string> parts = kvo::tokenize(text, '.');
    OsVersion version;
    std::uint32_t* const fields[] = {&version.major, &version.minor, &version.servicePackMajor};
    const bool wellFormed =
        (parts.size() == 2 || parts.size() == 3) &&
        std::count(text.begin(), text.end(), '.') + 1 == static_cast<std::ptrdiff_t>(parts.size());
    for (std::size_t i = 0; wellFormed && i < parts.size(); ++i) {
        if (!kvo::strToUInt(parts[i], *fields[i])) {
            fail(path, "expected \"major.minor\" or \"major.minor.servicePack\", e.g. \"6.1\"");
        }
    }
    if (!wellFormed) {
        fail(path, "expected \"major.minor\" or \"major.minor.servicePack\", e.g. \"6.1\"");
    }
    return version;
}

WAVEFORMATEX parseFormat(const json& value, const std::string& path) {
    ObjectReader reader(value, path);
    if (reader.find("rate") == nullptr) {
        fail(reader.pathOf("rate"), "missing");
    }
    const auto rate = reader.whole32("rate", 0, 1000, 384000);
    const auto bits = reader.whole32("bits", 16, 8, 32);
    if (bits % 8 != 0) {
        fail(reader.pathOf("bits"), "expected 8, 16, 24 or 32");
    }
    const auto channels = reader.whole32("channels", 2, 1, 8);
    const std::string type = reader.string("type", "pcm");
    if (type != "pcm" && type != "float") {
        fail(reader.pathOf("type"), "expected one of \"pcm\", \"float\"");
    }
    if (type == "float" && bits != 32) {
        fail(reader.pathOf("bits"), "a float format has 32 bits");
    }
    reader.finish();
    WAVEFORMATEX format =
        makePcmFormat(static_cast<std::uint16_t>(channels), rate, static_cast<std::uint16_t>(bits));
    if (type == "float") {
        format.wFormatTag = WAVE_FORMAT_IEEE_FLOAT;
    }
    return format;
}

std::vector<WAVEFORMATEX> parseFormatList(const json& value, const std::string& path) {
    if (!value.is_array()) {
        fail(path, "expected an array");
    }
    std::vector<WAVEFORMATEX> formats;
    for (std::size_t i = 0; i < value.size(); ++i) {
        formats.push_back(parseFormat(value[i], element(path, i)));
    }
    return formats;
}

void parseFormats(ObjectReader& reader, EndpointConfig& endpoint) {
    const json* formats = reader.find("formats");
    const std::string path = reader.pathOf("formats");
    if (formats == nullptr) {
        endpoint.sharedFormats = {makePcmFormat(2, 48000, 16), makePcmFormat(2, 44100, 16)};
        endpoint.exclusiveFormats = endpoint.sharedFormats;
    } else if (formats->is_array()) {
        endpoint.sharedFormats = parseFormatList(*formats, path);
        endpoint.exclusiveFormats = endpoint.sharedFormats;
    } else {
        ObjectReader modes(*formats, path);
        endpoint.sharedFormats = parseFormatList(modes.array("shared"), modes.pathOf("shared"));
        endpoint.exclusiveFormats =
            parseFormatList(modes.array("exclusive"), modes.pathOf("exclusive"));
        modes.finish();
    }
}

VolumeConfig parseVolume(ObjectReader& endpointReader) {
    VolumeConfig volume;
    const json* value = endpointReader.find("volume");
    if (value == nullptr) {
        return volume;
    }
    ObjectReader reader(*value, endpointReader.pathOf("volume"));
    volume.minDb = reader.number("minDb", volume.minDb, -200.0, 60.0);
    volume.maxDb = reader.number("maxDb", volume.maxDb, -200.0, 60.0);
    if (volume.maxDb < volume.minDb) {
        fail(reader.pathOf("maxDb"), "must not be below minDb");
    }
    volume.stepDb = reader.number("stepDb", volume.stepDb, 0.001, 100.0);
    volume.channels = reader.whole32("channels", volume.channels, 1, 8);
    volume.percent = reader.whole32("percent", volume.percent, 0, 100);
    volume.muted = reader.boolean("muted", volume.muted);
    volume.decibelInfo = reader.boolean("decibelInfo", volume.decibelInfo);
    reader.finish();
    return volume;
}

std::uint32_t parseColor(const json& value, const std::string& path) {
    const std::string text = ObjectReader::asString(value, path);
    std::uint32_t color = 0;
    const bool wellFormed =
        text.size() == 7 && text[0] == '#' &&
        std::all_of(text.begin() + 1, text.end(), [](char c) { return std::isxdigit(c) != 0; });
    if (!wellFormed) {
        fail(path, "expected a colour \"#RRGGBB\"");
    }
    std::istringstream(text.substr(1)) >> std::hex >> color;
    return color;
}

KSJACK_DESCRIPTION parseJack(const json& value, const std::string& path) {
    ObjectReader reader(value, path);
    KSJACK_DESCRIPTION jack;
    jack.ConnectionType = reader.choice("connectionType", kConnectionTypes, eConnTypeUnknown);
    jack.GeoLocation = reader.choice("location", kGeoLocations, eGeoLocNone);
    jack.GenLocation = reader.choice("generalLocation", kGenLocations, eGenLocPrimaryBox);
    jack.PortConnection = reader.choice("port", kPortConnections, ePortConnJack);
    if (const json* color = reader.find("color")) {
        jack.Color = parseColor(*color, reader.pathOf("color"));
    }
    jack.IsConnected = reader.boolean("connected", true);
    jack.ChannelMapping = reader.whole32("channelMapping", 0x3, 0, 0x3FFFF);
    reader.finish();
    return jack;
}

GainStageConfig parseStage(const json& value, const std::string& path) {
    ObjectReader reader(value, path);
    GainStageConfig stage;
    stage.name = reader.string("name");
    stage.channels = reader.whole32("channels", stage.channels, 1, 8);
    stage.minDb = reader.number("minDb");
    stage.maxDb = reader.number("maxDb");
    if (stage.maxDb < stage.minDb) {
        fail(reader.pathOf("maxDb"), "must not be below minDb");
    }
    stage.stepDb = reader.number("stepDb", stage.stepDb, 0.001, 100.0);
    stage.levelDb = reader.number("levelDb", stage.minDb);
    if (stage.levelDb < stage.minDb || stage.levelDb > stage.maxDb) {
        fail(reader.pathOf("levelDb"), "must lie between minDb and maxDb");
    }
    reader.finish();
    return stage;
}

void parseFaults(ObjectReader& endpointReader, EndpointConfig& endpoint) {
    const json* value = endpointReader.find("faults");
    if (value == nullptr) {
        return;
    }
    ObjectReader reader(*value, endpointReader.pathOf("faults"));
    FaultConfig& faults = endpoint.faults;
    const bool capture = endpoint.flow == eCapture;
    const auto only = [&](std::string_view key, bool allowed) {
        if (reader.find(key) != nullptr && !allowed) {
            fail(reader.pathOf(key),
                 capture ? "only for render endpoints" : "only for capture endpoints");
        }
    };
    for (const char* key : {"dead", "disconnected", "weakDb", "hum", "startFailures",
                            "interruptAfterMs", "interruptCount"}) {
        only(key, capture);
    }
    for (const char* key : {"silent", "playFailures"}) {
        only(key, !capture);
    }
    faults.dead = reader.boolean("dead", false);
    faults.disconnected = reader.boolean("disconnected", false);
    faults.weakDb = reader.number("weakDb", 0.0, 0.0, 200.0);
    if (const json* hum = reader.find("hum")) {
        ObjectReader humReader(*hum, reader.pathOf("hum"));
        faults.hum = HumConfig{humReader.number("hz"), humReader.number("dbfs")};
        if (faults.hum->hz <= 0.0) {
            fail(humReader.pathOf("hz"), "must be above 0");
        }
        if (faults.hum->dbfs > 0.0) {
            fail(humReader.pathOf("dbfs"), "must be 0 or below");
        }
        humReader.finish();
    }
    faults.startFailures = reader.whole32("startFailures", 0, 0, 1000);
    if (reader.find("interruptAfterMs") != nullptr) {
        faults.interruptAfterMs = reader.whole32("interruptAfterMs", 0, 0, 86400000);
    }
    faults.interruptCount = reader.whole32("interruptCount", 0, 0, 1000);
    faults.silent = reader.boolean("silent", false);
    faults.playFailures = reader.whole32("playFailures", 0, 0, 1000);
    const json& changes = reader.array("stateChanges");
    for (std::size_t i = 0; i < changes.size(); ++i) {
        ObjectReader change(changes[i], element(reader.pathOf("stateChanges"), i));
        StateChange parsed;
        if (change.find("atMs") == nullptr) {
            fail(change.pathOf("atMs"), "missing");
        }
        parsed.atMs = change.whole("atMs", 0, 0, UINT64_C(1) << 50);
        parsed.state = lookup(kStates, change.require("state"), change.pathOf("state"));
        change.finish();
        if (!faults.stateChanges.empty() && parsed.atMs < faults.stateChanges.back().atMs) {
            fail(change.pathOf("atMs"), "state changes must be in time order");
        }
        faults.stateChanges.push_back(parsed);
    }
    reader.finish();
}

EndpointConfig parseEndpoint(const json& value, const std::string& path, const Machine& machine) {
    ObjectReader reader(value, path);
    EndpointConfig endpoint;
    endpoint.id = reader.string("id");
    endpoint.card = reader.string("card");
    const auto card = std::find_if(machine.soundCards.begin(), machine.soundCards.end(),
                                   [&](const SoundCardConfig& c) { return c.id == endpoint.card; });
    if (card == machine.soundCards.end()) {
        fail(reader.pathOf("card"), "no sound card has the id \"" + endpoint.card + "\"");
    }
    endpoint.flow = lookup(kDirections, reader.require("direction"), reader.pathOf("direction"));
    const bool capture = endpoint.flow == eCapture;
    endpoint.name = reader.string("name");
    endpoint.friendlyName = reader.string("friendlyName", endpoint.name + " (" + card->name + ")");
    endpoint.formFactor =
        reader.choice("formFactor", kFormFactors, capture ? Microphone : Speakers);
    endpoint.state = reader.choice("state", kStates, DEVICE_STATE_ACTIVE);
    endpoint.isDefault = reader.boolean("default", false);
    parseFormats(reader, endpoint);
    endpoint.volume = parseVolume(reader);
    const json& jacks = reader.array("jacks");
    for (std::size_t i = 0; i < jacks.size(); ++i) {
        endpoint.jacks.push_back(parseJack(jacks[i], element(reader.pathOf("jacks"), i)));
    }
    const json& stages = reader.array("stages");
    for (std::size_t i = 0; i < stages.size(); ++i) {
        endpoint.stages.push_back(parseStage(stages[i], element(reader.pathOf("stages"), i)));
    }
    if (!capture) {
        for (const char* key : {"noiseDbfs", "sensitivityDb"}) {
            if (reader.find(key) != nullptr) {
                fail(reader.pathOf(key), "only for capture endpoints");
            }
        }
    }
    endpoint.noiseDbfs = reader.number("noiseDbfs", endpoint.noiseDbfs, -200.0, 0.0);
    endpoint.sensitivityDb = reader.number("sensitivityDb", 0.0, -100.0, 60.0);
    parseFaults(reader, endpoint);
    reader.finish();
    return endpoint;
}

const EndpointConfig* findEndpoint(const Machine& machine, const std::string& id) {
    for (const EndpointConfig& endpoint : machine.endpoints) {
        if (endpoint.id == id) {
            return &endpoint;
        }
    }
    return nullptr;
}

PathConfig parsePath(const json& value, const std::string& path, const Machine& machine) {
    ObjectReader reader(value, path);
    PathConfig result;
    result.speaker = reader.string("speaker");
    const EndpointConfig* speaker = findEndpoint(machine, result.speaker);
    if (speaker == nullptr || speaker->flow != eRender) {
        fail(reader.pathOf("speaker"), "no render endpoint has the id \"" + result.speaker + "\"");
    }
    result.microphone = reader.string("microphone");
    const EndpointConfig* microphone = findEndpoint(machine, result.microphone);
    if (microphone == nullptr || microphone->flow != eCapture) {
        fail(reader.pathOf("microphone"),
             "no capture endpoint has the id \"" + result.microphone + "\"");
    }
    result.gainDb = reader.number("gainDb", result.gainDb, -200.0, 40.0);
    result.delayMs = reader.number("delayMs", 0.0, 0.0, 1000.0);
    result.highPassHz = reader.number("highPassHz", 0.0, 0.0, 100000.0);
    result.lowPassHz = reader.number("lowPassHz", 0.0, 0.0, 100000.0);
    if (result.lowPassHz != 0.0 && result.lowPassHz <= result.highPassHz) {
        fail(reader.pathOf("lowPassHz"), "must be above highPassHz");
    }
    reader.finish();
    return result;
}

Machine parseDocument(const json& document, const std::string& origin) {
    ObjectReader reader(document, "");
    Machine machine;
    machine.origin = origin;
    machine.name = reader.string("name");
    machine.seed = reader.whole("seed", 1, 0, UINT64_MAX);
    if (const json* version = reader.find("windowsVersion")) {
        machine.windowsVersion =
            parseVersion(ObjectReader::asString(*version, "windowsVersion"), "windowsVersion");
    }
    machine.allowExternalMicTesting = reader.boolean("allowExternalMicTesting", false);
    if (reader.find("stopRequestAtMs") != nullptr) {
        machine.stopRequestAtMs = reader.whole("stopRequestAtMs", 0, 0, UINT64_C(1) << 50);
    }

    const json& cards = reader.array("soundCards");
    std::set<std::string> cardIds;
    for (std::size_t i = 0; i < cards.size(); ++i) {
        ObjectReader card(cards[i], element("soundCards", i));
        SoundCardConfig config{card.string("id"), card.string("name"), card.string("driver"),
                               card.string("driverVersion")};
        if (!cardIds.insert(config.id).second) {
            fail(card.pathOf("id"), "another sound card has the id \"" + config.id + "\"");
        }
        card.finish();
        machine.soundCards.push_back(std::move(config));
    }

    const json& endpoints = reader.array("endpoints");
    std::set<std::string> endpointIds;
    bool hasDefault[2] = {false, false};
    for (std::size_t i = 0; i < endpoints.size(); ++i) {
        const std::string path = element("endpoints", i);
        EndpointConfig endpoint = parseEndpoint(endpoints[i], path, machine);
        if (!endpointIds.insert(endpoint.id).second) {
            fail(member(path, "id"), "another endpoint has the id \"" + endpoint.id + "\"");
        }
        if (endpoint.isDefault) {
            if (hasDefault[endpoint.flow]) {
                fail(member(path, "default"),
                     "another " + dataFlowText(endpoint.flow) + " endpoint is the default");
            }
            hasDefault[endpoint.flow] = true;
        }
        machine.endpoints.push_back(std::move(endpoint));
    }

    const json& paths = reader.array("paths");
    std::set<std::pair<std::string, std::string>> pairs;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        PathConfig path = parsePath(paths[i], element("paths", i), machine);
        if (!pairs.insert({path.speaker, path.microphone}).second) {
            fail(element("paths", i), "another path joins the same speaker and microphone");
        }
        machine.paths.push_back(std::move(path));
    }
    reader.finish();
    return machine;
}

}  // namespace

Machine parseMachine(std::string_view text, const std::string& origin) {
    json document;
    try {
        document = json::parse(text.begin(), text.end());
    } catch (const json::parse_error& e) {
        // The parser's own message quotes the text it read: the file may be anyone's.
        throw MachineFileError(origin + ": not valid JSON (at byte " + std::to_string(e.byte) +
                               ")");
    } catch (const json::exception&) {
        throw MachineFileError(origin + ": not valid JSON (a number out of range)");
    }
    try {
        return parseDocument(document, origin);
    } catch (const FieldError& e) {
        throw MachineFileError(origin + ": " + e.path + ": " + e.message);
    }
}

Machine loadMachineFile(const std::string& path) {
    std::string text;
    std::string problem;
    if (!kvo::readRegularFile(path, kMaxMachineFileBytes, text, problem)) {
        throw MachineFileError(path + ": cannot be read: " + problem);
    }
    return parseMachine(text, path);
}

Machine defaultMachine() {
    return parseMachine(defaultMachineJson(), "built-in");
}

}  // namespace audio::sim
