#include "diag/kvormicrophone/MicrophoneTestEventReporter.hpp"

#include <gtest/gtest.h>

#include <sstream>

#include "diag/kvormicrophone/ModuleGlobals.hpp"
#include "platform/kvo/Console.hpp"
#include "platform/vesk5/host/Framework.hpp"

namespace kvormicrophone {
namespace {

// Runs `report` with the event pointer `slot` set to null for the duration; returns the console
// output.
template <typename Report>
std::string withoutEvent(vesk5::Event*& slot, Report report) {
    vesk5::Event* const saved = slot;
    slot = nullptr;
    std::ostringstream out, err;
    {
        kvo::ConsoleRedirect redirect(out, err);
        report();
    }
    slot = saved;
    return out.str();
}

TEST(MicrophoneTestEventReporter, ReportsWithADeviceNameSetItBeforeRaising) {
    MicrophoneTestEventReporter::nowTesting("Microphone Array");
    EXPECT_EQ(events::NowTesting->variables().at(0).second.valueString(), "Microphone Array");
    MicrophoneTestEventReporter::recordingFailToStart("");
    EXPECT_EQ(events::RecordingFailToStart->variables().at(0).first, "deviceName");
    EXPECT_EQ(events::RecordingFailToStart->variables().at(0).second.valueString(), "");
    MicrophoneTestEventReporter::recordingTooSoft("Mic 2");
    EXPECT_EQ(events::RecordingTooSoft->variables().at(0).second.valueString(), "Mic 2");
}

TEST(MicrophoneTestEventReporter, ReportsWithADeviceNameAreSilentWithoutTheirEvent) {
    EXPECT_EQ(
        withoutEvent(events::NowTesting, [] { MicrophoneTestEventReporter::nowTesting("Mic"); }),
        "");
    EXPECT_EQ(withoutEvent(events::RecordingFailToStart,
                           [] { MicrophoneTestEventReporter::recordingFailToStart("Mic"); }),
              "");
    EXPECT_EQ(withoutEvent(events::RecordingTooSoft,
                           [] { MicrophoneTestEventReporter::recordingTooSoft("Mic"); }),
              "");
}

TEST(MicrophoneTestEventReporter, ReportsWithoutVariablesFallBackToTheConsole) {
    EXPECT_EQ(withoutEvent(events::NoIntegratedMic,
                           [] { MicrophoneTestEventReporter::noIntegratedMic(); }),
              "DEBUG ONLY: No testable integrated microphone available for testing.\n");
    EXPECT_EQ(withoutEvent(events::EndpointStateWarning,
                           [] { MicrophoneTestEventReporter::endpointStateWarning(); }),
              "DEBUG ONLY : Please do not add or remove any audio devices from this system while "
              "testing is still in "
              "progress.\n");
}

TEST(MicrophoneTestEventReporter, WithTheirEventsNothingGoesToTheConsole) {
    std::ostringstream out, err;
    kvo::ConsoleRedirect redirect(out, err);
    MicrophoneTestEventReporter::noIntegratedMic();
    MicrophoneTestEventReporter::endpointStateWarning();
    MicrophoneTestEventReporter::nowTesting("Mic");
    EXPECT_EQ(out.str(), "");
}

}  // namespace
}  // namespace kvormicrophone
