#include "RunReport.hpp"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "JsonText.hpp"
#include "platform/kvo/Exception.hpp"
#include "platform/kvo/SafeFile.hpp"

namespace vesk5::host {
namespace {

// UTC with milliseconds: several tests of a simulated run end within one second.
std::string isoTime(std::chrono::system_clock::time_point time) {
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count() %
        1000;
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z",
                       std::chrono::time_point_cast<std::chrono::seconds>(time), milliseconds);
}

std::string fileName(const std::string& path) {
    const std::size_t slash = path.find_last_of("/\\");
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// A saved file with the checks whose figures name it.
nlohmann::json fileJson(const std::string& path, const std::vector<Measurement>& measurements) {
    nlohmann::json checks = nlohmann::json::array();
    for (const Measurement& measurement : measurements) {
        for (const auto& [name, value] : measurement.subject) {
            if (name == "file" && value == fileName(path)) {
                checks.push_back(measurement.check);
            }
        }
    }
    return {{"path", path}, {"checks", checks}};
}

}  // namespace

RunReport::RunReport(std::string version, std::string audio, bool simulated)
    : version_(std::move(version)),
      audio_(std::move(audio)),
      simulated_(simulated),
      started_(std::chrono::system_clock::now()) {}

RunReport::TestRecord& RunReport::beginTest(const std::string& name, const std::string& device) {
    tests_.push_back({name,
                      device,
                      TestResult::TESTNOTSTARTED(),
                      {},
                      {},
                      {},
                      {},
                      {},
                      std::chrono::system_clock::now(),
                      {}});
    current_ = &tests_.back();
    return *current_;
}

void RunReport::endTest(TestResult result, std::vector<std::string> files) {
    if (current_ != nullptr) {
        current_->result = result;
        current_->files = std::move(files);
        current_->ended = std::chrono::system_clock::now();
        current_ = nullptr;
    }
}

void RunReport::finish(TestResult result) {
    result_ = result;
    ended_ = std::chrono::system_clock::now();
}

std::string RunReport::toJson() const {
    nlohmann::json tests = nlohmann::json::array();
    for (const TestRecord& test : tests_) {
        nlohmann::json events = nlohmann::json::array();
        for (const RaisedEvent& event : test.events) {
            nlohmann::json variables = nlohmann::json::object();
            for (const auto& [name, value] : event.variables) {
                variables[name] = value.toString();
            }
            events.push_back({{"key", event.key},
                              {"severity", severityName(event.severity)},
                              {"text", event.text},
                              {"variables", variables},
                              {"source", event.source},
                              {"line", event.line}});
        }
        nlohmann::json checks = nlohmann::json::array();
        for (const Measurement& measurement : test.measurements) {
            checks.push_back({{"check", measurement.check},
                              {"kind", measurement.kind},
                              {"passed", measurement.passed},
                              {"summary", measurement.summary},
                              {"diagnosis", measurement.diagnosis},
                              {"subject", subjectJson(measurement)},
                              {"measurement", figuresJson(measurement)}});
        }
        nlohmann::json files = nlohmann::json::array();
        for (const std::string& path : test.files) {
            files.push_back(fileJson(path, test.measurements));
        }
        const int reached = test.progress.empty() ? 0 : test.progress.back();
        tests.push_back({{"name", test.name},
                         {"device", test.device},
                         {"result", test.result.name()},
                         {"resultCode", test.result.value()},
                         {"events", events},
                         {"checks", checks},
                         {"notes", test.notes},
                         {"progress", test.progress},
                         {"progressReached", reached},
                         {"files", files},
                         {"started", isoTime(test.started)},
                         {"ended", isoTime(test.ended)}});
    }
    nlohmann::json parameters = nlohmann::json::array();
    for (const Context::ParameterValue& parameter : context_.parameters) {
        parameters.push_back({{"test", parameter.test},
                              {"name", parameter.name},
                              {"value", parameter.value},
                              {"set", parameter.set}});
    }
    nlohmann::json report{
        {"schemaVersion", kSchemaVersion},
        {"module", "kvormicrophone"},
        {"version", version_},
        {"commandLine", context_.commandLine},
        {"parameters", parameters},
        {"settings",
         {{"file", context_.settingsFile.empty() ? nlohmann::json(nullptr)
                                                 : nlohmann::json(context_.settingsFile)},
          {"overrides", context_.settingOverrides}}},
        {"host", {{"name", context_.hostName}, {"os", context_.operatingSystem}}},
        {"audio", audio_},
        {"audioDescription", context_.audioDescription},
        {"simulated", simulated_},
        {"baseDirectory", context_.baseDirectory},
        {"logFile", context_.logFile},
        {"started", isoTime(started_)},
        {"ended", isoTime(ended_)},
        {"result", result_.name()},
        {"resultCode", result_.value()},
        {"tests", tests}};
    if (!error_.empty()) {
        report["error"] = error_;
    }
    return jsonText(report, 2) + "\n";
}

void RunReport::write(const std::string& path) const {
    writeReportFile(path, toJson());
}

void writeReportFile(const std::string& path, const std::string& text) {
    kvo::FileWriter file(path);
    if (!file.write(text) || !file.commit()) {
        throw kvo::Exception("cannot write the report file " + path + ": " + file.error());
    }
}

}  // namespace vesk5::host
