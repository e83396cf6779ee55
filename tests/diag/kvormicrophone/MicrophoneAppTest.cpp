#include "diag/kvormicrophone/MicrophoneApp.hpp"

#include <gtest/gtest.h>

#include <new>
#include <sstream>
#include <stdexcept>

#include "platform/kvo/Console.hpp"
#include "platform/kvo/Exception.hpp"
#include "platform/vesk5/host/Framework.hpp"
#include "support/TempDirectory.hpp"

namespace kvormicrophone {
namespace {

using vesk5::host::Framework;

template <typename Thrown>
vesk5::TestResult throwing(const Thrown& thrown) {
    throw thrown;
}

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

std::unique_ptr<vesk5::host::DeviceSource> openOneMicrophone(const vesk5::host::Options&) {
    return std::make_unique<OneMicrophone>();
}

class MicrophoneAppTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        Framework& framework = Framework::instance();
        const vesk5::DeviceCapability microphone = vesk5::DeviceCapability::Microphone();
        framework.createTest("ThrowsVeskException", microphone, [](const vesk5::DiagDevice&) {
            return throwing(vesk5::VeskException("framework broke"));
        });
        framework.createTest("ThrowsKvoException", microphone, [](const vesk5::DiagDevice&) {
            return throwing(kvo::Exception("library broke"));
        });
        framework.createTest("ThrowsStandard", microphone, [](const vesk5::DiagDevice&) {
            return throwing(std::out_of_range("number out of range"));
        });
        framework.createTest("ThrowsInt", microphone,
                             [](const vesk5::DiagDevice&) { return throwing(42); });
        Framework::setDeviceSources({{{"one", "one microphone"}}, openOneMicrophone});
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

TEST_F(MicrophoneAppTest, AnyExceptionFromATestEndsItAbnormallyWithALineAndALogEntry) {
    for (const auto& [test, what] : {std::pair{"ThrowsVeskException", "framework broke"},
                                     {"ThrowsKvoException", "library broke"},
                                     {"ThrowsStandard", "number out of range"},
                                     {"ThrowsInt", "an exception of unknown type"}}) {
        const std::string line = std::string(test) + " ended by an internal error: " + what;
        EXPECT_EQ(run({"run", test, "--base-dir", base.path()}),
                  vesk5::TestResult::EXITEDABNORMALLY().value());
        EXPECT_EQ(err.str(), "kvormicrophone: " + line + "\n");
        EXPECT_NE(base.read("logs/kvormicrophone.log").find(line), std::string::npos) << test;
    }
    // The tests after the one that threw still run.
    EXPECT_EQ(
        run({"run", "ThrowsStandard", "FrequencyToneTest", "--base-dir", base.path(), "--json"}),
        vesk5::TestResult::EXITEDABNORMALLY().value());
    EXPECT_NE(out.str().find("\"test\":\"FrequencyToneTest\""), std::string::npos) << out.str();
}

TEST_F(MicrophoneAppTest, AnExceptionOutsideEveryTestStillEndsAbnormallyAndTearsDown) {
    Framework::setDeviceSources(
        {{{"one", "one microphone"}},
         [](const vesk5::host::Options&) -> std::unique_ptr<vesk5::host::DeviceSource> {
             throw std::bad_alloc();
         }});
    EXPECT_EQ(run({"run", "FrequencyToneTest", "--base-dir", base.path()}),
              vesk5::TestResult::EXITEDABNORMALLY().value());
    EXPECT_EQ(err.str(), "kvormicrophone: internal error: std::bad_alloc\n");
    Framework::setDeviceSources({{{"one", "one microphone"}}, openOneMicrophone});
}

}  // namespace
}  // namespace kvormicrophone
