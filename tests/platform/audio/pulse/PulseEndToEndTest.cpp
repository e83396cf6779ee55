#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "PulseTestServer.hpp"
#include "support/TempDirectory.hpp"

// The real program on a private PulseAudio daemon: results, the events that
// name what failed, and the levels on the server afterwards.

namespace audio::pulse {
namespace {

using test::PulseTestServer;
using test::runCommand;

struct ProgramRun {
    int status = -1;
    std::string output;
};

// Runs the program with a hard limit, so a hang fails the test instead of blocking it.
ProgramRun runProgram(const std::string& arguments, const kvo::test::TempDirectory& base) {
    ProgramRun run;
    run.output = runCommand("cd " + base.path() + " && timeout 120 " + std::string(KVO_PROGRAM) +
                                " " + arguments + " --audio pulse 2>&1",
                            &run.status);
    return run;
}

// Every sink's and source's volume and mute as pactl prints them.
std::string levels(const PulseTestServer& server) {
    std::string result;
    for (const char* kind : {"sinks", "sources"}) {
        const std::string listing = server.pactl(std::string("list ") + kind);
        static const std::regex line(R"(\n\s*(Name|Mute|Volume): ([^\n]*))");
        for (auto it = std::sregex_iterator(listing.begin(), listing.end(), line);
             it != std::sregex_iterator(); ++it) {
            result += (*it)[1].str() + ": " + (*it)[2].str() + "\n";
        }
    }
    return result;
}

// Whether a stream records from the source of that name.
bool recordsFrom(const PulseTestServer& server, const std::string& source) {
    std::istringstream sources(server.pactl("list short sources"));
    std::string index;
    for (std::string line; std::getline(sources, line);) {
        std::istringstream fields(line);
        std::string number;
        std::string name;
        if (fields >> number >> name && name == source) {
            index = number;
        }
    }
    std::istringstream outputs(server.pactl("list short source-outputs"));
    for (std::string line; std::getline(outputs, line);) {
        std::istringstream fields(line);
        std::string number;
        std::string sourceIndex;
        if (fields >> number >> sourceIndex && sourceIndex == index) {
            return true;
        }
    }
    return false;
}

// Levels a user might have left: none at the defaults, the integrated microphone muted.
void setUserLevels(const PulseTestServer& server) {
    server.pactl("set-sink-volume int_speaker 65%");
    server.pactl("set-source-volume int_mic 40%");
    server.pactl("set-source-mute int_mic 1");
    server.pactl("set-sink-volume ext_headphones 55%");
    server.pactl("set-sink-mute ext_headphones 1");
    server.pactl("set-source-mute ext_mic 1");
}

class PulseEndToEndTest : public ::testing::Test {
protected:
    kvo::test::TempDirectory base_;
};

TEST_F(PulseEndToEndTest, DevicesListsThePrivateServerWithIntegratedEndpointsAndRanges) {
    PulseTestServer server;
    ASSERT_TRUE(server.running());
    const ProgramRun run = runProgram("devices", base_);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("Audio system: pulseaudio"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("Id: sink:int_speaker"), std::string::npos);
    EXPECT_EQ(std::regex_search(run.output, std::regex(R"(Built-in Microphone[^\n]*\n\s*State: )"
                                                       R"(active, integrated, default)")),
              true)
        << run.output;
    EXPECT_TRUE(std::regex_search(run.output, std::regex(R"(USB Microphone[^\n]*\n\s*State: )"
                                                         R"(active, external)")));
    EXPECT_NE(run.output.find("range -120.01 to 0.00 dB"), std::string::npos);
    EXPECT_EQ(run.output.find(".monitor"), std::string::npos) << "monitors are not endpoints";
}

TEST_F(PulseEndToEndTest, TheIntegratedPairPassesAndTheUserLevelsComeBack) {
    PulseTestServer server;
    ASSERT_TRUE(server.running());
    setUserLevels(server);
    const std::string before = levels(server);

    ProgramRun run = runProgram("run FrequencyToneTest --param FrequencyList=500,1000,2000", base_);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("FrequencyToneTest: PASS"), std::string::npos) << run.output;
    EXPECT_EQ(levels(server), before);

    run = runProgram("run IntegratedMicrophoneTest", base_);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("Now testing Built-in Microphone"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("IntegratedMicrophoneTest: PASS"), std::string::npos);
    EXPECT_EQ(levels(server), before);
}

TEST_F(PulseEndToEndTest, TheScriptedMicrophoneTestRecordsAndPlaysBack) {
    PulseTestServer server;
    ASSERT_TRUE(server.running());
    const ProgramRun run = runProgram("run MicrophoneTest --ui scripted --answer pass", base_);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("MicrophoneTest: PASS"), std::string::npos) << run.output;
}

TEST_F(PulseEndToEndTest, ADeafMicrophoneFailsBothTestsNamingWhatWasNotHeard) {
    PulseTestServer server(PulseTestServer::Microphone::Deaf);
    ASSERT_TRUE(server.running());
    ProgramRun run = runProgram("run FrequencyToneTest --param FrequencyList=500,1000,2000", base_);
    EXPECT_EQ(run.status, 1) << run.output;
    EXPECT_NE(run.output.find("not heard by the integrated microphones (Hz): 500 1000 2000"),
              std::string::npos)
        << run.output;

    run = runProgram("run IntegratedMicrophoneTest", base_);
    EXPECT_EQ(run.status, 1) << run.output;
    EXPECT_TRUE(std::regex_search(run.output, std::regex("error .*Built-in Microphone")))
        << run.output;
    EXPECT_NE(run.output.find("IntegratedMicrophoneTest: FAIL"), std::string::npos);
}

