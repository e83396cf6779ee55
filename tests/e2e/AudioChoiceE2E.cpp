#include <sys/wait.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/audio/Backends.hpp"
#include "support/TempDirectory.hpp"

// The program's choice of audio system comes from the backend table: the
// names it accepts, the refusal of others and its help.

namespace kvo::test {
namespace {

struct Output {
    int exitCode = -1;
    std::string out;
    std::string err;
};

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

Output runProgram(const std::string& arguments) {
    const TempDirectory base;
    const std::string command = std::string("'") + KVO_PROGRAM + "' " + arguments + " > '" +
                                base.file("out.txt") + "' 2> '" + base.file("err.txt") + "'";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(base.file("out.txt")),
            readFile(base.file("err.txt"))};
}

constexpr int kBadParams = 5;

TEST(AudioChoice, AnUnknownAudioSystemIsRefusedWithOneLineNamingThisBuildsBackends) {
    for (const std::string command : {"devices", "run MicrophoneTest"}) {
        const Output run = runProgram(command + " --audio nosuch");
        EXPECT_EQ(run.exitCode, kBadParams) << command;
        EXPECT_EQ(run.out, "") << command;
        ASSERT_FALSE(run.err.empty()) << command;
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << "one line: " << run.err;
        EXPECT_NE(run.err.find("nosuch"), std::string::npos) << run.err;
        EXPECT_NE(run.err.find("available here: " + audio::backendNames() + ")"), std::string::npos)
            << run.err;
    }
}

TEST(AudioChoice, HelpListsEveryBackendWithItsDescriptionDefaultFirst) {
    const Output help = runProgram("--help");
    EXPECT_EQ(help.exitCode, 0);
    std::size_t previous = 0;
    for (const audio::Backend& backend : audio::backends()) {
        const std::size_t line = help.out.find(std::string("  ") + backend.name + " ");
        ASSERT_NE(line, std::string::npos) << backend.name << "\n" << help.out;
        EXPECT_NE(help.out.find(backend.description, line), std::string::npos) << backend.name;
        EXPECT_GT(line, previous) << "table order: " << backend.name;
        previous = line;
    }
}

TEST(AudioChoice, AMachineFileNeedsABackendThatTakesOne) {
    for (const audio::Backend& backend : audio::backends()) {
        if (backend.takesMachineFile) {
            continue;
        }
        const Output run =
            runProgram(std::string("devices --audio ") + backend.name + " --machine m.json");
        EXPECT_EQ(run.exitCode, 5) << backend.name << ": a command-line error, BADPARAMS";
        EXPECT_NE(run.err.find("--machine describes a simulated PC; it needs --audio sim"),
                  std::string::npos)
            << run.err;
    }
}

}  // namespace
}  // namespace kvo::test
