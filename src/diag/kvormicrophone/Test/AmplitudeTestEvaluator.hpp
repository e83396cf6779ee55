#pragma once

#include <array>
#include <memory>

#include "MicRecordingMethod.hpp"
#include "MicTestEvaluator.hpp"
#include "common/libAudio-common/StaticPCMBuffer.hpp"

namespace kvormicrophone {

class MicManagerWin7;

// Records each microphone four times (muted and unmuted, at 0% and 100%,
// silent and with the loud stimulus) and passes it when the loud recordings
// stand out from the silent ones by thresholds from the endpoint's dB range.
class AmplitudeTestEvaluator : public MicTestEvaluator {
public:
    AmplitudeTestEvaluator();

    void setMicManager(MicManagerWin7* manager) { m_micManager = manager; }
    vesk5::TestResult run(const DeviceList& testMic) override;

    // The standard deviation of a recording's samples after its first 2.5 s.
    static double amplitude(const libAudio::StaticPCMBuffer& recording);
    // The three checks on the four measured amplitudes of one microphone.
    vesk5::TestResult evaluateSignal(const Device& device);

    struct Checks {
        bool muted = false;
        bool loudest = false;
        bool unmuted = false;
        // The figures the checks compared, for the report beside the verdict.
        double loudIncrease = 0.0;      // a3 - a1
        double silenceThreshold = 0.0;  // what a3 - a1 must exceed
        double gainDb = 0.0;            // a3 against a2; 0 when a2 is silence
        double passingGainDb = 0.0;     // what the gain must exceed
        bool passed() const { return muted && loudest && unmuted; }
    };
    // The checks on the amplitudes of recordings 1 (loud, muted), 2 (silent,
    // unmuted) and 3 (loud, unmuted) for a capture volume range of `rangeDb`.
    static Checks checkAmplitudes(float rangeDb, double a1, double a2, double a3);

private:
    struct Recording {
        double amplitude = 0.0;
        std::unique_ptr<MicRecordingMethod> method;
    };

    bool testMicrophone(const Device& device);
    void progressStep();

    MicManagerWin7* m_micManager = nullptr;
    std::array<Recording, 4> m_recordings;
    DeviceList m_testMic;
    kvo::Array<vesk5::TestResult> m_results;
    // The capture volume control's assumed range when the endpoint reports no dB information.
    float defaultAmplification = 96.0F;
    // In double: in float six thirds of 100 add up to 199.99998, and the
    // framework must see a whole microphone as exactly 100 more.
    double progressStepSize = 0.0;
    double progress = 0.0;
};

}  // namespace kvormicrophone
