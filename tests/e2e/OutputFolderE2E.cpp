#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "ShellRun.hpp"

namespace kvo::test {
namespace {

const std::vector<std::string> kSavedTones{
    "run",       "FrequencyToneTest",
    "--audio",   "sim",
    "--param",   "FrequencyList=440,1000",
    "--setting", "kvormicrophone.GenerateRecording.value=true"};

// A user's folder with their own recording in logs/, where they start the program.
struct UsersFolder {
    TempDirectory home;
    TempDirectory scratch;
    UsersFolder() {
        std::filesystem::create_directories(home.file("work/logs"));
        std::ofstream(home.file("work/logs/interview.wav")) << "the user's own recording";
    }
    ShellRun run(const std::vector<std::string>& arguments,
                 const std::vector<std::string>& environment) const {
        return runProgram(arguments, environment, home.file("work"), scratch);
    }
};

TEST(OutputFolderE2E, WithoutBaseDirARunWritesToTheStateFolderAndLeavesTheCurrentFolderAlone) {
    UsersFolder user;
    const std::string state = user.home.file("state");
    const ShellRun run = user.run(kSavedTones, {"XDG_STATE_HOME=" + state});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(readWholeFile(user.home.file("work/logs/interview.wav")), "the user's own recording");
    EXPECT_EQ(std::filesystem::directory_iterator(user.home.file("work/logs"))->path().filename(),
              "interview.wav");
    const std::string logs = state + "/kvormicrophone/logs";
    for (const char* file : {"kvormicrophone.log", "440.wav", "1000.wav"}) {
        EXPECT_TRUE(std::filesystem::is_regular_file(logs + "/" + file)) << file;
    }
    ASSERT_FALSE(run.outLines().empty());
    EXPECT_EQ(run.outLines().back(), "Log: " + logs + "/kvormicrophone.log   Recordings: " + logs);
}

TEST(OutputFolderE2E, WithoutAnAbsoluteXdgStateHomeTheFolderIsUnderHome) {
    for (const std::string& xdg :
         {std::string("-u XDG_STATE_HOME"), std::string("XDG_STATE_HOME=relative/state")}) {
        UsersFolder user;
        const ShellRun run = user.run(kSavedTones, {"HOME=" + user.home.path(), xdg});
        EXPECT_EQ(run.exitCode, 0) << xdg << run.errors;
        EXPECT_TRUE(std::filesystem::is_regular_file(
            user.home.file(".local/state/kvormicrophone/logs/440.wav")))
            << xdg;
        EXPECT_FALSE(std::filesystem::exists(user.home.file("work/relative"))) << xdg;
    }
}

TEST(OutputFolderE2E, WithNoPerUserFolderTheRunCannotRunAndAsksForBaseDir) {
    UsersFolder user;
    const ShellRun run = user.run(kSavedTones, {"-u XDG_STATE_HOME", "-u HOME"});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_NE(run.errors.find("--base-dir"), std::string::npos) << run.errors;
}

TEST(OutputFolderE2E, BaseDirOverridesTheStateFolderAndJsonEndsWithWhereTheFilesAre) {
    UsersFolder user;
    std::vector<std::string> arguments = kSavedTones;
    arguments.insert(arguments.end(), {"--json", "--base-dir", user.home.file("chosen")});
    const ShellRun run = user.run(arguments, {"XDG_STATE_HOME=" + user.home.file("state")});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_FALSE(std::filesystem::exists(user.home.file("state")));
    ASSERT_FALSE(run.outLines().empty());
    const nlohmann::json last = nlohmann::json::parse(run.outLines().back());
    EXPECT_EQ(last["type"], "files");
    EXPECT_EQ(last["log"], user.home.file("chosen/logs/kvormicrophone.log"));
    EXPECT_EQ(last["recordings"], user.home.file("chosen/logs"));
    EXPECT_TRUE(std::filesystem::is_regular_file(user.home.file("chosen/logs/1000.wav")));
}

}  // namespace
}  // namespace kvo::test
