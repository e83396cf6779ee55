#include "ProgramRun.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "support/ShellQuote.hpp"

namespace kvo::test {
namespace {

// Checks a file the program wrote with a validator command: every report holds to the schema it
// publishes.
void expectValid(const std::string& validator, const std::string& file, const TempDirectory& base) {
    const std::string said = base.file("validation.txt");
    const int status = std::system(
        (validator + " " + shellQuoted(file) + " > " + shellQuoted(said) + " 2>&1").c_str());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << file << ": " << readWholeFile(said);
}

}  // namespace

ProgramRun runProgram(const std::vector<std::string>& arguments, const TempDirectory& base,
                      const std::string& shellPrefix) {
    ProgramRun run;
    static_cast<ShellRun&>(run) = runInShell(shellPrefix, arguments, base);
    run.baseDirectory = base.path();
    for (const std::string& line : run.outLines()) {
        if (!line.empty() && line[0] == '{' && nlohmann::json::accept(line)) {
            run.lines.push_back(nlohmann::json::parse(line));
        }
    }
    const std::string report = readWholeFile(base.file("report.json"));
    if (!report.empty()) {
        run.report = nlohmann::json::parse(report);
        expectValid("python3 " + shellQuoted(KVO_SOURCE_DIR "/tests/validate_json.py") + " " +
                        shellQuoted(KVO_SOURCE_DIR "/docs/schemas/report.schema.json"),
                    base.file("report.json"), base);
    }
    run.junit = readWholeFile(base.file("junit.xml"));
    if (!run.junit.empty()) {
        expectValid("xmllint --noout --schema " + shellQuoted(KVO_SOURCE_DIR "/tests/junit.xsd"),
                    base.file("junit.xml"), base);
    }
    return run;
}

std::vector<std::string> tones(const std::string& list) {
    return {"FrequencyToneTest", "--param", "FrequencyList=" + list};
}

std::vector<std::string> withSetting(std::vector<std::string> arguments,
                                     const std::string& setting) {
    arguments.insert(arguments.end(), {"--setting", setting});
    return arguments;
}

std::string scenarioFile(const std::string& scenario) {
    return std::string(KVO_SCENARIOS) + "/" + scenario + ".json";
}

nlohmann::json scenarioMachine(const std::string& scenario) {
    return nlohmann::json::parse(readWholeFile(scenarioFile(scenario)));
}

nlohmann::json& endpointOf(nlohmann::json& machine, const std::string& id) {
    for (nlohmann::json& endpoint : machine["endpoints"]) {
        if (endpoint["id"] == id) {
            return endpoint;
        }
    }
    throw std::invalid_argument("no endpoint " + id);
}

namespace {

ProgramRun runOnMachineFile(const std::vector<std::string>& arguments, const std::string& machine,
                            const TempDirectory& base) {
    std::vector<std::string> command{"run"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    // Detail logging: several checks read lines that are logged at priority 1.
    command.insert(command.end(),
                   {"--audio", "sim", "--log-level", "1", "--base-dir", base.path(), "--json",
                    "--report", base.file("report.json"), "--junit", base.file("junit.xml")});
    if (!machine.empty()) {
        command.insert(command.end(), {"--machine", machine});
    }
    return runProgram(command, base);
}

}  // namespace

ProgramRun runOnSimulatedPc(const std::vector<std::string>& arguments, const std::string& scenario,
                            const TempDirectory& base) {
    return runOnMachineFile(arguments, scenario.empty() ? "" : scenarioFile(scenario), base);
}

ProgramRun runOnSimulatedPc(const std::vector<std::string>& arguments,
                            const std::string& scenario) {
    const auto base = std::make_shared<const TempDirectory>();
    ProgramRun run = runOnSimulatedPc(arguments, scenario, *base);
    run.ownBase = base;
    return run;
}

ProgramRun runOnMachine(const std::vector<std::string>& arguments, const nlohmann::json& machine) {
    const auto base = std::make_shared<const TempDirectory>();
    ProgramRun run =
        runOnMachineFile(arguments, base->write("machine.json", machine.dump()), *base);
    run.ownBase = base;
    return run;
}

std::vector<nlohmann::json> ProgramRun::linesOf(const std::string& type) const {
    std::vector<nlohmann::json> found;
    for (const nlohmann::json& line : lines) {
        if (line["type"] == type) {
            found.push_back(line);
        }
    }
    return found;
}

std::vector<nlohmann::json> ProgramRun::events(const std::string& key) const {
    std::vector<nlohmann::json> found;
    for (const nlohmann::json& event : linesOf("event")) {
        if (event["key"] == key) {
            found.push_back(event);
        }
    }
    return found;
}

std::vector<std::string> ProgramRun::raised() const {
    std::vector<std::string> found;
    for (const nlohmann::json& event : linesOf("event")) {
        found.push_back(event["severity"].get<std::string>() + " " +
                        event["key"].get<std::string>());
    }
    return found;
}

std::vector<int> ProgramRun::progress() const {
    std::vector<int> values;
    for (const nlohmann::json& line : linesOf("progress")) {
        values.push_back(line["percent"].get<int>());
    }
    return values;
}

std::string ProgramRun::log() const {
    return readWholeFile(file("logs/kvormicrophone.log"));
}

bool ProgramRun::hasLogFile(const std::string& name) const {
    return std::ifstream(file("logs/" + name)).good();
}

}  // namespace kvo::test
