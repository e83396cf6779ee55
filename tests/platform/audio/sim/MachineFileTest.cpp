#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <functional>
#include <string>
#include <vector>

#include "SimTestSupport.hpp"
#include "platform/audio/sim/Machine.hpp"
#include "platform/kvo/FileSystem.hpp"

namespace audio::sim {
namespace {

using nlohmann::json;

// The message of the MachineFileError that parsing `machine` raises, or "" if it parses.
std::string errorOf(const json& machine) {
    try {
        parseMachine(machine.dump(), "bad.json");
    } catch (const MachineFileError& e) {
        return e.what();
    }
    return "";
}

TEST(MachineFile, EveryScenarioFileValidates) {
    const std::vector<std::string> files = kvo::FileSystem::getDirectoryContents(KVO_SCENARIO_DIR);
    ASSERT_GE(files.size(), 14u);
    for (const std::string& name : files) {
        SCOPED_TRACE(name);
        EXPECT_NO_THROW(loadMachineFile(std::string(KVO_SCENARIO_DIR) + "/" + name));
    }
}

struct BadField {
    const char* what;
    std::function<void(json&)> spoil;
    const char* message;
};

TEST(MachineFile, ErrorsNameTheFileAndTheBadField) {
    const std::vector<BadField> cases{
        {"text for a number", [](json& m) { m["endpoints"][2]["volume"]["minDb"] = "low"; },
         "bad.json: endpoints[2].volume.minDb: expected a number"},
        {"misspelt field", [](json& m) { m["endpoints"][0]["volum"] = json::object(); },
         "endpoints[0].volum: unknown field"},
        {"missing name", [](json& m) { m.erase("name"); }, "name: missing"},
        {"unknown card", [](json& m) { m["endpoints"][1]["card"] = "usb"; },
         "endpoints[1].card: no sound card has the id \"usb\""},
        {"bad direction", [](json& m) { m["endpoints"][0]["direction"] = "both"; },
         "endpoints[0].direction: expected one of \"capture\", \"render\""},
        {"percent above 100", [](json& m) { m["endpoints"][0]["volume"]["percent"] = 101; },
         "endpoints[0].volume.percent: must be between 0 and 100"},
        {"range upside down", [](json& m) { m["endpoints"][0]["volume"]["maxDb"] = -70; },
         "endpoints[0].volume.maxDb: must not be below minDb"},
        {"odd bit depth", [](json& m) { m["endpoints"][0]["formats"]["shared"][1]["bits"] = 12; },
         "endpoints[0].formats.shared[1].bits: expected 8, 16, 24 or 32"},
        {"capture fault on a speaker", [](json& m) { m["endpoints"][0]["faults"]["dead"] = true; },
         "endpoints[0].faults.dead: only for capture endpoints"},
        {"state changes out of order",
         [](json& m) {
             m["endpoints"][2]["faults"]["stateChanges"] = json::array(
                 {{{"atMs", 900}, {"state", "unplugged"}}, {{"atMs", 100}, {"state", "active"}}});
         },
         "endpoints[2].faults.stateChanges[1].atMs: state changes must be in time order"},
        {"path from a microphone", [](json& m) { m["paths"][0]["speaker"] = "mic-array"; },
         "paths[0].speaker: no render endpoint has the id \"mic-array\""},
        {"two defaults", [](json& m) { m["endpoints"][3]["default"] = true; },
         "endpoints[3].default: another capture endpoint is the default"},
        {"stage level outside its range",
         [](json& m) { m["endpoints"][2]["stages"][0]["levelDb"] = 40; },
         "endpoints[2].stages[0].levelDb: must lie between minDb and maxDb"},
        {"windows version", [](json& m) { m["windowsVersion"] = "Vista"; },
         "windowsVersion: expected \"major.minor\""},
        {"negative count", [](json& m) { m["endpoints"][2]["faults"]["startFailures"] = -1; },
         "endpoints[2].faults.startFailures: expected a whole number"},
    };
    const json laptop = json::parse(defaultMachineJson());
    for (const BadField& bad : cases) {
        SCOPED_TRACE(bad.what);
        json machine = laptop;
        bad.spoil(machine);
        EXPECT_NE(errorOf(machine).find(bad.message), std::string::npos) << errorOf(machine);
    }
}

}  // namespace
}  // namespace audio::sim
