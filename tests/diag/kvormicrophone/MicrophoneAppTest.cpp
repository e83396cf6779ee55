#include "diag/kvormicrophone/MicrophoneApp.hpp"

#include <gtest/gtest.h>

#include <sstream>

#include "diag/kvormicrophone/MicrophoneTestParameter.hpp"
#include "diag/kvormicrophone/ModuleGlobals.hpp"
#include "diag/kvormicrophone/Test/FrequencyTestParameter.hpp"
#include "platform/kvo/Console.hpp"
#include "platform/kvo/Exception.hpp"
#include "platform/vesk5/host/Framework.hpp"
#include "support/TempDirectory.hpp"

namespace kvormicrophone {
namespace {

using vesk5::host::Framework;

class OneMicrophone : public vesk5::host::DeviceSource {
public:
    std::vector<vesk5::DiagDevice> testDevices() override {
        return {vesk5::DiagDevice("Microphone", vesk5::DeviceCapability::Microphone())};
    }
    std::vector<vesk5::DiagDevice> optionalDevices() override { return {}; }
    std::string audioName() const override { return "test"; }
    bool simulated() const override { return true; }
    std::string describeDevices(bool) override { return {}; }
};

vesk5::TestResult throwsVeskException(const vesk5::DiagDevice&) {
    throw vesk5::VeskException("framework broke");
}
vesk5::TestResult throwsKvoException(const vesk5::DiagDevice&) {
    throw kvo::Exception("library broke");
}

class MicrophoneAppTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        Framework::instance().createTest(
            "ThrowsVeskException", vesk5::DeviceCapability::Microphone(), throwsVeskException);
        Framework::instance().createTest("ThrowsKvoException",
                                         vesk5::DeviceCapability::Microphone(), throwsKvoException);
        Framework::setDeviceSources(
            {{{"one", "one microphone"}},
             [](const vesk5::host::Options&) -> std::unique_ptr<vesk5::host::DeviceSource> {
                 return std::make_unique<OneMicrophone>();
             }});
    }

    // The parameters that moduleInitialize created stay with the framework; forget them
    // so that the parameter tests in this binary start from the uninitialised state.
    static void TearDownTestSuite() {
        MicrophoneTestParameter::shutdown();
        FrequencyTestParameter::shutdown();
    }

    int run(std::vector<std::string> arguments) {
        out.str("");
        err.str("");
        kvo::ConsoleRedirect redirect(out, err);
        return theApp.Run(arguments);
    }

    kvo::test::TempDirectory base;
    std::ostringstream out, err;
};

TEST_F(MicrophoneAppTest, EventsAndTestsAreRegisteredBeforeRunInTheirOrder) {
    const auto& events = Framework::instance().events();
    ASSERT_GE(events.size(), 42u);
    const std::vector<std::string> expectedStart{"NoIntegratedMic",      "RecordingFailToStart",
                                                 "EndpointStateWarning", "RecordingTooSoft",
                                                 "NowTesting",           "FoundExternalMic"};
    for (std::size_t i = 0; i < expectedStart.size(); ++i) {
        EXPECT_EQ(events[i]->key(), expectedStart[i]);
    }
    EXPECT_EQ(events[13]->key(), "MSG_INSTRUCTIONS_4");  // there is no instruction 3
    EXPECT_EQ(events[41]->key(), "DEVICE_MISCONFIGURED");

    const auto& tests = Framework::instance().tests();
    ASSERT_GE(tests.size(), 3u);
    EXPECT_EQ(tests[0]->name(), "IntegratedMicrophoneTest");
    EXPECT_TRUE(tests[0]->enumeratesOnlyOnce());
    EXPECT_EQ(tests[0]->devicePropertyRequirements().at(0).name, "EnumerateIntegratedMicTest");
    EXPECT_EQ(tests[1].get(), g_microphoneTest);
    EXPECT_TRUE(g_microphoneTest->interactive() && g_microphoneTest->createsOwnGUI());
    EXPECT_EQ(tests[2].get(), g_frequencyToneTest);
    EXPECT_EQ(g_frequencyToneTest->optionalDeviceCapabilities().at(0),
              vesk5::DeviceCapability::SoundCard());
}

TEST_F(MicrophoneAppTest, ExitCodeIsExactlyTheDispatchersValue) {
    EXPECT_EQ(run({"list"}), 0);
    EXPECT_NE(out.str().find("FrequencyToneTest"), std::string::npos);
    EXPECT_EQ(g_microphoneTest->parameters().size(), 5u);  // moduleInitialize ran inside start()
    EXPECT_EQ(g_frequencyToneTest->parameters().size(), 1u);
    EXPECT_EQ(run({"run", "NoSuchTest"}), vesk5::TestResult::BADPARAMS().value());
    EXPECT_EQ(run({"run", "FrequencyToneTest", "--base-dir", base.path()}),
              vesk5::TestResult::NODEVICE().value());
    EXPECT_EQ(g_comInitializer, nullptr);  // torn down after start() returned
}

TEST_F(MicrophoneAppTest, EscapedExceptionsEndAbnormallyWithTheirLineOnTheErrorStream) {
    EXPECT_EQ(run({"run", "ThrowsVeskException", "--base-dir", base.path()}),
              vesk5::TestResult::EXITEDABNORMALLY().value());
    EXPECT_EQ(err.str(), "VeskException:framework broke\n");
    EXPECT_EQ(run({"run", "ThrowsKvoException", "--base-dir", base.path()}),
              vesk5::TestResult::EXITEDABNORMALLY().value());
    EXPECT_EQ(err.str(), "Exception:library broke\n");
}

}  // namespace
}  // namespace kvormicrophone
