#pragma once

#include <cstdint>

#include "platform/vesk5/DiagModule.hpp"

namespace kvormicrophone {

// The five parameters of the interactive test. Reading before initialize()
// or initialising twice is an assertion failure.
class MicrophoneTestParameter {
public:
    struct Parameters {
        ~Parameters();
        vesk5::Parameter* bitsPerSample = nullptr;
        vesk5::Parameter* samplesPerSec = nullptr;
        vesk5::Parameter* numberOfChannels = nullptr;
        vesk5::Parameter* bPromptEnable = nullptr;
        vesk5::Parameter* useTroubleshooterDialog = nullptr;
    };

    // Creates the parameters and, when `test` is given, adds them to it.
    static void initialize(vesk5::Test* test);
    static bool isInitialized();
    // Forgets the parameters (they stay with the framework), so that a new
    // framework session can initialise again.
    static void shutdown();

    static std::uint32_t bitsPerSample();
    static std::uint32_t samplesPerSec();
    static std::uint32_t numberOfChannels();
    static bool bPromptEnable();
    static bool useTroubleshooterDialog();
};

}  // namespace kvormicrophone
