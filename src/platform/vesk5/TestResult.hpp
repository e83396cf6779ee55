#pragma once

#include <optional>
#include <string_view>

namespace vesk5 {

// The outcome of a test run. The value is also the process exit status.
class TestResult {
public:
    static constexpr TestResult PASS() { return TestResult(0); }
    static constexpr TestResult FAIL() { return TestResult(1); }
    static constexpr TestResult NODEVICE() { return TestResult(2); }
    static constexpr TestResult NOTSUPPORTED() { return TestResult(3); }
    static constexpr TestResult CANNOTRUN() { return TestResult(4); }
    static constexpr TestResult BADPARAMS() { return TestResult(5); }
    static constexpr TestResult USERABORTED() { return TestResult(6); }
    // Also the exit status of a failed internal assertion.
    static constexpr TestResult EXITEDABNORMALLY() { return TestResult(7); }
    static constexpr TestResult INTERNALERROR() { return TestResult(8); }
    static constexpr TestResult TESTNOTSTARTED() { return TestResult(9); }

    constexpr TestResult() = default;
    constexpr int value() const { return value_; }
    std::string_view name() const;
    static std::optional<TestResult> fromValue(int value);

    constexpr bool operator==(const TestResult&) const = default;

private:
    constexpr explicit TestResult(int value) : value_(value) {}
    int value_ = 9;
};

}  // namespace vesk5
