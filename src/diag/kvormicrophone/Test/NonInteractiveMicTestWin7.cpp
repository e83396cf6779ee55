#include "NonInteractiveMicTestWin7.hpp"

#include "AmplitudeTestEvaluator.hpp"
#include "diag/kvormicrophone/MicrophoneTestEventReporter.hpp"
#include "diag/kvormicrophone/ModuleLogger.hpp"
#include "platform/audio/CurrentSystem.hpp"
#include "platform/kvo/Assert.hpp"

namespace kvormicrophone::NonInteractiveMicTest {

using vesk5::TestResult;

vesk5::TestResult runTest(MicManagerWin7& manager, const Config& testConfig) {
    const std::uint32_t minimumMinor = testConfig.allowVista ? 0 : 1;
    if (!audio::currentSystem().isWindowsVersionOrLater(6, minimumMinor)) {
        KVO_LOG(moduleLogger(), kvo::kLogError,
                "The Non-interactive Microphone Test is currently available only in {} or greater.",
                testConfig.allowVista ? "Vista" : "Win7");
        return TestResult::CANNOTRUN();
    }
    if (testConfig.evaluationMethod != 0) {
        KVO_ASSERT("Evaluation method not recognized." && false);
    }
    auto evaluator = std::make_shared<AmplitudeTestEvaluator>();
    manager.evaluator() = evaluator;

    manager.refreshDeviceStates();
    evaluator->setMicManager(&manager);

    DeviceList testable;
    DeviceList external;
    std::uint32_t testableCount = manager.microphoneDeviceList(testable);
    if (!testConfig.allowExternalMicTesting) {
        testableCount = manager.filterOutExternalMics(testable, external);
        if (!external.empty()) {
            KVO_LOG(moduleLogger(), kvo::kLogInfo,
                    "The test has found the following active external mics endpoints: ");
            for (const Device& device : external) {
                KVO_LOG(moduleLogger(), kvo::kLogInfo, "{}", device.name);
            }
        }
    }
    if (testableCount == 0) {
        KVO_LOG(moduleLogger(), kvo::kLogError, "There are no integrated microphones to test.");
        if (!external.empty()) {
            // Says how to test the microphone that is there.
            KVO_LOG(moduleLogger(), kvo::kLogError,
                    "External microphones are tested with the setting "
                    "audio.AllowExternalMicTesting=true.");
        }
        MicrophoneTestEventReporter::noIntegratedMic();
        return TestResult::NODEVICE();
    }
    return evaluator->run(testable);
}

}  // namespace kvormicrophone::NonInteractiveMicTest
