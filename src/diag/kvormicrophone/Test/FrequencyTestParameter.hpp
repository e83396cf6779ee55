#pragma once

#include "platform/kvo/String.hpp"
#include "platform/vesk5/DiagModule.hpp"

namespace kvormicrophone {

// The "FrequencyList" parameter of the frequency tone test: tone frequencies in Hz,
// comma-separated.
class FrequencyTestParameter {
public:
    // Creates the parameter and adds it to `test`; true when it exists afterwards.
    // Calling it twice is an assertion failure.
    static bool initialize(vesk5::Test* test);
    static bool isInitialized();
    // Forgets the parameter (it stays with the framework).
    static void shutdown();
    static kvo::String frequencyList();
    // Tells the user what is wrong with the list, beside the test's result.
    static void reportProblem(const kvo::String& problem);
};

}  // namespace kvormicrophone
