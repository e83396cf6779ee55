#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <regex>
#include <string>
#include <vector>

#include "PulseTestServer.hpp"
#include "support/TempDirectory.hpp"

// The real program on a private PulseAudio daemon: results, the events that
// name what failed, and the user's levels on the server afterwards, also after
// runs that end in unusual ways: Ctrl-C, a closed terminal, a second Ctrl-C,
// output piped into a program that stops reading, a server that dies or stops
// answering.

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

// Runs the tone test on `frequencies` through `sh -c`; the shell prints its
// process id first and then becomes the program. Once the program says it plays
// `frequency`, `act` is called with its process id, once.
ProgramRun runToneTestUntil(const kvo::test::TempDirectory& base, const std::string& frequencies,
                            const std::string& frequency, const std::function<void(pid_t)>& act) {
    const std::string command = "echo $$; exec " + std::string(KVO_PROGRAM) +
                                " run FrequencyToneTest --param FrequencyList=" + frequencies +
                                " --audio pulse --base-dir " + base.path() + " 2>&1";
    FILE* program = popen(("timeout -s KILL 120 sh -c '" + command + "'").c_str(), "r");
    ProgramRun ended;
    if (program == nullptr) {
        return ended;
    }
    char line[1024];
    pid_t pid = 0;
    bool acted = false;
    while (std::fgets(line, sizeof line, program) != nullptr) {
        if (pid == 0) {
            pid = static_cast<pid_t>(std::stol(line));
            continue;
        }
        ended.output += line;
        if (!acted &&
            ended.output.find("Playing a " + frequency + " Hz tone") != std::string::npos) {
            act(pid);
            acted = true;
        }
    }
    const int status = pclose(program);
    ended.status = WIFEXITED(status) && acted ? WEXITSTATUS(status) : -1;
    return ended;
}

// One daemon whose integrated microphone hears the integrated speaker, for the
// cases that leave it running; each starts from levels a user might have left:
// none at the defaults, one above 100 % that no percentage can say, the
// integrated microphone muted and off balance.
class PulseEndToEndTest : public testing::Test {
protected:
    static void SetUpTestSuite() { server_ = new PulseTestServer(); }
    static void TearDownTestSuite() {
        delete server_;
        server_ = nullptr;
    }
    void SetUp() override {
        ASSERT_TRUE(server_->running());
        // A case with a daemon of its own may have pointed the environment elsewhere.
        setenv("PULSE_SERVER", server_->address().c_str(), 1);
        for (const char* level :
             {"set-sink-volume int_speaker 150%", "set-source-volume int_mic 40% 20%",
              "set-source-mute int_mic 1", "set-sink-volume ext_headphones 55%",
              "set-sink-mute ext_headphones 1", "set-source-mute ext_mic 1"}) {
            server_->pactl(level);
        }
        before_ = server_->levels();
        ASSERT_NE(before_.find("150%"), std::string::npos) << before_;
    }

    static PulseTestServer* server_;
    kvo::test::TempDirectory base_;
    std::string before_;
};

PulseTestServer* PulseEndToEndTest::server_ = nullptr;

TEST_F(PulseEndToEndTest, DevicesListsThePrivateServerWithIntegratedEndpointsAndRanges) {
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

// Two amplitude tests in one process put back the levels from before the first.
TEST_F(PulseEndToEndTest, TheIntegratedPairPassesAndTheUserLevelsComeBack) {
    ProgramRun run = runProgram("run FrequencyToneTest --param FrequencyList=500,1000,2000", base_);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("FrequencyToneTest: PASS"), std::string::npos) << run.output;
    EXPECT_EQ(server_->levels(), before_);

    run = runProgram("run IntegratedMicrophoneTest IntegratedMicrophoneTest", base_);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("Now testing Built-in Microphone"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("IntegratedMicrophoneTest: PASS"), std::string::npos);
    EXPECT_EQ(server_->levels(), before_);

    run = runProgram("run MicrophoneTest --ui scripted --answer pass", base_);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("MicrophoneTest: PASS"), std::string::npos) << run.output;
}

TEST_F(PulseEndToEndTest, TheMeterShowsTheMicrophonesLevelAndStateAndChangesNeither) {
    ProgramRun run = runProgram("meter --device source:int_mic --seconds 1", base_);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("(source:int_mic): volume 40 % "), std::string::npos) << run.output;
    EXPECT_NE(run.output.find(" dB), muted, no boost control\n"), std::string::npos);
    EXPECT_NE(run.output.find("  [muted]\n"), std::string::npos) << run.output;
    EXPECT_EQ(server_->levels(), before_);

    // A sine at half full scale (-9 dBFS RMS, -6 dBFS peak) into the speaker the
    // integrated microphone hears, both at their defaults.
    for (const char* level : {"set-sink-volume int_speaker 100%", "set-source-volume int_mic 100%",
                              "set-source-mute int_mic 0"}) {
        server_->pactl(level);
    }
    const std::string before = server_->levels();
    const std::string sine =
        server_->pactl("load-module module-sine sink=int_speaker frequency=1000");
    // A new stream may take a while to deliver its first packet on a busy machine.
    run = runProgram("meter --seconds 4", base_);
    server_->pactl("unload-module " + sine);
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
    EXPECT_EQ(server_->levels(), before);
}

