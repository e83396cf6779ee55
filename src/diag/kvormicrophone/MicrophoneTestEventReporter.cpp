#include "MicrophoneTestEventReporter.hpp"

#include "ModuleGlobals.hpp"
#include "platform/kvo/Console.hpp"

namespace kvormicrophone {

using vesk5::DiagModule;

namespace {
constexpr const char* kSource = "MicrophoneTestEventReporter";

// The reports with a device name return early without their event, so their
// console fallback is never reached; that is how the test has always behaved.
bool setDeviceName(vesk5::Event* event, const kvo::String& deviceName) {
    if (event == nullptr) {
        return false;
    }
    event->setVariable("deviceName", vesk5::Value(deviceName));
    return true;
}
}  // namespace

void MicrophoneTestEventReporter::nowTesting(const kvo::String& deviceName) {
    if (setDeviceName(events::NowTesting, deviceName)) {
        DiagModule::informative(events::NowTesting, kSource, __LINE__);
    }
}

void MicrophoneTestEventReporter::recordingFailToStart(const kvo::String& deviceName) {
    if (setDeviceName(events::RecordingFailToStart, deviceName)) {
        DiagModule::warning(events::RecordingFailToStart, kSource, __LINE__);
    }
}

void MicrophoneTestEventReporter::recordingTooSoft(const kvo::String& deviceName) {
    if (setDeviceName(events::RecordingTooSoft, deviceName)) {
        DiagModule::error(events::RecordingTooSoft, kSource, __LINE__);
    }
}

void MicrophoneTestEventReporter::noIntegratedMic() {
    if (events::NoIntegratedMic != nullptr) {
        DiagModule::warning(events::NoIntegratedMic, kSource, __LINE__);
    } else {
        kvo::cout() << "DEBUG ONLY: No testable integrated microphone available for testing."
                    << std::endl;
    }
}

void MicrophoneTestEventReporter::endpointStateWarning() {
    if (events::EndpointStateWarning != nullptr) {
        DiagModule::warning(events::EndpointStateWarning, kSource, __LINE__);
    } else {
        kvo::cout() << "DEBUG ONLY : Please do not add or remove any audio devices from this "
                       "system while testing "
                       "is still in progress."
                    << std::endl;
    }
}

}  // namespace kvormicrophone