TEST_F(PulseEndToEndTest, AServerKilledMidRunEndsTheTestWithOneClearMessage) {
    PulseTestServer server;
    ASSERT_TRUE(server.running());
    const std::string command =
        "timeout 60 " + std::string(KVO_PROGRAM) +
        " run FrequencyToneTest --param FrequencyList=500,1000,2000,3000,4000 --audio pulse "
        "--base-dir " +
        base_.path() + " 2>&1";
    FILE* program = popen(command.c_str(), "r");
    ASSERT_NE(program, nullptr);
    std::string output;
    char line[1024];
    bool killed = false;
    while (std::fgets(line, sizeof line, program) != nullptr) {
        output += line;
        // Killed while the second tone plays.
        if (!killed && output.find("Playing a 1000 Hz tone") != std::string::npos) {
            server.kill();
            killed = true;
        }
    }
    const int raw = pclose(program);
    ASSERT_TRUE(killed) << output;
    ASSERT_TRUE(WIFEXITED(raw)) << output;
    // NODEVICE when the devices were found gone, CANNOTRUN when a device could
    // not be set up; never 124, the limit of `timeout`.
    const int status = WEXITSTATUS(raw);
    EXPECT_TRUE(status == 2 || status == 4) << output;
    EXPECT_TRUE(std::regex_search(output, std::regex("FrequencyToneTest: (NODEVICE|CANNOTRUN)")))
        << output;
    const std::string message = "lost the connection to the PulseAudio server";
    ASSERT_NE(output.find(message), std::string::npos) << output;
    EXPECT_EQ(output.find(message), output.rfind(message)) << "said once:\n" << output;
}

TEST_F(PulseEndToEndTest, TwoAmplitudeTestsInOneProcessPutBackTheLevelsFromBeforeTheFirst) {
    PulseTestServer server;
    ASSERT_TRUE(server.running());
    server.pactl("set-source-volume int_mic 70%");
    server.pactl("set-sink-volume int_speaker 45%");
    const std::string before = levels(server);
    const ProgramRun run =
        runProgram("run IntegratedMicrophoneTest IntegratedMicrophoneTest", base_);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(levels(server), before);
}

TEST_F(PulseEndToEndTest, CtrlCWhileAToneIsRecordedIsUserAbortedWithNothingSaved) {
    PulseTestServer server;
    ASSERT_TRUE(server.running());
    // The shell prints its process id and becomes `timeout`, which hands SIGINT on
    // to the program alone.
    const std::string command = "echo $$; exec timeout --foreground 60 " +
                                std::string(KVO_PROGRAM) +
                                " run FrequencyToneTest --param FrequencyList=440 --audio pulse "
                                "--base-dir " +
                                base_.path() + " 2>&1";
    FILE* program = popen(command.c_str(), "r");
    ASSERT_NE(program, nullptr);
    std::string output;
    char line[1024];
    pid_t pid = 0;
    bool interrupted = false;
    while (std::fgets(line, sizeof line, program) != nullptr) {
        if (pid == 0) {
            pid = static_cast<pid_t>(std::stol(line));
            continue;
        }
        output += line;
        // Ctrl-C once the program records from the microphone.
        if (!interrupted && output.find("Playing a 440 Hz tone") != std::string::npos) {
            for (int tries = 0; tries < 1000 && !recordsFrom(server, "int_mic"); ++tries) {
                usleep(5000);
            }
            ::kill(pid, SIGINT);
            interrupted = true;
        }
    }
    const int raw = pclose(program);
    ASSERT_TRUE(interrupted) << output;
    ASSERT_TRUE(WIFEXITED(raw)) << output;
    EXPECT_EQ(WEXITSTATUS(raw), 6) << output;
    EXPECT_NE(output.find("FrequencyToneTest: USERABORTED"), std::string::npos) << output;
    EXPECT_EQ(output.find("not heard"), std::string::npos) << output;
    EXPECT_FALSE(std::ifstream(base_.path() + "/logs/440.wav").good());
}

TEST_F(PulseEndToEndTest, DevicesNamesTheOperatingSystemItRunsOn) {
    PulseTestServer server;
    ASSERT_TRUE(server.running());
    const ProgramRun run = runProgram("devices", base_);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("Operating system: Linux "), std::string::npos) << run.output;
    EXPECT_EQ(run.output.find("Windows"), std::string::npos) << run.output;
}

TEST_F(PulseEndToEndTest, NoServerIsOneLineNamingTheSimulatedPc) {
    int status = 0;
    const std::string output =
        runCommand("PULSE_SERVER=unix:" + base_.path() + "/none timeout 60 " +
                       std::string(KVO_PROGRAM) + " devices --audio pulse 2>&1",
                   &status);
    EXPECT_EQ(status, 4) << output;  // CANNOTRUN
    EXPECT_NE(output.find("--audio sim"), std::string::npos) << output;
    EXPECT_EQ(output.find('\n'), output.size() - 1) << output;
}

}  // namespace
}  // namespace audio::pulse
