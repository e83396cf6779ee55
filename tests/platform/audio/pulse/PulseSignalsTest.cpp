#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "PulseTestServer.hpp"
#include "support/TempDirectory.hpp"

// The user's levels on a private PulseAudio daemon around runs that end in
// unusual ways: Ctrl-C, a closed terminal, a second Ctrl-C, output piped into a program
// that stops reading, levels no percentage can say, a server that stops answering.

namespace audio::pulse {
namespace {

using test::PulseTestServer;

// Whether the program records: the levels are raised by then.
bool recording(const PulseTestServer& server) {
    return !server.pactl("list short source-outputs").empty();
}

struct Ended {
    int exitCode = -1;
    std::string output;
};

// Runs the tone test through `sh -c`; the shell prints its process id first and
// then becomes the program. Once the test records, `signals` are sent to it one
// after the other.
Ended runAndSignal(const kvo::test::TempDirectory& base, const PulseTestServer& server,
                   const std::vector<int>& signals) {
    const std::string command =
        "echo $$; exec " + std::string(KVO_PROGRAM) +
        " run FrequencyToneTest --param FrequencyList=440,1000,2000 --audio pulse --base-dir " +
        base.path() + " 2>&1";
    FILE* program = popen(("timeout -s KILL 120 sh -c '" + command + "'").c_str(), "r");
    Ended ended;
    if (program == nullptr) {
        return ended;
    }
    char line[1024];
    pid_t pid = 0;
    bool signalled = false;
    while (std::fgets(line, sizeof line, program) != nullptr) {
        if (pid == 0) {
            pid = static_cast<pid_t>(std::stol(line));
            continue;
        }
        ended.output += line;
        if (!signalled && ended.output.find("Playing a 440 Hz tone") != std::string::npos) {
            for (int tries = 0; tries < 1000 && !recording(server); ++tries) {
                usleep(5000);
            }
            for (const int signal : signals) {
                ::kill(pid, signal);
            }
            signalled = true;
        }
    }
    const int status = pclose(program);
    ended.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return ended;
}

class PulseSignalsTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(server_.running());
        // The user's levels: speaker low, integrated microphone muted at a low level.
        server_.pactl("set-sink-volume int_speaker 45%");
        server_.pactl("set-source-volume int_mic 30%");
        server_.pactl("set-source-mute int_mic 1");
        before_ = server_.levels();
    }

    PulseTestServer server_;
    kvo::test::TempDirectory base_;
    std::string before_;
};

// Ctrl-C, a closed terminal, and a second Ctrl-C that must not cut the restore short.
TEST_F(PulseSignalsTest, ASignalWhileAToneIsRecordedIsUserAbortedWithTheLevelsBackAndNothingSaved) {
    for (const std::vector<int>& signals :
         {std::vector<int>{SIGINT}, std::vector<int>{SIGHUP}, std::vector<int>{SIGINT, SIGINT}}) {
        const std::string what =
            "signal " + std::to_string(signals[0]) + " x" + std::to_string(signals.size());
        const Ended ended = runAndSignal(base_, server_, signals);
        EXPECT_EQ(ended.exitCode, 6) << what << "\n" << ended.output;
        EXPECT_EQ(server_.levels(), before_) << what;
        if (signals.size() == 1) {
            EXPECT_NE(ended.output.find("FrequencyToneTest: USERABORTED"), std::string::npos)
                << what << "\n"
                << ended.output;
            EXPECT_EQ(ended.output.find("not heard"), std::string::npos) << what;
            EXPECT_FALSE(std::ifstream(base_.file("logs/440.wav")).good()) << what;
        }
    }
}

TEST_F(PulseSignalsTest, OutputIntoAPipeNobodyReadsStopsTheRunAndPutsTheLevelsBack) {
    // `head` leaves after three lines; the program's next write meets a closed pipe.
    const std::string status = base_.path() + "/status";
    const std::string command = "{ timeout -s KILL 120 " + std::string(KVO_PROGRAM) +
                                " run FrequencyToneTest --param FrequencyList=440,1000,2000 "
                                "--audio pulse --base-dir " +
                                base_.path() + "; echo $? > " + status + "; } | head -n 3";
    const std::string output = test::runCommand(command);
    EXPECT_EQ(base_.read("status"), "6\n") << output;
    EXPECT_EQ(server_.levels(), before_) << output;
}

TEST_F(PulseSignalsTest, LevelsAbove100PercentAndChannelBalanceComeBackExactly) {
    server_.pactl("set-sink-volume int_speaker 150%");
    server_.pactl("set-source-volume int_mic 25% 50%");
    server_.pactl("set-source-mute int_mic 0");
    const std::string before = server_.levels();
    ASSERT_NE(before.find("150%"), std::string::npos) << before;

    for (const std::string& test : std::vector<std::string>{
             "FrequencyToneTest --param FrequencyList=440", "IntegratedMicrophoneTest"}) {
        int status = -1;
        const std::string output =
            test::runCommand("timeout -s KILL 120 " + std::string(KVO_PROGRAM) + " run " + test +
                                 " --audio pulse --base-dir " + base_.path() + " 2>&1",
                             &status);
        EXPECT_GE(status, 0) << output;
        EXPECT_EQ(server_.levels(), before) << test << "\n" << output;
    }
}

TEST_F(PulseSignalsTest, AFrozenServerEndsTheRunCannotRunWithOneClearLineInsteadOfHanging) {
    server_.freeze();
    for (const std::string& arguments :
         std::vector<std::string>{"devices --audio pulse",
                                  "run FrequencyToneTest --param FrequencyList=440 --audio pulse "
                                  "--base-dir " +
                                      base_.path()}) {
        int status = -1;
        // The limit only turns a hang into a failure; each wait ends within seconds.
        const std::string output = test::runCommand(
            "timeout -s KILL 60 " + std::string(KVO_PROGRAM) + " " + arguments + " 2>&1", &status);
        EXPECT_EQ(status, 4) << arguments << ": " << output;
        EXPECT_NE(output.find("the audio server stopped answering"), std::string::npos) << output;
        EXPECT_EQ(output.find("No integrated microphone"), std::string::npos) << output;
    }
}

}  // namespace
}  // namespace audio::pulse
