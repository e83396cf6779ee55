#include "RunOutput.hpp"

#include "JsonText.hpp"
#include "StopSignal.hpp"
#include "Terminal.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

namespace vesk5::host {

std::string_view severityName(Severity severity) {
    switch (severity) {
        case Severity::Informative:
            return "info";
        case Severity::Warning:
            return "warning";
        default:
            return "error";
    }
}

nlohmann::json subjectJson(const Measurement& measurement) {
    nlohmann::json object = nlohmann::json::object();
    for (const auto& [name, value] : measurement.subject) {
        object[name] = value;
    }
    return object;
}

nlohmann::json figuresJson(const Measurement& measurement) {
    nlohmann::json object = nlohmann::json::object();
    for (const auto& [name, value] : measurement.figures) {
        object[name] = value;
    }
    return object;
}

namespace {

nlohmann::json variablesJson(const std::vector<std::pair<std::string, Value>>& variables) {
    nlohmann::json object = nlohmann::json::object();
    for (const auto& [name, value] : variables) {
        object[name] = value.toString();
    }
    return object;
}

std::string progressBar(int percent) {
    constexpr int kWidth = 30;
    const int filled = std::clamp(percent, 0, 100) * kWidth / 100;
    return std::string(static_cast<std::size_t>(filled), '#') +
           std::string(static_cast<std::size_t>(kWidth - filled), '.');
}

// The base folder may be given with either separator; a Windows user is shown
// the one of his system.
std::string withNativeSeparators(std::string path) {
    std::replace(path.begin(), path.end(), '/',
                 static_cast<char>(std::filesystem::path::preferred_separator));
    return path;
}

}  // namespace

RunOutput::RunOutput(std::ostream& stream, bool json, bool progressBar)
    : stream_(stream), json_(json), progressBar_(progressBar && !json) {}

void RunOutput::checkWritten() {
    // Nobody reads the output any more (a closed pipe, a closed terminal): stop as on Ctrl-C.
    if (!stream_ && !lost_) {
        lost_ = true;
        requestStop();
    }
}

void RunOutput::endProgressLine() {
    if (progressLineOpen_) {
        stream_ << '\n';
        progressLineOpen_ = false;
    }
}

void RunOutput::note(const std::string& text) {
    std::lock_guard lock(mutex_);
    const WrittenCheck check{*this};
    if (json_) {
        stream_ << jsonText(nlohmann::json{{"type", "note"}, {"text", text}}) << std::endl;
        return;
    }
    endProgressLine();
    stream_ << printable(text, true) << std::endl;
}

void RunOutput::testStarted(const std::string& test, const std::string& device) {
    std::lock_guard lock(mutex_);
    const WrittenCheck check{*this};
    if (json_) {
        stream_ << jsonText(nlohmann::json{{"type", "start"}, {"test", test}, {"device", device}})
                << std::endl;
        return;
    }
    endProgressLine();
    stream_ << fmt::format("{} on \"{}\"", test, printable(device)) << std::endl;
}

void RunOutput::event(const std::string& test, const RaisedEvent& event) {
    std::lock_guard lock(mutex_);
    const WrittenCheck check{*this};
    if (json_) {
        stream_ << jsonText(nlohmann::json{{"type", "event"},
                                           {"test", test},
                                           {"key", event.key},
                                           {"severity", severityName(event.severity)},
                                           {"text", event.text},
                                           {"variables", variablesJson(event.variables)},
                                           {"source", event.source},
                                           {"line", event.line}})
                << std::endl;
        return;
    }
    endProgressLine();
    stream_ << fmt::format("  {:<7} {}: {}", severityName(event.severity), event.key,
                           printable(event.text))
            << std::endl;
}

void RunOutput::testNote(const std::string& test, const std::string& text) {
    std::lock_guard lock(mutex_);
    const WrittenCheck check{*this};
    if (json_) {
        stream_ << jsonText(nlohmann::json{{"type", "note"}, {"test", test}, {"text", text}})
                << std::endl;
        return;
    }
    endProgressLine();
    stream_ << "  note: " << printable(text) << std::endl;
}

void RunOutput::measurement(const std::string& test, const Measurement& measurement) {
    std::lock_guard lock(mutex_);
    const WrittenCheck check{*this};
    if (json_) {
        stream_ << jsonText(nlohmann::json{{"type", "measurement"},
                                           {"test", test},
                                           {"check", measurement.check},
                                           {"kind", measurement.kind},
                                           {"passed", measurement.passed},
                                           {"diagnosis", measurement.diagnosis},
                                           {"subject", subjectJson(measurement)},
                                           {"measurement", figuresJson(measurement)}})
                << std::endl;
        return;
    }
    endProgressLine();
    // The check names the device, whose name comes from outside.
    stream_ << fmt::format("  {}: {}  {}", printable(measurement.check), measurement.summary,
                           measurement.passed ? "PASS" : "FAIL");
    if (!measurement.diagnosis.empty()) {
        stream_ << " (" << measurement.diagnosis << ")";
    }
    stream_ << std::endl;
}

void RunOutput::progress(const std::string& test, int percent) {
    std::lock_guard lock(mutex_);
    const WrittenCheck check{*this};
    if (json_) {
        stream_ << jsonText(
                       nlohmann::json{{"type", "progress"}, {"test", test}, {"percent", percent}})
                << std::endl;
    } else if (progressBar_) {
        stream_ << fmt::format("\r  [{}] {:3}%", progressBar(percent), percent) << std::flush;
        progressLineOpen_ = true;
    } else {
        stream_ << fmt::format("  progress {}%", percent) << std::endl;
    }
}

void RunOutput::testResult(const std::string& test, TestResult result, bool simulated,
                           const std::string& reason) {
    std::lock_guard lock(mutex_);
    const WrittenCheck check{*this};
    if (json_) {
        nlohmann::json line{{"type", "result"},
                            {"test", test},
                            {"result", result.name()},
                            {"code", result.value()},
                            {"simulated", simulated}};
        if (!reason.empty()) {
            line["reason"] = reason;
        }
        stream_ << jsonText(line) << std::endl;
        return;
    }
    endProgressLine();
    stream_ << fmt::format("{}: {}{}", test, result.name(), simulated ? " (simulated PC)" : "")
            << std::endl;
    if (!reason.empty()) {
        stream_ << "  reason: " << printable(reason, true) << std::endl;
    }
}

void RunOutput::runResult(TestResult result) {
    std::lock_guard lock(mutex_);
    const WrittenCheck check{*this};
    if (json_) {
        stream_ << jsonText(nlohmann::json{
                       {"type", "run"}, {"result", result.name()}, {"code", result.value()}})
                << std::endl;
    }
}

void RunOutput::whereFiles(const std::string& logFile, const std::string& recordingsDirectory) {
    std::lock_guard lock(mutex_);
    const WrittenCheck check{*this};
    if (json_) {
        stream_ << jsonText(nlohmann::json{
                       {"type", "files"}, {"log", logFile}, {"recordings", recordingsDirectory}})
                << std::endl;
        return;
    }
    endProgressLine();
    stream_ << fmt::format("Log: {}   Recordings: {}", printable(withNativeSeparators(logFile)),
                           printable(withNativeSeparators(recordingsDirectory)))
            << std::endl;
}

}  // namespace vesk5::host
