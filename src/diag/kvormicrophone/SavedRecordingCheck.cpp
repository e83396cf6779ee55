#include "SavedRecordingCheck.hpp"

#include <fmt/format.h>

#include "Test/RecordingAnalysis.hpp"
#include "platform/kvo/System.hpp"

namespace kvormicrophone {

using vesk5::TestResult;

vesk5::DiagModule::RecordingVerdict checkSavedRecording(const std::string& path,
                                                        unsigned frequency) {
    const kvo::String name = kvo::fromPath(kvo::toPath(path).filename());
    std::uint32_t expected = frequency;
    if (expected == 0 && !frequencyFromFileName(name, expected)) {
        return {TestResult::BADPARAMS(),
                fmt::format("the name '{}' does not say which tone to look for (as 1000.wav "
                            "does): give it with --frequency HZ",
                            name)};
    }
    RecordingAnalysis analysis;
    kvo::String problem;
    if (!analysis.load(path, problem)) {
        return {TestResult::CANNOTRUN(), problem};
    }
    if (analysis.heard(expected, name)) {
        return {TestResult::PASS(), {}};
    }
    return {TestResult::FAIL(),
            fmt::format("the {} Hz tone was not found in every channel of '{}'", expected, name)};
}

}  // namespace kvormicrophone
