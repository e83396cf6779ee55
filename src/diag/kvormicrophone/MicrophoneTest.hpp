#pragma once

#include "platform/vesk5/DiagModule.hpp"

namespace kvormicrophone {

// The test functions the framework calls, one per registered test.
vesk5::TestResult integratedMicrophoneTest(const vesk5::DiagDevice& device);
vesk5::TestResult MicrophoneTest(const vesk5::DiagDevice& device);
vesk5::TestResult frequencyToneTest(const vesk5::DiagDevice& device);

// The frequency tone test once the Windows version is known to suffice.
vesk5::TestResult frequencyToneTestWindows7OrLater(const vesk5::DiagDevice& device);
// Whether a sound card among the optional devices runs a driver that needs the legacy wave
// interface.
bool useLegacyAudioAPI(const vesk5::DiagDevice& device);

}  // namespace kvormicrophone
