#pragma once

#include <string_view>

namespace kvo {

// Logs "<file>(<line>): Assertion failed: <text>" on the assertion logger and
// the error stream, flushes the log and ends the process: a non-continuable
// structured exception with code 7 on Windows, exit status 7 elsewhere.
[[noreturn]] void assertionFailed(std::string_view file, int line, std::string_view text);

inline constexpr int kAssertionExitCode = 7;

}  // namespace kvo

#define KVO_ASSERT_TEXT(condition, text)                        \
    do {                                                        \
        if (!(condition)) {                                     \
            ::kvo::assertionFailed(__FILE__, __LINE__, (text)); \
        }                                                       \
    } while (false)

#define KVO_ASSERT(condition) KVO_ASSERT_TEXT(condition, #condition)
