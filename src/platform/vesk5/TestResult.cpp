#include "TestResult.hpp"

#include <array>

namespace vesk5 {
namespace {
constexpr std::array<std::string_view, 10> kNames{
    "PASS",      "FAIL",        "NODEVICE",         "NOTSUPPORTED",  "CANNOTRUN",
    "BADPARAMS", "USERABORTED", "EXITEDABNORMALLY", "INTERNALERROR", "TESTNOTSTARTED"};
}

std::string_view TestResult::name() const {
    return value_ >= 0 && value_ < static_cast<int>(kNames.size())
               ? kNames[static_cast<std::size_t>(value_)]
               : "UNKNOWN";
}

std::optional<TestResult> TestResult::fromValue(int value) {
    if (value < 0 || value >= static_cast<int>(kNames.size())) {
        return std::nullopt;
    }
    return TestResult(value);
}

}  // namespace vesk5
