#pragma once

#include <cstdint>

#include "MicManagerWin7.hpp"
#include "platform/vesk5/TestResult.hpp"

namespace kvormicrophone::NonInteractiveMicTest {

struct Config {
    bool allowExternalMicTesting = false;  // test every microphone, not only integrated ones
    bool allowVista = true;                // Windows 6.0 suffices; otherwise 6.1 is needed
    std::uint32_t evaluationMethod = 0;    // 0: amplitude evaluation, the only one
};

// The integrated microphone test on `manager`: operating-system check,
// microphone list, external filter, evaluation.
vesk5::TestResult runTest(MicManagerWin7& manager, const Config& testConfig);

}  // namespace kvormicrophone::NonInteractiveMicTest
