#include "RunReport.hpp"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "JsonText.hpp"
#include "platform/kvo/Exception.hpp"
#include "platform/kvo/SafeFile.hpp"

namespace vesk5::host {
namespace {

std::string isoTime(std::chrono::system_clock::time_point time) {
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}Z",
                       std::chrono::time_point_cast<std::chrono::milliseconds>(time));
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
                              {"variables", variables}});
        }
        nlohmann::json checks = nlohmann::json::array();
        for (const Measurement& measurement : test.measurements) {
            checks.push_back({{"check", measurement.check},
                              {"kind", measurement.kind},
                              {"passed", measurement.passed},
                              {"diagnosis", measurement.diagnosis},
                              {"subject", subjectJson(measurement)},
                              {"measurement", figuresJson(measurement)}});
        }
        const int reached = test.progress.empty() ? 0 : test.progress.back();
        tests.push_back({{"name", test.name},
                         {"device", test.device},
                         {"result", test.result.name()},
                         {"resultCode", test.result.value()},
                         {"events", events},
                         {"checks", checks},
                         {"progress", test.progress},
                         {"progressReached", reached},
                         {"files", test.files},
                         {"started", isoTime(test.started)},
                         {"ended", isoTime(test.ended)}});
    }
    const nlohmann::json report{
        {"module", "kvormicrophone"}, {"version", version_},           {"audio", audio_},
        {"simulated", simulated_},    {"started", isoTime(started_)},  {"ended", isoTime(ended_)},
        {"result", result_.name()},   {"resultCode", result_.value()}, {"tests", tests}};
    return jsonText(report, 2) + "\n";
}

void RunReport::write(const std::string& path) const {
    kvo::FileWriter file(path);
    if (!file.write(toJson()) || !file.commit()) {
        throw kvo::Exception("cannot write the report file " + path + ": " + file.error());
    }
}

}  // namespace vesk5::host
