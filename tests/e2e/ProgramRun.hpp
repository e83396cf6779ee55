#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ShellRun.hpp"

namespace kvo::test {

// A run whose JSON lines, report and JUnit file are read back.
struct ProgramRun : ShellRun {
    std::vector<nlohmann::json> lines;  // stdout lines that are JSON objects
    nlohmann::json report;              // checked against the published schema
    std::string junit;                  // checked against tests/junit.xsd
    std::string baseDirectory;
    std::shared_ptr<const TempDirectory> ownBase;  // when the run made its base folder itself

    // The JSON lines of that type, in order.
    std::vector<nlohmann::json> linesOf(const std::string& type) const;
    // The events of that key, in order.
    std::vector<nlohmann::json> events(const std::string& key) const;
    // Every event raised, in order, as "<severity> <key>".
    std::vector<std::string> raised() const;
    // The measurement lines (one per check), in order.
    std::vector<nlohmann::json> measurements() const { return linesOf("measurement"); }
    // Every progress value the framework received, in order.
    std::vector<int> progress() const;
    std::string file(const std::string& name) const { return baseDirectory + "/" + name; }
    std::string log() const;
    bool logContains(const std::string& text) const {
        return log().find(text) != std::string::npos;
    }
    bool hasLogFile(const std::string& name) const;
};

// The machine file of a scenario.
std::string scenarioFile(const std::string& scenario);
// Its content, to be changed by a test.
nlohmann::json scenarioMachine(const std::string& scenario);
// The endpoint with this id in a machine file.
nlohmann::json& endpointOf(nlohmann::json& machine, const std::string& id);

// Runs `kvormicrophone run <arguments> --audio sim --machine <scenario>` at log level 1 with
// --json, --report and --junit, in `base` or in a base folder of its own; an empty scenario is
// the built-in laptop.
ProgramRun runOnSimulatedPc(const std::vector<std::string>& arguments,
                            const std::string& scenario = "");
ProgramRun runOnSimulatedPc(const std::vector<std::string>& arguments, const std::string& scenario,
                            const TempDirectory& base);
// The same on a machine given as JSON.
ProgramRun runOnMachine(const std::vector<std::string>& arguments, const nlohmann::json& machine);

// Runs `kvormicrophone <arguments>` as runInShell does, with its output kept in `base`; stdout
// lines that are JSON objects are parsed, and `base`/report.json and `base`/junit.xml are read
// and validated when they exist.
ProgramRun runProgram(const std::vector<std::string>& arguments, const TempDirectory& base,
                      const std::string& shellPrefix = "");

// `FrequencyToneTest --param FrequencyList=<list>`.
std::vector<std::string> tones(const std::string& list);
// `arguments --setting <setting>`.
std::vector<std::string> withSetting(std::vector<std::string> arguments,
                                     const std::string& setting);
inline const std::string kSaveRecordings = "kvormicrophone.GenerateRecording.value=true";
// The setting that re-analyses a saved recording in logs/ instead of playing tones.
inline std::string reanalysing(const std::string& file) {
    return "kvormicrophone.FrequencyAnalysisWaveFile.value=" + file;
}

}  // namespace kvo::test
