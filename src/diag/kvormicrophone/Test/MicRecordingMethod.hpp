#pragma once

#include <cstdint>

#include "Device.hpp"
#include "platform/vesk5/TestResult.hpp"

namespace kvormicrophone {

class MicManagerWin7;

// One recording of one microphone under one condition: capture volume and mute.
// The recording is left in the manager's recording buffer.
class MicRecordingMethod {
public:
    MicRecordingMethod(std::uint32_t volume, bool mute) : volume(volume), mute(mute) {}
    virtual ~MicRecordingMethod() = default;
    // PASS when the recording ran to its end, CANNOTRUN or USERABORTED otherwise.
    virtual vesk5::TestResult record(vesk5::TestResult& result, Device& device,
                                     MicManagerWin7& manager) = 0;

    const std::uint32_t volume;
    const bool mute;

protected:
    // Starts the recording, with one retry after a long wait; false (and the
    // event) when both attempts were refused.
    static bool startWithRetry(Device& device, MicManagerWin7& manager);
    // Polls the recording to its end: PASS, or USERABORTED on a stop request.
    static vesk5::TestResult waitForRecording(MicManagerWin7& manager);
};

// Records with nothing played.
class SilentRecording : public MicRecordingMethod {
public:
    using MicRecordingMethod::MicRecordingMethod;
    vesk5::TestResult record(vesk5::TestResult& result, Device& device,
                             MicManagerWin7& manager) override;
};

// Records while the voice stimulus plays on the speakers.
class LoudRecording : public MicRecordingMethod {
public:
    using MicRecordingMethod::MicRecordingMethod;
    vesk5::TestResult record(vesk5::TestResult& result, Device& device,
                             MicManagerWin7& manager) override;
};

// Where the loud stimulus is found: under the base directory, else beside the program.
kvo::String stimulusPath();

}  // namespace kvormicrophone
