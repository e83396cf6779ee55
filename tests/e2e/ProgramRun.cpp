#include "ProgramRun.hpp"
#include "support/ShellQuote.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace kvo::test {
namespace {

// What a validator said about a file; "" when it accepted it.
std::string validationProblems(const std::string& validator, const TempDirectory& base) {
    const std::string output = base.file("validation.txt");
    const int status = std::system((validator + " > " + shellQuoted(output) + " 2>&1").c_str());
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? "" : readFile(output);
}

ProgramRun collect(const std::string& command, const TempDirectory& base) {
    ProgramRun run;
    run.baseDirectory = base.path();
    const int status = std::system(command.c_str());
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.output = readFile(base.file("stdout.txt"));
    std::istringstream out(run.output);
    for (std::string line; std::getline(out, line);) {
        if (!line.empty() && line[0] == '{' && nlohmann::json::accept(line)) {
            run.lines.push_back(nlohmann::json::parse(line));
        }
    }
    run.errors = readFile(base.file("stderr.txt"));
    const std::string report = readFile(base.file("report.json"));
    if (!report.empty()) {
        run.report = nlohmann::json::parse(report);
        // Every report the program writes holds to the schema it publishes.
        EXPECT_EQ(validationProblems(
                      "python3 " + shellQuoted(KVO_SOURCE_DIR "/tests/validate_json.py") + " " +
                          shellQuoted(KVO_SOURCE_DIR "/docs/schemas/report.schema.json") + " " +
                          shellQuoted(base.file("report.json")),
                      base),
                  "");
    }
    run.junit = readFile(base.file("junit.xml"));
    if (!run.junit.empty()) {
        EXPECT_EQ(validationProblems("xmllint --noout --schema " +
                                         shellQuoted(KVO_SOURCE_DIR "/tests/junit.xsd") + " " +
                                         shellQuoted(base.file("junit.xml")),
                                     base),
                  "");
    }
    return run;
}

}  // namespace

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

ProgramRun runProgram(const std::vector<std::string>& arguments, const TempDirectory& base,
                      const std::string& shellPrefix) {
    std::string command = shellPrefix + " timeout -s KILL 60 " + shellQuoted(KVO_PROGRAM);
    for (const std::string& argument : arguments) {
        command += " " + shellQuoted(argument);
    }
    command += " > " + shellQuoted(base.file("stdout.txt")) + " 2> " +
               shellQuoted(base.file("stderr.txt"));
    return collect(command, base);
}

namespace {

std::string scenarioFile(const std::string& scenario) {
    return scenario.empty() ? "" : std::string(KVO_SCENARIOS) + "/" + scenario + ".json";
}

std::string machineRunCommand(const std::vector<std::string>& arguments, const std::string& machine,
                              const TempDirectory& base) {
    std::string command = shellQuoted(KVO_PROGRAM) + " run";
    for (const std::string& argument : arguments) {
        command += " " + shellQuoted(argument);
    }
    // Detail logging: several checks read lines that are logged at priority 1.
    command += " --audio sim --log-level 1 --base-dir " + shellQuoted(base.path());
    if (!machine.empty()) {
        command += " --machine " + shellQuoted(machine);
    }
    return command;
}

ProgramRun runOnMachineFile(const std::vector<std::string>& arguments, const std::string& machine,
                            const TempDirectory& base) {
    std::string command = machineRunCommand(arguments, machine, base) + " --json";
    command += " --report " + shellQuoted(base.file("report.json"));
    command += " --junit " + shellQuoted(base.file("junit.xml"));
    command += " > " + shellQuoted(base.file("stdout.txt")) + " 2> " +
               shellQuoted(base.file("stderr.txt"));
    return collect(command, base);
}

}  // namespace

ProgramRun runOnSimulatedPc(const std::vector<std::string>& arguments, const std::string& scenario,
                            const TempDirectory& base) {
    return runOnMachineFile(arguments, scenarioFile(scenario), base);
}

std::string textOfRunOnSimulatedPc(const std::vector<std::string>& arguments,
                                   const std::string& scenario, const TempDirectory& base) {
    const std::string command = machineRunCommand(arguments, scenarioFile(scenario), base) + " > " +
                                shellQuoted(base.file("stdout.txt")) + " 2>&1";
    if (std::system(command.c_str()) == -1) {
        return "";
    }
    return readFile(base.file("stdout.txt"));
}

nlohmann::json scenarioMachine(const std::string& scenario) {
    return nlohmann::json::parse(readFile(std::string(KVO_SCENARIOS) + "/" + scenario + ".json"));
}

ProgramRun runOnMachine(const std::vector<std::string>& arguments, const nlohmann::json& machine,
                        const TempDirectory& base) {
    const std::string path = base.file("machine.json");
    std::ofstream(path) << machine.dump(2);
    return runOnMachineFile(arguments, path, base);
}

nlohmann::json& endpointOf(nlohmann::json& machine, const std::string& id) {
    for (nlohmann::json& endpoint : machine["endpoints"]) {
        if (endpoint["id"] == id) {
            return endpoint;
        }
    }
    throw std::invalid_argument("no endpoint " + id);
}

std::vector<std::string> ProgramRun::raised() const {
    std::vector<std::string> found;
    for (const nlohmann::json& line : lines) {
        if (line["type"] == "event") {
            found.push_back(line["severity"].get<std::string>() + " " +
                            line["key"].get<std::string>());
        }
    }
    return found;
}

std::vector<nlohmann::json> ProgramRun::events(const std::string& key) const {
    std::vector<nlohmann::json> found;
    for (const nlohmann::json& line : lines) {
        if (line["type"] == "event" && line["key"] == key) {
            found.push_back(line);
        }
    }
    return found;
}

std::vector<nlohmann::json> ProgramRun::measurements() const {
    std::vector<nlohmann::json> found;
    for (const nlohmann::json& line : lines) {
        if (line["type"] == "measurement") {
            found.push_back(line);
        }
    }
    return found;
}

std::vector<int> ProgramRun::progress() const {
    std::vector<int> values;
    for (const nlohmann::json& line : lines) {
        if (line["type"] == "progress") {
            values.push_back(line["percent"].get<int>());
        }
    }
    return values;
}

std::string ProgramRun::log() const {
    return readFile(baseDirectory + "/logs/kvormicrophone.log");
}

bool ProgramRun::hasLogFile(const std::string& name) const {
    return std::ifstream(baseDirectory + "/logs/" + name).good();
}

}  // namespace kvo::test
