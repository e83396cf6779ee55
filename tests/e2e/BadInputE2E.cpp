// Bad input that once crashed the program or was silently taken: each ends with
// a defined result and a clear line, never an abort.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "ProgramRun.hpp"

namespace kvo::test {
namespace {

namespace fs = std::filesystem;

TEST(BadInputE2E, MachineFilesThatCannotBeUsedAreCommandLineErrors) {
    TempDirectory base;
    const std::string broken = base.write("broken.json", "{\"name\": ");
    const std::string hugeNumber = base.write(
        "huge.json",
        "{\"paths\": [{\"speaker\": \"a\", \"microphone\": \"b\", \"gainDb\": -1e999}]}");
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"devices", "--audio", "sim", "--machine", broken},
          {"devices", "--audio", "sim", "--machine", hugeNumber},
          {"run", "FrequencyToneTest", "--audio", "sim", "--machine", hugeNumber, "--base-dir",
           base.file("base")},
          {"run", "FrequencyToneTest", "--audio", "pulse", "--machine",
           scenarioFile("healthy-laptop"), "--base-dir", base.file("base")},
          {"run", "FrequencyToneTest", "--base-dir", ""},
          {"run", "FrequencyToneTest", "--audio", "sim", "--machine", ""},
          {"devices", "--audio", "sim", "--machine", ""}}) {
        const ProgramRun run = runProgram(arguments, base);
        EXPECT_EQ(run.exitCode, 5) << arguments[3] << " " << arguments.back() << ": " << run.errors;
        EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
    }
}

TEST(BadInputE2E, AHelpFlagAsAnOptionsValueIsThatValueNotAskingForHelp) {
    TempDirectory base;
    const ProgramRun run = runProgram({"run", "FrequencyToneTest", "--param", "FrequencyList=440",
                                       "--audio", "sim", "--base-dir", "-h"},
                                      base, "cd " + base.path() + " &&");
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.out.find("Usage:"), std::string::npos);
    EXPECT_TRUE(fs::exists(base.file("-h/logs/kvormicrophone.log")));
}

// Names with escape sequences or bytes that are not UTF-8: plain on the terminal, valid in JSON.
TEST(BadInputE2E, OddBytesInNamesNeverReachTheTerminalAndAreWrittenAsValidJson) {
    TempDirectory base;
    nlohmann::json machine = scenarioMachine("healthy-laptop");
    endpointOf(machine, "mic-array")["name"] = "Mic\x1b]0;owned\x07\x1b[2J";
    const std::string file = base.write("machine-\xff.json", machine.dump());

    const ProgramRun devices = runProgram({"devices", "--audio", "sim", "--machine", file}, base);
    EXPECT_EQ(devices.exitCode, 0);
    EXPECT_NE(devices.out.find("Mic?]0;owned??[2J"), std::string::npos) << devices.out;
    EXPECT_EQ(devices.out.find('\x1b'), std::string::npos);
    const ProgramRun json =
        runProgram({"devices", "--audio", "sim", "--machine", file, "--json"}, base);
    EXPECT_EQ(json.exitCode, 0) << json.errors;
    EXPECT_TRUE(nlohmann::json::accept(json.out)) << json.out;
    // The report, read back and checked against its schema, names the folder and machine file.
    const ProgramRun run = runProgram(
        {"run", "FrequencyToneTest", "--param", "FrequencyList=440", "--audio", "sim", "--machine",
         file, "--base-dir", base.file("base-\xff\xfe"), "--report", base.file("report.json")},
        base);
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.report["result"], "PASS");
    EXPECT_NE(run.out.find("Mic?]0;owned??[2J"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find('\x1b'), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find('\x07'), std::string::npos);
}

// The pre-Vista path records through a temporary file: a FIFO in its place, or a format no
// wave device takes, ends the run with its event instead of a hang or a crash.
TEST(BadInputE2E, ThePreVistaPathRefusesAFifoForItsRecordingAndAFormatNoDeviceTakes) {
    for (const char* rate : {"", "4294967295", "200000"}) {
        SCOPED_TRACE(rate);
        TempDirectory base;
        const std::string xp = scenarioFile("windows-xp");
        std::vector<std::string> arguments = {
            "run",    "MicrophoneTest", "--audio",        "sim",      "--machine",
            xp,       "--ui",           "scripted",       "--answer", "pass",
            "--json", "--base-dir",     base.file("base")};
        fs::create_directories(base.file("tmp"));
        if (*rate == '\0') {
            ASSERT_EQ(::mkfifo(base.file("tmp/kvorecord.wav").c_str(), 0600), 0);
        } else {
            arguments.insert(arguments.end(),
                             {"--param", "BitsPerSample=16", "--param", "NumberOfChannels=1",
                              "--param", std::string("SamplesPerSec=") + rate});
        }
        const ProgramRun run = runProgram(arguments, base, "TMPDIR=" + base.file("tmp"));
        EXPECT_GE(run.exitCode, 1);
        EXPECT_LE(run.exitCode, 6) << run.errors;
        EXPECT_FALSE(
            run.events(*rate == '\0' ? "MSG_FILE_NOT_SAVED" : "MSG_SET_PCM_FORMAT_FAIL").empty())
            << run.out;
        EXPECT_TRUE(*rate != '\0' || fs::is_fifo(base.file("tmp/kvorecord.wav")));
    }
}

TEST(BadInputE2E, FiftyThousandGainStagesAreWalkedWithoutOverflowingTheStack) {
    nlohmann::json machine = scenarioMachine("healthy-laptop");
    nlohmann::json stages = nlohmann::json::array();
    for (int i = 0; i < 50000; ++i) {
        stages.push_back({{"name", "Stage " + std::to_string(i)},
                          {"channels", 1},
                          {"minDb", 0},
                          {"maxDb", 0},
                          {"levelDb", 0}});
    }
    endpointOf(machine, "mic-array")["stages"] = stages;
    const ProgramRun run =
        runOnMachine({"MicrophoneTest", "--ui", "scripted", "--answer", "pass"}, machine);
    EXPECT_EQ(run.exitCode, 0) << run.errors;
}

}  // namespace
}  // namespace kvo::test
