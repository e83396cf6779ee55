#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <regex>
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

// Runs the program with a hard limit, so a hang fails the test instead of blocking it, and
// with its state folder in `base`: never the user's, which a parallel run may hold.
ProgramRun runProgram(const std::string& arguments, const kvo::test::TempDirectory& base) {
    ProgramRun run;
    run.output =
        runCommand("cd " + base.path() + " && XDG_STATE_HOME=" + base.path() + " timeout 120 " +
                       std::string(KVO_PROGRAM) + " " + arguments + " --audio pulse 2>&1",
                   &run.status);
    return run;
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

// The cases on a daemon whose integrated microphone hears the integrated speaker.
class PulseHearingEndToEndTest : public PulseEndToEndTest {
protected:
    void SetUp() override { ASSERT_TRUE(server.running()); }
    PulseTestServer server;
};

TEST_F(PulseHearingEndToEndTest, DevicesListsThePrivateServerWithIntegratedEndpointsAndRanges) {
    const ProgramRun run = runProgram("devices", base_);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("Audio system: pulseaudio"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("Operating system: Linux "), std::string::npos);
    EXPECT_EQ(run.output.find("Windows"), std::string::npos);
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

TEST_F(PulseHearingEndToEndTest, TheIntegratedPairPassesAndTheUserLevelsComeBack) {
    setUserLevels(server);
    const std::string before = server.levels();

    ProgramRun run = runProgram("run FrequencyToneTest --param FrequencyList=500,1000,2000", base_);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("FrequencyToneTest: PASS"), std::string::npos) << run.output;
    EXPECT_EQ(server.levels(), before);

    run = runProgram("run IntegratedMicrophoneTest", base_);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("Now testing Built-in Microphone"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("IntegratedMicrophoneTest: PASS"), std::string::npos);
    EXPECT_EQ(server.levels(), before);
}

TEST_F(PulseHearingEndToEndTest, TheScriptedMicrophoneTestRecordsAndPlaysBack) {
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

TEST_F(PulseHearingEndToEndTest, AServerKilledMidRunEndsTheTestWithOneClearMessage) {
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

TEST_F(PulseHearingEndToEndTest, TwoAmplitudeTestsInOneProcessPutBackTheLevelsFromBeforeTheFirst) {
    server.pactl("set-source-volume int_mic 70%");
    server.pactl("set-sink-volume int_speaker 45%");
    const std::string before = server.levels();
    const ProgramRun run =
        runProgram("run IntegratedMicrophoneTest IntegratedMicrophoneTest", base_);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(server.levels(), before);
}

TEST_F(PulseHearingEndToEndTest, TheMeterShowsTheMicrophonesLevelAndStateAndChangesNeither) {
    // A sine at half full scale (-9 dBFS RMS, -6 dBFS peak) into the speaker the
    // integrated microphone hears.
    server.pactl("load-module module-sine sink=int_speaker frequency=1000");
    std::string before = server.levels();
    // A new stream may take a while to deliver its first packet on a busy machine.
    ProgramRun run = runProgram("meter --seconds 4", base_);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(std::regex_search(
        run.output, std::regex(R"((^|\n)Built-in Microphone [^\n]*\(source:int_mic\): volume )"
                               R"(100 % \(\+0\.00 dB\), not muted, no boost control\n)")))
        << run.output;
    const std::regex levelLine(R"((?:^|\n)M (-?[0-9.]+) dBFS peak (-?[0-9.]+)(?=\n))");
    int readings = 0;
    for (auto it = std::sregex_iterator(run.output.begin(), run.output.end(), levelLine);
         it != std::sregex_iterator(); ++it, ++readings) {
        EXPECT_NEAR(std::stod((*it)[1]), -9.0, 1.0) << run.output;
        EXPECT_NEAR(std::stod((*it)[2]), -6.0, 1.0) << run.output;
    }
    EXPECT_GE(readings, 1) << run.output;
    EXPECT_EQ(server.levels(), before);

    setUserLevels(server);
    before = server.levels();
    run = runProgram("meter --device source:int_mic --seconds 1", base_);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("(source:int_mic): volume 40 % "), std::string::npos) << run.output;
    EXPECT_NE(run.output.find(" dB), muted, no boost control\n"), std::string::npos);
    EXPECT_NE(run.output.find("  [muted]\n"), std::string::npos) << run.output;
    EXPECT_EQ(server.levels(), before);
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
