#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <filesystem>
#include <fstream>

#include "ProgramRun.hpp"
#include "support/TextCount.hpp"

namespace kvo::test {
namespace {

TEST(ReportE2E, ReportNamesTheRunItsSettingsHostAudioAndLogFile) {
    TempDirectory base;
    const ProgramRun run =
        runOnSimulatedPc({"FrequencyToneTest", "--param", "FrequencyList=1000", "--setting",
                          "kvormicrophone.GenerateRecording.value=false"},
                         "", base);
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
    EXPECT_EQ(report["logFile"], base.path() + "/logs/kvormicrophone.log");
    EXPECT_TRUE(std::filesystem::is_regular_file(report["logFile"].get<std::string>()));
    // Timestamps in milliseconds, in order.
    const nlohmann::json& test = report["tests"][0];
    EXPECT_LE(report["started"].get<std::string>(), test["started"].get<std::string>());
    EXPECT_LE(test["started"].get<std::string>(), test["ended"].get<std::string>());
    EXPECT_LE(test["ended"].get<std::string>(), report["ended"].get<std::string>());
    EXPECT_EQ(test["events"][0]["variables"]["frequency"], "1000");
}

TEST(ReportE2E, SavedRecordingsNameTheChecksTheyCameFrom) {
    TempDirectory base;
    const ProgramRun run = runOnSimulatedPc(
        {"FrequencyToneTest", "--param", "FrequencyList=440,1000"}, "dead-microphone", base);
    EXPECT_EQ(run.exitCode, 1);
    const nlohmann::json& files = run.report["tests"][0]["files"];
    ASSERT_EQ(files.size(), 2u);
    for (const nlohmann::json& file : files) {
        const std::string path = file["path"];
        const std::string tone =
            path.substr(path.find_last_of('/') + 1, path.find(".wav") - path.find_last_of('/') - 1);
        ASSERT_EQ(file["checks"].size(), 2u) << file.dump();
        EXPECT_EQ(file["checks"][0],
                  tone + " Hz  mic \"Microphone Array (High Definition Audio Device)\" L");
        EXPECT_EQ(file["checks"][1],
                  tone + " Hz  mic \"Microphone Array (High Definition Audio Device)\" R");
    }
}

TEST(ReportE2E, RunEndingBeforeAnyTestStillWritesAReportThatSaysWhy) {
    TempDirectory base;
    const ProgramRun unknown = runOnSimulatedPc({"NoSuchTest"}, "", base);
    EXPECT_EQ(unknown.exitCode, 5);
    EXPECT_EQ(unknown.report["result"], "BADPARAMS");
    EXPECT_NE(unknown.report["error"].get<std::string>().find("unknown test 'NoSuchTest'"),
              std::string::npos);
    EXPECT_TRUE(unknown.report["tests"].empty());
    EXPECT_EQ(unknown.report["audio"], "sim");
    EXPECT_EQ(unknown.report["simulated"], true);
    EXPECT_NE(unknown.junit.find("tests=\"0\""), std::string::npos) << unknown.junit;

    TempDirectory badBase;
    std::ofstream(badBase.file("broken.json")) << "{\"name\": \"broken\", \"seed\": \"one\"}";
    const ProgramRun broken = runOnSimulatedPc(
        {"IntegratedMicrophoneTest", "--machine", badBase.file("broken.json")}, "", badBase);
    EXPECT_EQ(broken.exitCode, 5);
    EXPECT_EQ(broken.report["result"], "BADPARAMS");
    EXPECT_NE(broken.report["error"].get<std::string>().find("seed"), std::string::npos);
}

TEST(ReportE2E, JUnitHasATestcasePerResultAndCheckWithFailuresAndSkips) {
    TempDirectory base;
    const ProgramRun dead = runOnSimulatedPc(
        {"FrequencyToneTest", "--param", "FrequencyList=440,1000"}, "dead-microphone", base);
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

    TempDirectory noMicrophone;
    const ProgramRun skipped =
        runOnSimulatedPc({"IntegratedMicrophoneTest"}, "no-microphone", noMicrophone);
    EXPECT_EQ(countOf(skipped.junit, "<skipped message=\"NODEVICE (2)\""), 1u) << skipped.junit;

    TempDirectory healthy;
    const ProgramRun passed = runOnSimulatedPc({"IntegratedMicrophoneTest"}, "", healthy);
    EXPECT_NE(passed.junit.find("tests=\"2\" failures=\"0\" errors=\"0\" skipped=\"0\""),
              std::string::npos)
        << passed.junit;
}

}  // namespace
}  // namespace kvo::test
