#include "platform/vesk5/host/Framework.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "platform/kvo/Console.hpp"
#include "platform/kvo/Resource.hpp"
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
Event* toneEvent = nullptr;
Parameter* listParameter = nullptr;

TestResult toneTest(const DiagDevice& device) {
    script.devicesSeen.push_back(device.name());
    script.optionalDevicesSeen = DiagModule::optionalDeviceCount();
    toneEvent->setVariable("frequency", Value(std::uint32_t{440}));
    DiagModule::informative(toneEvent, "ToneTest", 12);
    DiagModule::percentDone(33);
    DiagModule::percentDone(66);
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
    return DiagModule::checkForStop() ? TestResult::USERABORTED() : script.answer;
}

class FrameworkTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        Framework& framework = Framework::instance();
        toneEvent = framework.createEvent("MSG_CURRENT_FREQ");
        framework.createTest("ToneTest", DeviceCapability::Microphone(), toneTest)
            ->addDevicePropertyRequirement("Integrated", "true")
            ->addOptionalDeviceCapabilities(DeviceCapability::SoundCard());
        listParameter =
            framework.createParameter("FrequencyList", DataType::STRING(), "", false, true);
        framework.tests().back()->addParameter(listParameter);
        framework.createTest("PerDeviceTest", DeviceCapability::Microphone(), perDeviceTest);
        framework.createTest("OnceTest", DeviceCapability::Microphone(), perDeviceTest)
            ->setEnumeratesOnlyOnce(true);
        framework.createTest("CardTest", DeviceCapability::SoundCard(), perDeviceTest);
        framework.setVersion(6, 5, "000000001");
        Framework::setDeviceSources({{{"fake", "a pretend audio system"}}, openFakeDevices});
    }

    int start(std::vector<std::string> arguments) {
        script = Script{};
        if (failNextRun) {
            script.answer = TestResult::FAIL();
            failNextRun = false;
        }
        arguments.insert(arguments.end(), {"--base-dir", base.path()});
        Framework::instance().setCmdLineArgs(std::move(arguments));
        kvo::ConsoleRedirect redirect(out, err);
        return Framework::instance().start();
    }

    bool failNextRun = false;
    kvo::test::TempDirectory base;
    std::ostringstream out;
    std::ostringstream err;
};

TEST_F(FrameworkTest, ReportRecordsTheRunAsOneJsonDocument) {
    const std::string reportPath = base.file("report.json");
    failNextRun = true;
    ASSERT_EQ(start({"run", "ToneTest", "--report", reportPath}), TestResult::FAIL().value());
    std::ifstream file(reportPath);
    const nlohmann::json report = nlohmann::json::parse(file);
    EXPECT_EQ(report["version"], "6.5.000000001");
    EXPECT_EQ(report["result"], "FAIL");
    EXPECT_EQ(report["simulated"], true);
    ASSERT_EQ(report["tests"].size(), 1u);
    const nlohmann::json& test = report["tests"][0];
    EXPECT_EQ(test["name"], "ToneTest");
    EXPECT_EQ(test["device"], "Integrated audio");
    EXPECT_EQ(test["resultCode"], 1);
    EXPECT_EQ(test["events"][0]["key"], "MSG_CURRENT_FREQ");
    EXPECT_EQ(test["events"][0]["variables"]["frequency"], "440");
    EXPECT_EQ(test["progress"], nlohmann::json::array({33, 66}));
    EXPECT_EQ(test["progressReached"], 66);
    ASSERT_EQ(test["files"].size(), 1u);
    EXPECT_NE(test["files"][0]["path"].get<std::string>().find("logs/440.wav"), std::string::npos);
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
    failNextRun = true;
    EXPECT_EQ(start({"run", "OnceTest", "CardTest"}), TestResult::FAIL().value());
    EXPECT_NE(out.str().find("CardTest: no SoundCard device to run on"), std::string::npos)
        << out.str();
}

TEST_F(FrameworkTest, ParametersAreSetForTheTestsThatHaveThem) {
    EXPECT_EQ(start({"run", "ToneTest", "--param", "FrequencyList=440,1000"}), 0);
    EXPECT_EQ(listParameter->value().valueString(), "440,1000");
    EXPECT_EQ(start({"run", "PerDeviceTest", "--param", "FrequencyList=1"}),
              TestResult::BADPARAMS().value());
    EXPECT_EQ(err.str(), "kvormicrophone: no test being run has a parameter 'FrequencyList'\n");
}

TEST_F(FrameworkTest, BadInputGivesOneLineAndBadParams) {
    struct Case {
        std::vector<std::string> arguments;
        std::string line;
    };
    for (const Case& c :
         {Case{{"run", "Nope"},
               "kvormicrophone: unknown test 'Nope' (tests: ToneTest, PerDeviceTest, OnceTest, "
               "CardTest)\n"},
          Case{{"run", "ToneTest", "--param", "=1"},
               "kvormicrophone: malformed --param '=1': expected NAME=VALUE\n"},
          Case{{"run", "ToneTest", "--setting", "novalue"},
               "kvormicrophone: malformed --setting 'novalue': expected SECTION.KEY=VALUE\n"},
          Case{{"run"}, "kvormicrophone: TEST is required\n"}}) {
        out.str("");
        err.str("");
        EXPECT_EQ(start(c.arguments), TestResult::BADPARAMS().value()) << c.line;
        EXPECT_EQ(err.str(), c.line);
        EXPECT_EQ(out.str(), "");
    }
}

TEST_F(FrameworkTest, SettingsFileAndOverridesReachTheCommonLibrary) {
    base.write("kvormicrophone.ini",
               "[kvormicrophone]\nGenerateRecording.value = false\nOther.value = x\n");
    EXPECT_EQ(
        start({"run", "ToneTest", "--setting", "kvormicrophone.GenerateRecording.value=true"}), 0);
    std::string value;
    ASSERT_TRUE(kvo::Resource::getSetting("kvormicrophone", "GenerateRecording.value", value));
    EXPECT_EQ(value, "true");
    ASSERT_TRUE(kvo::Resource::getSetting("kvormicrophone", "Other.value", value));
    EXPECT_EQ(value, "x");
    kvo::Resource::setSettings({});
}

}  // namespace
}  // namespace vesk5::host
