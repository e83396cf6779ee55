#include "platform/vesk5/host/Framework.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "platform/kvo/Console.hpp"
#include "platform/kvo/SafeFile.hpp"
#include "platform/kvo/System.hpp"
#include "support/TempDirectory.hpp"

namespace vesk5::host {
namespace {

// Devices of a pretend audio system: two microphones and one sound card.
class FakeDevices : public DeviceSource {
public:
    std::vector<DiagDevice> testDevices() override {
        return {
            DiagDevice("Integrated audio", DeviceCapability::Microphone(),
                       {{"Integrated", "true"}}),
            DiagDevice("USB headset", DeviceCapability::Microphone(), {{"Integrated", "false"}})};
    }
    std::vector<DiagDevice> optionalDevices() override {
        return {DiagDevice("HD Audio", DeviceCapability::SoundCard(), {{"Driver", "hdaudio.sys"}})};
    }
    std::string audioName() const override { return "fake"; }
    bool simulated() const override { return true; }
    std::string describeDevices(bool json) override { return json ? "{}" : "fake devices\n"; }
};

std::unique_ptr<DeviceSource> openFakeDevices(const Options&) {
    return std::make_unique<FakeDevices>();
}

// What the test functions saw, and what they answer.
struct Script {
    std::vector<std::string> devicesSeen;
    unsigned optionalDevicesSeen = 0;
    TestResult answer = TestResult::PASS();
};
Script script;

TestResult toneTest(const DiagDevice& device) {
    script.devicesSeen.push_back(device.name());
    script.optionalDevicesSeen = DiagModule::optionalDeviceCount();
    // Another run in the same folder writes a file meanwhile: not this run's to report.
    std::ofstream(DiagModule::getBaseDirectory() + "/logs/other-run.wav") << "RIFF";
    kvo::FileWriter recording(DiagModule::getBaseDirectory() + "/logs/440.wav");
    recording.write("RIFF");
    recording.commit();
    return script.answer;
}

TestResult perDeviceTest(const DiagDevice& device) {
    script.devicesSeen.push_back(device.name());
    script.optionalDevicesSeen = DiagModule::optionalDeviceCount();
    return script.answer;
}

class FrameworkTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        Framework& framework = Framework::instance();
        framework.createTest("ToneTest", DeviceCapability::Microphone(), toneTest)
            ->addDevicePropertyRequirement("Integrated", "true")
            ->addOptionalDeviceCapabilities(DeviceCapability::SoundCard());
        framework.createTest("PerDeviceTest", DeviceCapability::Microphone(), perDeviceTest);
        framework.createTest("OnceTest", DeviceCapability::Microphone(), perDeviceTest)
            ->setEnumeratesOnlyOnce(true);
        framework.createTest("CardTest", DeviceCapability::SoundCard(), perDeviceTest);
        Framework::setDeviceSources({{{"fake", "a pretend audio system"}}, openFakeDevices});
    }

    int start(std::vector<std::string> arguments, TestResult answer = TestResult::PASS()) {
        script = Script{};
        script.answer = answer;
        arguments.insert(arguments.end(), {"--base-dir", base.path()});
        Framework::instance().setCmdLineArgs(std::move(arguments));
        kvo::ConsoleRedirect redirect(out, err);
        return Framework::instance().start();
    }

    kvo::test::TempDirectory base;
    std::ostringstream out;
    std::ostringstream err;
};

// What the report holds is the end-to-end runs'; which files are this run's is only seen here.
TEST_F(FrameworkTest, TheReportListsOnlyTheFilesThisRunWrote) {
    const std::string reportPath = base.file("report.json");
    ASSERT_EQ(start({"run", "ToneTest", "--report", reportPath}), 0);
    std::ifstream file(reportPath);
    const nlohmann::json files = nlohmann::json::parse(file)["tests"][0]["files"];
    ASSERT_EQ(files.size(), 1u) << files;
    EXPECT_NE(files[0]["path"].get<std::string>().find("logs/440.wav"), std::string::npos);
}

TEST_F(FrameworkTest, DevicesAreChosenByCapabilityAndRequiredProperties) {
    EXPECT_EQ(start({"run", "ToneTest"}), 0);
    EXPECT_EQ(script.devicesSeen, std::vector<std::string>{"Integrated audio"});
    EXPECT_EQ(script.optionalDevicesSeen, 1u);

    EXPECT_EQ(start({"run", "PerDeviceTest"}), 0);
    EXPECT_EQ(script.devicesSeen, (std::vector<std::string>{"Integrated audio", "USB headset"}));
    EXPECT_EQ(script.optionalDevicesSeen, 0u);  // it did not ask for sound cards

    EXPECT_EQ(start({"run", "OnceTest"}), 0);
    EXPECT_EQ(script.devicesSeen, std::vector<std::string>{"Integrated audio"});
}

TEST_F(FrameworkTest, ExitCodeIsTheFirstResultThatDidNotPass) {
    EXPECT_EQ(start({"run", "OnceTest", "CardTest"}), TestResult::NODEVICE().value());
    EXPECT_EQ(start({"run", "OnceTest", "CardTest"}, TestResult::FAIL()),
              TestResult::FAIL().value());
    EXPECT_NE(out.str().find("CardTest: no SoundCard device to run on"), std::string::npos)
        << out.str();
}

// Parameters and settings that do not parse, and an unknown test, are the end-to-end runs'.
TEST_F(FrameworkTest, ARunWithoutATestGivesOneLineAndBadParams) {
    EXPECT_EQ(start({"run"}), TestResult::BADPARAMS().value());
    EXPECT_EQ(err.str(), "kvormicrophone: TEST is required\n");
    EXPECT_EQ(out.str(), "");
}

}  // namespace
}  // namespace vesk5::host
