#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <filesystem>
#include <fstream>

#include "ProgramRun.hpp"
#include "support/TextCount.hpp"

namespace kvo::test {
namespace {

TEST(ReportE2E, ReportNamesTheRunItsSettingsHostAudioAndLogFile) {
    const ProgramRun run = runOnSimulatedPc(
        withSetting(tones("1000"), "kvormicrophone.GenerateRecording.value=false"));
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    const nlohmann::json& report = run.report;
    EXPECT_EQ(report["schemaVersion"], 1);
    const auto commandLine = report["commandLine"].get<std::vector<std::string>>();
    ASSERT_GE(commandLine.size(), 3u);
    EXPECT_EQ(commandLine[0], "run");
    EXPECT_EQ(commandLine[1], "FrequencyToneTest");
    EXPECT_EQ(report["parameters"][0], (nlohmann::json{{"test", "FrequencyToneTest"},
                                                       {"name", "FrequencyList"},
                                                       {"value", "1000"},
                                                       {"set", true}}));
    EXPECT_EQ(report["settings"]["file"], nullptr);
    EXPECT_EQ(report["settings"]["overrides"],
              nlohmann::json::array({"kvormicrophone.GenerateRecording.value=false"}));
    utsname names{};
    ASSERT_EQ(uname(&names), 0);
    EXPECT_EQ(report["host"]["name"], names.nodename);
    EXPECT_EQ(report["host"]["os"], std::string(names.sysname) + " " + names.release);
    EXPECT_NE(report["audioDescription"].get<std::string>().find("simulated"), std::string::npos);
    EXPECT_EQ(report["logFile"], run.file("logs/kvormicrophone.log"));
    EXPECT_TRUE(std::filesystem::is_regular_file(report["logFile"].get<std::string>()));
    // Timestamps in milliseconds, in order.
    const nlohmann::json& test = report["tests"][0];
    EXPECT_LE(report["started"].get<std::string>(), test["started"].get<std::string>());
    EXPECT_LE(test["started"].get<std::string>(), test["ended"].get<std::string>());
    EXPECT_LE(test["ended"].get<std::string>(), report["ended"].get<std::string>());
    EXPECT_EQ(test["events"][0]["variables"]["frequency"], "1000");
}

TEST(ReportE2E, RunEndingBeforeAnyTestStillWritesAReportThatSaysWhy) {
    const ProgramRun unknown = runOnSimulatedPc({"NoSuchTest"});
    EXPECT_EQ(unknown.exitCode, 5);
    EXPECT_EQ(unknown.report["result"], "BADPARAMS");
    EXPECT_NE(unknown.report["error"].get<std::string>().find("unknown test 'NoSuchTest'"),
              std::string::npos);
    EXPECT_TRUE(unknown.report["tests"].empty());
    EXPECT_EQ(unknown.report["audio"], "sim");
    EXPECT_EQ(unknown.report["simulated"], true);
    EXPECT_NE(unknown.junit.find("tests=\"0\""), std::string::npos) << unknown.junit;

    TempDirectory base;
    const ProgramRun broken =
        runOnSimulatedPc({"IntegratedMicrophoneTest", "--machine",
                          base.write("broken.json", R"({"name": "broken", "seed": "one"})")},
                         "", base);
    EXPECT_EQ(broken.exitCode, 5);
    EXPECT_EQ(broken.report["result"], "BADPARAMS");
    EXPECT_NE(broken.report["error"].get<std::string>().find("seed"), std::string::npos);
}

TEST(ReportE2E, SavedRecordingsNameTheirChecksAndJUnitHasATestcasePerResultAndCheck) {
    const ProgramRun dead = runOnSimulatedPc(tones("440,1000"), "dead-microphone");
    EXPECT_EQ(dead.exitCode, 1);
    const nlohmann::json& files = dead.report["tests"][0]["files"];
    ASSERT_EQ(files.size(), 2u);
    for (const nlohmann::json& file : files) {
        const std::string name = std::filesystem::path(file["path"].get<std::string>()).stem();
        const std::string check =
            name + " Hz  mic \"Microphone Array (High Definition Audio Device)\" ";
        EXPECT_EQ(file["checks"], nlohmann::json::array({check + "L", check + "R"}));
    }
    // One suite; its result and four checks, all failed.
    EXPECT_EQ(countOf(dead.junit, "<testsuite "), 1u);
    EXPECT_NE(dead.junit.find("tests=\"5\" failures=\"5\" errors=\"0\" skipped=\"0\""),
              std::string::npos)
        << dead.junit;
    EXPECT_NE(dead.junit.find("These tones were not heard by the integrated microphones (Hz): 440 "
                              "1000"),
              std::string::npos);
    EXPECT_EQ(countOf(dead.junit, "<failure message=\"no signal\" type=\"tone\">"), 4u);
    EXPECT_NE(dead.junit.find("rmsDbfs = -150"), std::string::npos);
}

}  // namespace
}  // namespace kvo::test
