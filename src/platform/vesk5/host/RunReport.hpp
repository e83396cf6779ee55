#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "RunOutput.hpp"

namespace vesk5::host {

// Everything a run did, written as one JSON document by --report.
class RunReport {
public:
    struct TestRecord {
        std::string name;
        std::string device;
        TestResult result;
        std::vector<RaisedEvent> events;
        std::vector<int> progress;
        std::vector<Measurement> measurements;
        std::vector<std::string> files;
        std::chrono::system_clock::time_point started;
        std::chrono::system_clock::time_point ended;
    };

    RunReport(std::string version, std::string audio, bool simulated);

    TestRecord& beginTest(const std::string& name, const std::string& device);
    // The test running now, or null between tests.
    TestRecord* current() { return current_; }
    void endTest(TestResult result, std::vector<std::string> files);
    void finish(TestResult result);

    // Throws kvo::Exception when the file cannot be written.
    void write(const std::string& path) const;
    std::string toJson() const;

private:
    std::string version_;
    std::string audio_;
    bool simulated_;
    std::chrono::system_clock::time_point started_;
    std::chrono::system_clock::time_point ended_;
    TestResult result_ = TestResult::TESTNOTSTARTED();
    std::vector<TestRecord> tests_;
    TestRecord* current_ = nullptr;
};

}  // namespace vesk5::host
