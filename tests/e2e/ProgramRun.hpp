#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/TempDirectory.hpp"

namespace kvo::test {

// One run of the real program with --json, --report and --junit in a base directory of its own.
struct ProgramRun {
    int exitCode = -1;
    std::vector<nlohmann::json> lines;  // stdout, one JSON object per line
    nlohmann::json report;              // checked against the published schema
    std::string junit;                  // checked against tests/junit.xsd
    std::string errors;                 // stderr
    std::string output;                 // stdout as it was written

    // The events of that key, in order.
    std::vector<nlohmann::json> events(const std::string& key) const;
    // Every event raised, in order, as "<severity> <key>".
    std::vector<std::string> raised() const;
    // The measurement lines (one per check), in order.
    std::vector<nlohmann::json> measurements() const;
    // Every progress value the framework received, in order.
    std::vector<int> progress() const;
    std::string log() const;
    bool logContains(const std::string& text) const {
        return log().find(text) != std::string::npos;
    }
    bool hasLogFile(const std::string& name) const;

    std::string baseDirectory;
};

// Runs `kvormicrophone run <arguments> --audio sim --machine <scenario>` at log level 1 with
// `base` as its base directory; an empty scenario is the built-in laptop.
ProgramRun runOnSimulatedPc(const std::vector<std::string>& arguments, const std::string& scenario,
                            const TempDirectory& base);
// The same run as a person sees it: the program's text output instead of --json.
std::string textOfRunOnSimulatedPc(const std::vector<std::string>& arguments,
                                   const std::string& scenario, const TempDirectory& base);

// The machine file of a scenario, to be changed by a test.
nlohmann::json scenarioMachine(const std::string& scenario);
// Runs as runOnSimulatedPc on a machine given as JSON, written to `base` first.
ProgramRun runOnMachine(const std::vector<std::string>& arguments, const nlohmann::json& machine,
                        const TempDirectory& base);
// The endpoint with this id in a machine file.
nlohmann::json& endpointOf(nlohmann::json& machine, const std::string& id);
// Runs `kvormicrophone <arguments>` as given, through `sh -c "<shellPrefix> program ..."`,
// with its output kept in `base`; stdout lines that are JSON objects are parsed, and
// `base`/report.json and `base`/junit.xml are read and validated when they exist. A run that would
// hang is ended after a minute (exit code 124) so that the suite reports it instead of waiting for
// ever.
ProgramRun runProgram(const std::vector<std::string>& arguments, const TempDirectory& base,
                      const std::string& shellPrefix = "");

// The text of a file, "" when it cannot be read.
std::string readFile(const std::string& path);

}  // namespace kvo::test
