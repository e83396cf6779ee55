#pragma once

#include <array>

#include "AmplitudeTestEvaluator.hpp"
#include "MicrophoneBoostControl.hpp"
#include "platform/kvo/String.hpp"
#include "platform/vesk5/Measurement.hpp"

namespace kvormicrophone {

// The figures of one microphone's amplitude check: the standard deviations of
// its four recordings (muted silent, muted loud, unmuted silent, unmuted loud)
// as measured and as dBFS, the capture volume range and the thresholds the
// checks used, and the boost applied before recording.
vesk5::Measurement amplitudeMeasurement(const kvo::String& microphone,
                                        const std::array<double, 4>& amplitudes, float rangeDb,
                                        const AmplitudeTestEvaluator::Checks& checks,
                                        const MicrophoneBoostControl& boost);

}  // namespace kvormicrophone
