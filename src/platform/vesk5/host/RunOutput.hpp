#pragma once

#include <mutex>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "platform/vesk5/Measurement.hpp"
#include "platform/vesk5/TestResult.hpp"
#include "platform/vesk5/Value.hpp"

namespace vesk5::host {

enum class Severity { Informative, Warning, Error };
std::string_view severityName(Severity severity);

// A measurement's parts as JSON objects: what was measured, and the numbers.
nlohmann::json subjectJson(const Measurement& measurement);
nlohmann::json figuresJson(const Measurement& measurement);

struct RaisedEvent {
    std::string key;
    Severity severity;
    std::string text;
    std::vector<std::pair<std::string, Value>> variables;
    std::string source;
    int line;
};

// What a run shows while it goes: events with their severity, progress and
// results, as text for people or as one JSON object per line for programs.
// Calls may come from any thread.
class RunOutput {
public:
    RunOutput(std::ostream& stream, bool json, bool progressBar);

    void note(const std::string& text);
    void testStarted(const std::string& test, const std::string& device);
    void event(const std::string& test, const RaisedEvent& event);
    // A remark of the running test that is not an event.
    void testNote(const std::string& test, const std::string& text);
    // One line per check: what, the figures, the verdict and why.
    void measurement(const std::string& test, const Measurement& measurement);
    void progress(const std::string& test, int percent);
    // `reason`: why a result is not PASS, "" when the events above said it.
    void testResult(const std::string& test, TestResult result, bool simulated,
                    const std::string& reason);
    void runResult(TestResult result);
    // The last line of a run: where its log and its recordings are.
    void whereFiles(const std::string& logFile, const std::string& recordingsDirectory);

private:
    void endProgressLine();
    void checkWritten();
    // Checks, when a call ends, that what it wrote reached the stream.
    struct WrittenCheck {
        RunOutput& output;
        ~WrittenCheck() { output.checkWritten(); }
    };

    std::mutex mutex_;
    std::ostream& stream_;
    bool json_;
    bool progressBar_;
    bool progressLineOpen_ = false;
    bool lost_ = false;
};

}  // namespace vesk5::host
