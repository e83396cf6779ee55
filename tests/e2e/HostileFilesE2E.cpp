// The program among files it did not make: links, FIFOs, devices, full disks,
// settings it must not repeat. It writes only inside its base folder, never
// through a link, never waits on a file that is not a regular one, and ends
// with a defined result and one line for every one of them.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "ProgramRun.hpp"

namespace kvo::test {
namespace {

namespace fs = std::filesystem;

const std::vector<std::string> kTones{
    "run", "FrequencyToneTest", "--param", "FrequencyList=440,1000", "--audio", "sim", "--json"};

std::vector<std::string> tonesIn(const TempDirectory& base, std::vector<std::string> extra = {}) {
    std::vector<std::string> arguments = kTones;
    arguments.insert(arguments.end(), {"--base-dir", base.file("base")});
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    return arguments;
}

std::string logs(const TempDirectory& base) {
    return base.file("base/logs");
}

bool isPlainFile(const std::string& path) {
    return fs::is_regular_file(fs::symlink_status(path));
}

void makeFifo(const std::string& path) {
    fs::create_directories(fs::path(path).parent_path());
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0) << path;
}

TEST(HostileFilesE2E, RecordingsReplaceLinksInLogsAndNeverWriteThroughThem) {
    TempDirectory base;
    fs::create_directories(logs(base));
    const std::string outside = base.write("precious.txt", "precious");
    // 440.wav links to a file outside, 1000.wav is a dangling link to a place outside.
    fs::create_symlink(outside, logs(base) + "/440.wav");
    fs::create_symlink(base.file("created-outside.wav"), logs(base) + "/1000.wav");

    const ProgramRun run = runProgram(
        tonesIn(base, {"--setting", kSaveRecordings, "--report", base.file("report.json")}), base);

    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(readWholeFile(outside), "precious");
    EXPECT_FALSE(fs::exists(fs::symlink_status(base.file("created-outside.wav"))));
    for (const char* name : {"440.wav", "1000.wav"}) {
        EXPECT_TRUE(isPlainFile(logs(base) + "/" + name)) << name;
        EXPECT_EQ(readWholeFile(logs(base) + "/" + name).substr(0, 4), "RIFF") << name;
    }
    const nlohmann::json& files = run.report["tests"][0]["files"];
    ASSERT_EQ(files.size(), 2u) << files.dump();
    EXPECT_EQ(files[0]["path"], logs(base) + "/1000.wav");
    EXPECT_EQ(files[1]["path"], logs(base) + "/440.wav");
}

TEST(HostileFilesE2E, ALinkedOrHardLinkedLogFileOrLogDirectoryIsRefusedBeforeAnyTest) {
    for (const std::string what : {"symbolic link", "hard link", "linked logs directory"}) {
        SCOPED_TRACE(what);
        TempDirectory base;
        const std::string outside = base.write("outside.log", "someone else's\n");
        fs::create_directories(base.file("base"));
        if (what == "linked logs directory") {
            fs::create_directories(base.file("elsewhere"));
            fs::create_directory_symlink(base.file("elsewhere"), logs(base));
        } else if (fs::create_directories(logs(base)); what == "hard link") {
            fs::create_hard_link(outside, logs(base) + "/kvormicrophone.log");
        } else {
            fs::create_symlink(outside, logs(base) + "/kvormicrophone.log");
        }
        const ProgramRun run = runProgram(tonesIn(base), base);

        EXPECT_EQ(run.exitCode, 4);
        EXPECT_TRUE(run.linesOf("start").empty());
        EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
        EXPECT_EQ(readWholeFile(outside), "someone else's\n");
        EXPECT_TRUE(!fs::exists(base.file("elsewhere")) || fs::is_empty(base.file("elsewhere")));
    }
}

TEST(HostileFilesE2E, FifosAndDevicesAreRefusedWithoutWaitingOrReadingForEver) {
    struct Case {
        const char* file;
        bool fifo;  // else a link to /dev/zero
        int exitCode;
        const char* message;
    };
    for (const Case& c : {Case{"base/kvormicrophone.ini", true, 5, "not a regular file"},
                          Case{"base/kvormicrophone.ini", false, 5, "not a regular file"},
                          Case{"base/logs/kvormicrophone.log", true, 4, "kvormicrophone.log"},
                          Case{"machine.json", true, 5, "not a regular file"},
                          Case{"machine.json", false, 5, "not a regular file"}}) {
        SCOPED_TRACE(std::string(c.file) + (c.fifo ? " as a FIFO" : " as /dev/zero"));
        TempDirectory base;
        if (std::string(c.file) != "machine.json") {
            fs::copy_file(scenarioFile("healthy-laptop"), base.file("machine.json"));
        }
        if (c.fifo) {
            makeFifo(base.file(c.file));
        } else {
            fs::create_directories(fs::path(base.file(c.file)).parent_path());
            fs::create_symlink("/dev/zero", base.file(c.file));
        }
        const ProgramRun run =
            runProgram(tonesIn(base, {"--machine", base.file("machine.json")}), base);
        EXPECT_EQ(run.exitCode, c.exitCode) << run.errors;
        EXPECT_NE(run.errors.find(c.message), std::string::npos) << run.errors;
        EXPECT_TRUE(run.linesOf("start").empty());
    }
}

TEST(HostileFilesE2E, AFifoInPlaceOfThePreVistaRecordingIsRefusedWithoutHanging) {
    TempDirectory base;
    fs::create_directories(base.file("tmp"));
    ASSERT_EQ(::mkfifo(base.file("tmp/kvorecord.wav").c_str(), 0600), 0);

    const ProgramRun run = runProgram(
        {"run", "MicrophoneTest", "--audio", "sim", "--machine", scenarioFile("windows-xp"), "--ui",
         "scripted", "--answer", "pass", "--json", "--base-dir", base.file("base")},
        base, "TMPDIR=" + base.file("tmp"));

    EXPECT_NE(run.exitCode, 124) << "the run hung";
    EXPECT_NE(run.exitCode, 0);
    EXPECT_FALSE(run.events("MSG_FILE_NOT_SAVED").empty()) << run.out;
    EXPECT_TRUE(fs::is_fifo(base.file("tmp/kvorecord.wav")));
}

TEST(HostileFilesE2E, AnUnwritableReportIsRefusedBeforeTheTestsRun) {
    for (const auto& [option, report] :
         {std::pair<std::string, std::string>{"--report", "/dev/full"},
          {"--report", "/nonexistent-directory/report.json"},
          {"--html", "/dev/full"},
          {"--html", "/nonexistent-directory/report.html"},
          {"--junit", "/nonexistent-directory/junit.xml"}}) {
        TempDirectory base;
        const ProgramRun run = runProgram(tonesIn(base, {option, report}), base);

        EXPECT_EQ(run.exitCode, 4) << report;
        EXPECT_TRUE(run.linesOf("start").empty()) << report;
        EXPECT_EQ(run.errors.rfind("kvormicrophone: cannot write the report file " + report, 0), 0u)
            << run.errors;
        EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
        EXPECT_FALSE(fs::exists(logs(base) + "/kvormicrophone.log")) << report;
    }
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST(HostileFilesE2E, AFullDiskEndsCannotRunWithOneLineInsteadOfPassingWithEmptyFiles) {
    TempDirectory base;
    // A file size limit makes every write beyond 16 KiB fail as a full disk would.
    const ProgramRun run = runProgram(tonesIn(base, {"--setting", kSaveRecordings}), base,
                                      "trap '' XFSZ; ulimit -f 16;");

    EXPECT_EQ(run.exitCode, 4) << run.out;
    EXPECT_NE(run.errors.find("cannot write"), std::string::npos) << run.errors;
    for (const nlohmann::json& result : run.linesOf("result")) {
        EXPECT_EQ(result["result"], "CANNOTRUN");
    }
    // Nothing half-written is left under the recording's name.
    EXPECT_FALSE(fs::exists(logs(base) + "/440.wav"));
}

TEST(HostileFilesE2E, ASecondRunOnTheSameBaseFolderIsRefusedWhileTheFirstHoldsIt) {
    TempDirectory base;
    fs::create_directories(logs(base));
    // The hold a running instance has on the folder.
    const int held = ::open((logs(base) + "/kvormicrophone.lock").c_str(), O_RDWR | O_CREAT, 0644);
    ASSERT_GE(held, 0);
    ASSERT_EQ(::flock(held, LOCK_EX | LOCK_NB), 0);

    const ProgramRun refused = runProgram(tonesIn(base), base);
    ::close(held);
    const ProgramRun after = runProgram(tonesIn(base), base);

    EXPECT_EQ(refused.exitCode, 4);
    EXPECT_TRUE(refused.linesOf("start").empty());
    EXPECT_EQ(refused.errors,
              "kvormicrophone: another run is using the base folder " + base.file("base") + "\n");
    EXPECT_EQ(after.exitCode, 0) << after.errors;
}

TEST(HostileFilesE2E, ALinkedSettingsFileNeverHasItsContentEchoed) {
    TempDirectory base;
    const std::string secret =
        base.write("shadow", "root:$6$saltsalt$hashhashhash:19000:0:99999:7:::\nkey=v\n");
    fs::create_directories(base.file("base"));
    fs::create_symlink(secret, base.file("base/kvormicrophone.ini"));

    const ProgramRun run = runProgram(tonesIn(base), base);

    EXPECT_EQ(run.exitCode, 5);
    EXPECT_NE(run.errors.find("kvormicrophone.ini:1:"), std::string::npos) << run.errors;
    EXPECT_EQ(run.errors.find("root"), std::string::npos) << run.errors;
    EXPECT_EQ(run.errors.find("$6$"), std::string::npos) << run.errors;
}

// Someone cleans up logs/ while the tones play: the recordings that follow go
// to a logs/ made again inside the base folder, never to the root of the drive.
TEST(HostileFilesE2E, LogsRemovedDuringARunAreMadeAgainInsideTheBaseFolder) {
    const TempDirectory base;
    ASSERT_FALSE(fs::exists("/1500.wav")) << "left over from elsewhere";
    const std::string command =
        std::string(KVO_PROGRAM) +
        " run FrequencyToneTest --param FrequencyList=1234,1500 --audio sim "
        "--realtime --machine " KVO_SCENARIOS
        "/dead-microphone.json "
        "--base-dir " +
        base.file("base") + " 2>&1";
    FILE* program = ::popen(command.c_str(), "r");
    ASSERT_NE(program, nullptr);
    std::string output;
    char line[1024];
    bool removed = false;
    while (std::fgets(line, sizeof line, program) != nullptr) {
        output += line;
        // The first tone's recording is saved; the second tone is still to be heard.
        if (!removed && output.find("Playing a 1500 Hz tone") != std::string::npos) {
            fs::remove_all(logs(base));
            removed = true;
        }
    }
    const int status = ::pclose(program);
    ASSERT_TRUE(removed) << output;
    ASSERT_TRUE(WIFEXITED(status)) << output;
    EXPECT_EQ(WEXITSTATUS(status), 1) << "the dead microphone still fails\n" << output;
    EXPECT_TRUE(isPlainFile(logs(base) + "/1500.wav")) << output;
    EXPECT_FALSE(fs::exists("/1500.wav"));
    EXPECT_FALSE(fs::exists(base.file("1500.wav")));
}

}  // namespace
}  // namespace kvo::test
