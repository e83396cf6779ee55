#include "AmplitudeMeter.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "ToneFigures.hpp"

namespace kvormicrophone {
namespace {

constexpr const char* kRecordingNames[4] = {"mutedSilent", "mutedLoud", "unmutedSilent",
                                            "unmutedLoud"};

// A standard deviation of 16-bit samples as a level against full scale.
double levelDbfs(double standardDeviation) {
    if (!(standardDeviation > 0.0)) {
        return ToneFigures::kFloorDb;
    }
    return std::max(ToneFigures::kFloorDb, 20.0 * std::log10(standardDeviation / 32768.0));
}

kvo::String diagnosis(const std::array<double, 4>& amplitudes,
                      const AmplitudeTestEvaluator::Checks& checks) {
    if (levelDbfs(*std::max_element(amplitudes.begin(), amplitudes.end())) <
        ToneFigures::kNoSignalDbfs) {
        return "no signal";
    }
    kvo::String reasons;
    if (!checks.loudest) {
        reasons = "the loud recording does not stand out from the muted one";
    }
    // With an unmuted silence of exactly zero there is no gain to tell.
    if (!checks.unmuted && amplitudes[2] > 0.0) {
        reasons += fmt::format("{}volume raises the level by {:.1f} dB, {:.1f} dB needed",
                               reasons.empty() ? "" : ", ", checks.gainDb, checks.passingGainDb);
    }
    return reasons;
}

}  // namespace

vesk5::Measurement amplitudeMeasurement(const kvo::String& microphone,
                                        const std::array<double, 4>& amplitudes, float rangeDb,
                                        const AmplitudeTestEvaluator::Checks& checks,
                                        const MicrophoneBoostControl& boost) {
    vesk5::Measurement measurement;
    measurement.kind = "amplitude";
    measurement.check = fmt::format("mic \"{}\"", microphone);
    measurement.passed = checks.passed();
    measurement.summary = fmt::format(
        "loud {:.1f} dBFS  silent {:.1f} dBFS  gain {:.1f} dB (needs > {:.1f})  range {:.1f} dB  "
        "boost +{:.1f} dB in {} stage(s)",
        levelDbfs(amplitudes[3]), levelDbfs(amplitudes[2]), checks.gainDb, checks.passingGainDb,
        rangeDb, boost.gainAppliedDb(), boost.stagesBoosted());
    measurement.diagnosis = diagnosis(amplitudes, checks);
    measurement.subject = {{"microphone", microphone}};
    for (std::size_t i = 0; i < amplitudes.size(); ++i) {
        measurement.figures.emplace_back(fmt::format("{}StdDev", kRecordingNames[i]),
                                         amplitudes[i]);
        measurement.figures.emplace_back(fmt::format("{}Dbfs", kRecordingNames[i]),
                                         levelDbfs(amplitudes[i]));
    }
    measurement.figures.insert(measurement.figures.end(),
                               {{"volumeRangeDb", static_cast<double>(rangeDb)},
                                {"loudIncrease", checks.loudIncrease},
                                {"silenceThreshold", checks.silenceThreshold},
                                {"gainDb", checks.gainDb},
                                {"passingGainDb", checks.passingGainDb},
                                {"boostStages", static_cast<double>(boost.stagesBoosted())},
                                {"boostGainDb", boost.gainAppliedDb()}});
    return measurement;
}

}  // namespace kvormicrophone
