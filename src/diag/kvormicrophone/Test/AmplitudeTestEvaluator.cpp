#include "AmplitudeTestEvaluator.hpp"

#include <algorithm>
#include <cmath>

#include "AmplitudeMeter.hpp"
#include "MicManagerWin7.hpp"
#include "common/libAudio-common/PCMSupport.hpp"
#include "diag/kvormicrophone/MicrophoneTestEventReporter.hpp"
#include "diag/kvormicrophone/ModuleLogger.hpp"
#include "platform/kvo/Assert.hpp"
#include "platform/vesk5/DiagModule.hpp"

namespace kvormicrophone {

using vesk5::DiagModule;
using vesk5::TestResult;

AmplitudeTestEvaluator::AmplitudeTestEvaluator() = default;

void AmplitudeTestEvaluator::progressStep() {
    progress += progressStepSize;
    DiagModule::percentDone(static_cast<int>(progress));
}

TestResult AmplitudeTestEvaluator::run(const DeviceList& testMic) {
    KVO_ASSERT_TEXT(m_micManager != nullptr, "m_micManager.isValid()");
    m_testMic = testMic;
    // The evaluation reads the entries by position: keep this order.
    m_recordings[0].method = std::make_unique<SilentRecording>(0, true);
    m_recordings[1].method = std::make_unique<LoudRecording>(100, true);
    m_recordings[2].method = std::make_unique<SilentRecording>(0, false);
    m_recordings[3].method = std::make_unique<LoudRecording>(100, false);
    // min, not max: every microphone advances by a full third of the bar, so
    // with several microphones the value passes 100 before the final 100.
    const std::uint32_t divisor = std::min<std::uint32_t>(testMic.size(), 1);
    progressStepSize = divisor == 0 ? 0.0 : 100.0 / divisor / 3.0;
    m_results = kvo::Array<TestResult>();

    for (const Device& device : m_testMic) {
        if (!m_micManager->isActive(*m_micManager->micDevices()[device.index])) {
            continue;
        }
        KVO_LOG(moduleLogger(), kvo::kLogInfo, "Now testing {}", device.name);
        MicrophoneTestEventReporter::nowTesting(device.name);
        m_results.append(TestResult::CANNOTRUN());
        m_micManager->boostMicrophone(device.index);
        progressStep();
        if (!testMicrophone(device)) {
            DiagModule::percentDone(100);
            return m_results[m_results.size() - 1];
        }
        progressStep();
        if (!m_micManager->isActive(*m_micManager->micDevices()[device.index])) {
            KVO_LOG(
                moduleLogger(), kvo::kLogError,
                "Please do not plug or unplug any microphones while testing is still in progress");
            MicrophoneTestEventReporter::endpointStateWarning();
            DiagModule::percentDone(100);
            return TestResult::CANNOTRUN();
        }
        m_results[m_results.size() - 1] = evaluateSignal(device);
        progressStep();
    }
    DiagModule::percentDone(100);
    for (const TestResult& result : m_results) {
        if (result != TestResult::PASS()) {
            return result;
        }
    }
    return TestResult::PASS();
}

bool AmplitudeTestEvaluator::testMicrophone(const Device& device) {
    Device target = device;
    for (Recording& recording : m_recordings) {
        m_micManager->setCaptureVolumeLevel(device.index, recording.method->volume);
        m_micManager->setCaptureMute(device.index, recording.method->mute);
        KVO_LOG(moduleLogger(), kvo::kLogDetail, "Recording from mic device {}", device.name);
        TestResult result = TestResult::CANNOTRUN();
        result = recording.method->record(result, target, *m_micManager);
        m_results[m_results.size() - 1] = result;
        if (result != TestResult::PASS()) {
            return false;
        }
        recording.amplitude = amplitude(m_micManager->recordingBuffer());
    }
    return true;
}

double AmplitudeTestEvaluator::amplitude(const libAudio::StaticPCMBuffer& recording) {
    const audio::WAVEFORMATEX& format = recording.format.Format;
    const std::uint32_t blockAlign = format.nBlockAlign;
    const std::uint32_t skip = blockAlign * (format.nAvgBytesPerSec * 2500U / (blockAlign * 1000U));
    const bool hasEnoughSignal = skip < recording.pcmStorage.size();
    KVO_ASSERT("Not enough signal to analyze" && hasEnoughSignal);
    libAudio::StaticPCMBuffer analysed;
    analysed.format = recording.format;
    analysed.pcmStorage.assign(recording.pcmStorage.data() + skip,
                               recording.pcmStorage.size() - skip);
    const auto frames = static_cast<unsigned>(analysed.pcmStorage.size() / blockAlign);
    return libAudio::stdDev(analysed.pcmStorage.data(), frames, blockAlign);
}

TestResult AmplitudeTestEvaluator::evaluateSignal(const Device& device) {
    KVO_LOG(moduleLogger(), kvo::kLogDetail,
            "Testing muted amplitude levels. Expect very small difference.");
    float minDb = 0.0F;
    float maxDb = 0.0F;
    float range = defaultAmplification;
    if (m_micManager->decibelVolumeRange(device.index, minDb, maxDb)) {
        range = maxDb - minDb;
        KVO_LOG(moduleLogger(), kvo::kLogDetail,
                "Rated Amplification factor from 0% to 100% unmuted = {}dB.", range);
    } else {
        KVO_LOG(moduleLogger(), kvo::kLogError, "No decibel information for {}", device.name);
    }
    const Checks checks = checkAmplitudes(range, m_recordings[1].amplitude,
                                          m_recordings[2].amplitude, m_recordings[3].amplitude);
    DiagModule::reportMeasurement(
        amplitudeMeasurement(device.name,
                             {m_recordings[0].amplitude, m_recordings[1].amplitude,
                              m_recordings[2].amplitude, m_recordings[3].amplitude},
                             range, checks, m_micManager->boostControl()));
    if (checks.passed()) {
        return TestResult::PASS();
    }
    KVO_LOG(moduleLogger(), kvo::kLogError, "Recordings from {} is too soft to pass the test",
            device.name);
    MicrophoneTestEventReporter::recordingTooSoft(device.name);
    return TestResult::FAIL();
}

AmplitudeTestEvaluator::Checks AmplitudeTestEvaluator::checkAmplitudes(float rangeDb, double a1,
                                                                       double a2, double a3) {
    Checks checks;
    // The muted recordings are not compared: muting alone proves nothing.
    checks.muted = true;

    KVO_LOG(moduleLogger(), kvo::kLogDetail,
            "Testing highest volume setting amplitude levels. Expect huge difference.");
    KVO_LOG(moduleLogger(), kvo::kLogDetail, "Comparing {} with {}", a1, a3);
    const double intensityDiff = a3 - a1;
    const double silence = std::pow(10.0, static_cast<double>(rangeDb / -20.0F)) * a3;
    KVO_LOG(moduleLogger(), kvo::kLogDetail, "IntensityDiff = {} Our definition of silence {}",
            intensityDiff, silence);
    checks.loudest = intensityDiff > silence;
    checks.loudIncrease = intensityDiff;
    checks.silenceThreshold = silence;

    KVO_LOG(moduleLogger(), kvo::kLogDetail,
            "Testing unmuted amplitude levels. Expect some audible difference.");
    if (a2 == 0.0) {
        KVO_LOG(moduleLogger(), kvo::kLogDetail,
                "The softest microphone recording is an absolute silence.");
        checks.unmuted = a3 > a2 && checks.loudest;
    } else {
        const double gain = 20.0 * std::log10(a3 / a2);
        const float passingLevel = std::min(rangeDb * 0.3F, 30.0F);
        KVO_LOG(moduleLogger(), kvo::kLogDetail,
                "Comparing {} with {} Gain = {}dB, passing level ={}dB.", a2, a3, gain,
                passingLevel);
        KVO_LOG(moduleLogger(), kvo::kLogDetail,
                "Rated Amplification factor from 0% to 100% unmuted = {}dB.", rangeDb);
        checks.unmuted = gain > static_cast<double>(passingLevel);
        checks.gainDb = gain;
        checks.passingGainDb = passingLevel;
    }
    return checks;
}

}  // namespace kvormicrophone
