#include "ResultReason.hpp"

#include <fmt/format.h>

namespace vesk5::host {

namespace {
// The framework logs the events it raises, and a backend prints the failures
// it logs itself (a lost audio server): both reach the terminal already.
bool shownAlready(std::string_view logger) {
    return logger == "vesk5" || logger.starts_with("audio.");
}
// A reason is the last line or two a test logged, not the whole log.
constexpr std::size_t kReasonLines = 2;
}  // namespace

void ResultReasonSink::write(const kvo::LogRecord& record) {
    if (record.priority < kvo::kLogError || shownAlready(record.logger)) {
        return;
    }
    std::lock_guard lock(mutex_);
    if (!lines_.empty() && lines_.back() == record.text) {
        return;
    }
    lines_.emplace_back(record.text);
    if (lines_.size() > kReasonLines) {
        lines_.pop_front();
    }
}

std::string ResultReasonSink::take() {
    std::lock_guard lock(mutex_);
    std::string reason;
    for (const std::string& line : lines_) {
        reason += (reason.empty() ? "" : " ") + line;
    }
    lines_.clear();
    return reason;
}

std::string parameterProblems(const Test& test) {
    std::string problems;
    for (const Parameter* parameter : test.parameters()) {
        if (parameter->problem().empty()) {
            continue;
        }
        problems += fmt::format("{}--param {}: {}", problems.empty() ? "" : "; ", parameter->name(),
                                parameter->problem());
        if (!parameter->example().empty()) {
            problems +=
                fmt::format(" (e.g. --param {}={})", parameter->name(), parameter->example());
        }
    }
    return problems;
}

std::string resultReason(TestResult result, const std::string& moduleReason, bool explainedByEvent,
                         const std::string& logFile) {
    if (result == TestResult::PASS() || result == TestResult::USERABORTED()) {
        return {};
    }
    // A failure's event names what was not heard; the module's lines would only repeat it.
    if (explainedByEvent && result == TestResult::FAIL()) {
        return {};
    }
    if (!moduleReason.empty()) {
        return moduleReason;
    }
    return explainedByEvent ? std::string() : "the test gave no reason; see its log " + logFile;
}

}  // namespace vesk5::host
