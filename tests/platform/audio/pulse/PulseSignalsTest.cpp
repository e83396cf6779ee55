#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <regex>
#include <string>
#include <vector>

#include "PulseTestServer.hpp"
#include "support/TempDirectory.hpp"

// The user's levels on a private PulseAudio daemon around runs that end in
// unusual ways: a closed terminal, a second Ctrl-C, output piped into a program
// that stops reading, levels no percentage can say, a server that stops answering.

namespace audio::pulse {
namespace {

using test::PulseTestServer;

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
        before_ = levels(server_);
    }

    PulseTestServer server_;
    kvo::test::TempDirectory base_;
    std::string before_;
};

TEST_F(PulseSignalsTest, AClosedTerminalStopsTheRunAndPutsTheLevelsBack) {
    const Ended ended = runAndSignal(base_, server_, {SIGHUP});
    EXPECT_EQ(ended.exitCode, 6) << ended.output;
    EXPECT_NE(ended.output.find("FrequencyToneTest: USERABORTED"), std::string::npos)
        << ended.output;
    EXPECT_EQ(levels(server_), before_);
}

TEST_F(PulseSignalsTest, ASecondCtrlCStillPutsTheLevelsBackBeforeTheProcessEnds) {
    const Ended ended = runAndSignal(base_, server_, {SIGINT, SIGINT});
    EXPECT_EQ(ended.exitCode, 6) << ended.output;
    EXPECT_EQ(levels(server_), before_);
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
    EXPECT_EQ(levels(server_), before_) << output;
}

TEST_F(PulseSignalsTest, LevelsAbove100PercentAndChannelBalanceComeBackExactly) {
    server_.pactl("set-sink-volume int_speaker 150%");
    server_.pactl("set-source-volume int_mic 25% 50%");
    server_.pactl("set-source-mute int_mic 0");
    const std::string before = levels(server_);
    ASSERT_NE(before.find("150%"), std::string::npos) << before;

    for (const std::string& test : std::vector<std::string>{
             "FrequencyToneTest --param FrequencyList=440", "IntegratedMicrophoneTest"}) {
        int status = -1;
        const std::string output =
            test::runCommand("timeout -s KILL 120 " + std::string(KVO_PROGRAM) + " run " + test +
                                 " --audio pulse --base-dir " + base_.path() + " 2>&1",
                             &status);
        EXPECT_GE(status, 0) << output;
        EXPECT_EQ(levels(server_), before) << test << "\n" << output;
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
