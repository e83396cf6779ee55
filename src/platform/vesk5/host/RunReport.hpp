#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "RunOutput.hpp"

namespace vesk5::host {

// Everything a run did, written as one JSON document by --report.
class RunReport {
public:
    // Raised when a field changes meaning or goes; new fields keep it.
    static constexpr int kSchemaVersion = 1;

    struct TestRecord {
        std::string name;
        std::string device;
        TestResult result;
        std::vector<RaisedEvent> events;
        std::vector<int> progress;
        std::vector<Measurement> measurements;
        std::vector<std::string> notes;
        std::vector<std::string> files;
        std::chrono::system_clock::time_point started;
        std::chrono::system_clock::time_point ended;
    };

    // What the run was asked to do and where: shown at the top of the report.
    struct Context {
        std::vector<std::string> commandLine;
        // Every parameter of the tests asked for: test, name, value, whether it was set.
        struct ParameterValue {
            std::string test;
            std::string name;
            std::string value;
            bool set;
        };
        std::vector<ParameterValue> parameters;
        std::string settingsFile;  // "" when there is none
        std::vector<std::string> settingOverrides;
        std::string hostName;
        std::string operatingSystem;
        std::string audioDescription;
        std::string baseDirectory;
        std::string logFile;
        // The devices found when the run began, as `devices` lists them; "" when not asked for.
        std::string devices;
    };

    RunReport(std::string version, std::string audio, bool simulated);

    void setContext(Context context) { context_ = std::move(context); }
    // Why the run ended before any test started.
    void setError(std::string error) { error_ = std::move(error); }
    const std::vector<TestRecord>& tests() const { return tests_; }
    const Context& context() const { return context_; }
    const std::string& error() const { return error_; }
    const std::string& version() const { return version_; }
    const std::string& audio() const { return audio_; }
    bool simulated() const { return simulated_; }
    std::chrono::system_clock::time_point started() const { return started_; }
    TestResult result() const { return result_; }

    TestRecord& beginTest(const std::string& name, const std::string& device);
    // The test running now, or null between tests.
    TestRecord* current() { return current_; }
    void endTest(TestResult result, std::vector<std::string> files);
    void finish(TestResult result);

    // Throws kvo::Exception when the file cannot be written.
    void write(const std::string& path) const;
    std::string toJson() const;

private:
    Context context_;
    std::string error_;
    std::string version_;
    std::string audio_;
    bool simulated_;
    std::chrono::system_clock::time_point started_;
    std::chrono::system_clock::time_point ended_;
    TestResult result_ = TestResult::TESTNOTSTARTED();
    std::vector<TestRecord> tests_;
    TestRecord* current_ = nullptr;
};

// Writes a report's text to `path`; throws kvo::Exception when it cannot.
void writeReportFile(const std::string& path, const std::string& text);

}  // namespace vesk5::host
