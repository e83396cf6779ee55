#pragma once

#include "Device.hpp"
#include "platform/vesk5/TestResult.hpp"

namespace kvormicrophone {

// Decides whether the microphones of a list work.
class MicTestEvaluator {
public:
    virtual ~MicTestEvaluator() = default;
    virtual vesk5::TestResult run(const DeviceList& testMic) = 0;
};

}  // namespace kvormicrophone