// Ctrl-C, a closed terminal, and a second Ctrl-C that must not cut the restore short.
TEST_F(PulseEndToEndTest,
       ASignalWhileAToneIsRecordedIsUserAbortedWithTheLevelsBackAndNothingSaved) {
    for (const std::vector<int>& signals :
         {std::vector<int>{SIGINT}, std::vector<int>{SIGHUP}, std::vector<int>{SIGINT, SIGINT}}) {
        const std::string what =
            "signal " + std::to_string(signals[0]) + " x" + std::to_string(signals.size());
        const ProgramRun ended = runToneTestUntil(base_, "440,1000,2000", "440", [&](pid_t pid) {
            // Once the program records: the levels are raised by then.
            for (int tries = 0; tries < 1000 && server_->pactl("list short source-outputs").empty();
                 ++tries) {
                usleep(5000);
            }
            for (const int signal : signals) {
                ::kill(pid, signal);
            }
        });
        EXPECT_EQ(ended.status, 6) << what << "\n" << ended.output;
        EXPECT_EQ(server_->levels(), before_) << what;
        if (signals.size() == 1) {
            EXPECT_NE(ended.output.find("FrequencyToneTest: USERABORTED"), std::string::npos)
                << what << "\n"
                << ended.output;
            EXPECT_EQ(ended.output.find("not heard"), std::string::npos) << what;
            EXPECT_FALSE(std::ifstream(base_.file("logs/440.wav")).good()) << what;
        }
    }
}

TEST_F(PulseEndToEndTest, OutputIntoAPipeNobodyReadsStopsTheRunAndPutsTheLevelsBack) {
    // `head` leaves after three lines; the program's next write meets a closed pipe.
    const std::string status = base_.path() + "/status";
    const std::string command = "{ timeout -s KILL 120 " + std::string(KVO_PROGRAM) +
                                " run FrequencyToneTest --param FrequencyList=440,1000,2000 "
                                "--audio pulse --base-dir " +
                                base_.path() + "; echo $? > " + status + "; } | head -n 3";
    const std::string output = runCommand(command);
    EXPECT_EQ(base_.read("status"), "6\n") << output;
    EXPECT_EQ(server_->levels(), before_) << output;
}

// Each with a daemon of its own, or none.
TEST(PulseOwnDaemon, ADeafMicrophoneFailsBothTestsNamingWhatWasNotHeard) {
    const kvo::test::TempDirectory base;
    PulseTestServer server(PulseTestServer::Microphone::Deaf);
    ASSERT_TRUE(server.running());
    ProgramRun run = runProgram("run FrequencyToneTest --param FrequencyList=500,1000,2000", base);
    EXPECT_EQ(run.status, 1) << run.output;
    EXPECT_NE(run.output.find("not heard by the integrated microphones (Hz): 500 1000 2000"),
              std::string::npos)
        << run.output;

    run = runProgram("run IntegratedMicrophoneTest", base);
    EXPECT_EQ(run.status, 1) << run.output;
    EXPECT_TRUE(std::regex_search(run.output, std::regex("error .*Built-in Microphone")))
        << run.output;
    EXPECT_NE(run.output.find("IntegratedMicrophoneTest: FAIL"), std::string::npos);
}

TEST(PulseOwnDaemon, AServerKilledMidRunEndsTheTestWithOneClearMessage) {
    const kvo::test::TempDirectory base;
    PulseTestServer server;
    ASSERT_TRUE(server.running());
    // Killed while the second tone plays.
    const ProgramRun run =
        runToneTestUntil(base, "500,1000,2000,3000,4000", "1000", [&](pid_t) { server.kill(); });
    const std::string& output = run.output;
    // NODEVICE when the devices were found gone, CANNOTRUN when a device could
    // not be set up; a hang is killed and fails.
    EXPECT_TRUE(run.status == 2 || run.status == 4) << output;
    EXPECT_TRUE(std::regex_search(output, std::regex("FrequencyToneTest: (NODEVICE|CANNOTRUN)")))
        << output;
    const std::string message = "lost the connection to the PulseAudio server";
    ASSERT_NE(output.find(message), std::string::npos) << output;
    EXPECT_EQ(output.find(message), output.rfind(message)) << "said once:\n" << output;
}

TEST(PulseOwnDaemon, AFrozenServerEndsTheRunCannotRunWithOneClearLineInsteadOfHanging) {
    const kvo::test::TempDirectory base;
    PulseTestServer server;
    ASSERT_TRUE(server.running());
    server.freeze();
    for (const std::string& arguments :
         std::vector<std::string>{"devices --audio pulse",
                                  "run FrequencyToneTest --param FrequencyList=440 --audio pulse "
                                  "--base-dir " +
                                      base.path()}) {
        int status = -1;
        // The limit only turns a hang into a failure; each wait ends within seconds.
        const std::string output = runCommand(
            "timeout -s KILL 60 " + std::string(KVO_PROGRAM) + " " + arguments + " 2>&1", &status);
        EXPECT_EQ(status, 4) << arguments << ": " << output;
        EXPECT_NE(output.find("the audio server stopped answering"), std::string::npos) << output;
        EXPECT_EQ(output.find("No integrated microphone"), std::string::npos) << output;
    }
}

TEST(PulseOwnDaemon, NoServerIsOneLineNamingTheSimulatedPc) {
    const kvo::test::TempDirectory base;
    int status = 0;
    const std::string output =
        runCommand("PULSE_SERVER=unix:" + base.path() + "/none timeout 60 " +
                       std::string(KVO_PROGRAM) + " devices --audio pulse 2>&1",
                   &status);
    EXPECT_EQ(status, 4) << output;  // CANNOTRUN
    EXPECT_NE(output.find("--audio sim"), std::string::npos) << output;
    EXPECT_EQ(output.find('\n'), output.size() - 1) << output;
}

}  // namespace
}  // namespace audio::pulse
