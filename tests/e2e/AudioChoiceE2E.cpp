#include <gtest/gtest.h>

#include <string>

#include "ShellRun.hpp"
#include "platform/audio/Backends.hpp"

// The program's choice of audio system comes from the backend table: the
// names it accepts, the refusal of others and its help.

namespace kvo::test {
namespace {

ShellRun run(const std::vector<std::string>& arguments) {
    const TempDirectory scratch;
    return runProgram(arguments, {}, scratch.path(), scratch);
}

constexpr int kBadParams = 5;

TEST(AudioChoice, AnUnknownAudioSystemIsRefusedWithOneLineNamingThisBuildsBackends) {
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"devices"}, {"run", "MicrophoneTest"}}) {
        std::vector<std::string> arguments = command;
        arguments.insert(arguments.end(), {"--audio", "nosuch"});
        const ShellRun refused = run(arguments);
        EXPECT_EQ(refused.exitCode, kBadParams) << command[0];
        EXPECT_EQ(refused.out, "") << command[0];
        ASSERT_FALSE(refused.errors.empty()) << command[0];
        EXPECT_EQ(refused.errors.find('\n'), refused.errors.size() - 1) << refused.errors;
        EXPECT_NE(refused.errors.find("nosuch"), std::string::npos) << refused.errors;
        EXPECT_NE(refused.errors.find("available here: " + audio::backendNames() + ")"),
                  std::string::npos)
            << refused.errors;
    }
}

TEST(AudioChoice, HelpListsEveryBackendWithItsDescriptionDefaultFirst) {
    const ShellRun help = run({"--help"});
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
        const ShellRun refused = run({"devices", "--audio", backend.name, "--machine", "m.json"});
        EXPECT_EQ(refused.exitCode, 5) << backend.name << ": a command-line error, BADPARAMS";
        EXPECT_NE(refused.errors.find("--machine describes a simulated PC; it needs --audio sim"),
                  std::string::npos)
            << refused.errors;
    }
}

}  // namespace
}  // namespace kvo::test
