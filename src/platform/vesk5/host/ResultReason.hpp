#pragma once

#include <deque>
#include <mutex>
#include <string>

#include "platform/kvo/Logger.hpp"
#include "platform/vesk5/Test.hpp"
#include "platform/vesk5/TestResult.hpp"

namespace vesk5::host {

// Keeps the last error lines a test's module logs, so that a result other than
// PASS can be shown with the module's own reason for it.
class ResultReasonSink : public kvo::LogSink {
public:
    void write(const kvo::LogRecord& record) override;
    // The reason gathered since the last call, and a fresh start.
    std::string take();

private:
    std::mutex mutex_;
    std::deque<std::string> lines_;
};

// What the test found wrong with its parameters, each with an example that
// works; "" when nothing.
std::string parameterProblems(const Test& test);

// The line shown beside `result`: the module's reason, or, when it gave none
// and no warning or error event said why either, where to look.
std::string resultReason(TestResult result, const std::string& moduleReason, bool explainedByEvent,
                         const std::string& logFile);

}  // namespace vesk5::host
