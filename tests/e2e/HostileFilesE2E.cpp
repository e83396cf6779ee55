// The program among files it did not make: links, FIFOs, devices, full disks,
// settings it must not repeat. It writes only inside its base folder, never
// through a link, never waits on a file that is not a regular one, and ends
// with a defined result and one line for every one of them.

#include <gtest/gtest.h>
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

// What the test puts in place of a file the run reads or writes.
enum class Put { Nothing, LinkOut, HardLinkOut, LinkedFolder, Fifo, DevZero, HeldLock };

void put(Put what, const TempDirectory& base, const std::string& file, const std::string& outside) {
    fs::create_directories(fs::path(base.file(file)).parent_path());
    const std::string path = base.file(file);
    if (what == Put::Fifo) {
        makeFifo(path);
    } else if (what == Put::HardLinkOut) {
        fs::create_hard_link(outside, path);
    } else if (what == Put::LinkedFolder) {
        fs::create_directories(base.file("elsewhere"));
        fs::create_directory_symlink(base.file("elsewhere"), path);
    } else if (what == Put::LinkOut || what == Put::DevZero) {
        fs::create_symlink(what == Put::DevZero ? "/dev/zero" : outside, path);
    }  // a held lock is held by the shell the run starts from
}

// Each refused before any test with one line and a defined result, the file outside untouched
// and never quoted.
TEST(HostileFilesE2E, FilesItMustNotUseAreRefusedBeforeAnyTestWithOneLine) {
    struct Case {
        const char* file;
        Put what;
        std::vector<std::string> extra;
        int exitCode;
        std::string says;
    };
    const std::string log = "base/logs/kvormicrophone.log";
    const std::string ini = "base/kvormicrophone.ini";
    const std::vector<std::string> machine{"--machine", "machine.json"};
    const std::string nowhere = "/nonexistent-directory/report";
    const std::string cannot = "kvormicrophone: cannot write the report file ";
    for (const Case& c : std::vector<Case>{
             {log.c_str(), Put::LinkOut, {}, 4, "kvormicrophone.log"},
             {log.c_str(), Put::HardLinkOut, {}, 4, "kvormicrophone.log"},
             {log.c_str(), Put::Fifo, {}, 4, "kvormicrophone.log"},
             {"base/logs", Put::LinkedFolder, {}, 4, "logs"},
             {ini.c_str(), Put::Fifo, {}, 5, "not a regular file"},
             {ini.c_str(), Put::DevZero, {}, 5, "not a regular file"},
             // Its first line is not a setting: the complaint names the line, never its text.
             {ini.c_str(), Put::LinkOut, {}, 5, "kvormicrophone.ini:1:"},
             {"machine.json", Put::Fifo, machine, 5, "not a regular file"},
             {"machine.json", Put::DevZero, machine, 5, "not a regular file"},
             {"", Put::Nothing, {"--report", "/dev/full"}, 4, cannot + "/dev/full"},
             {"", Put::Nothing, {"--report", nowhere + ".json"}, 4, cannot + nowhere + ".json"},
             {"", Put::Nothing, {"--html", "/dev/full"}, 4, cannot + "/dev/full"},
             {"", Put::Nothing, {"--html", nowhere + ".html"}, 4, cannot + nowhere + ".html"},
             {"", Put::Nothing, {"--junit", nowhere + ".xml"}, 4, cannot + nowhere + ".xml"},
             {"base/logs/x",
              Put::HeldLock,
              {},
              4,
              "kvormicrophone: another run is using the base folder "},
         }) {
        SCOPED_TRACE(std::string(c.file) + " " + std::to_string(static_cast<int>(c.what)));
        TempDirectory base;
        const std::string secret = "root:$6$saltsalt$hashhashhash:19000:0:99999:7:::\nkey=v\n";
        const std::string outside = base.write("outside", secret);
        put(c.what, base, c.file, outside);
        // The hold a running instance has on the folder.
        const std::string hold =
            c.what == Put::HeldLock ? "exec 9>base/logs/kvormicrophone.lock && flock -n 9 &&" : "";
        const ProgramRun run =
            runProgram(tonesIn(base, c.extra), base, "cd " + base.path() + " && " + hold);

        EXPECT_EQ(run.exitCode, c.exitCode) << run.errors;
        EXPECT_TRUE(run.linesOf("start").empty());
        EXPECT_EQ(textLines(run.errors).size(), 1u) << run.errors;
        EXPECT_NE(run.errors.find(c.says), std::string::npos) << run.errors;
        EXPECT_EQ(run.errors.find("$6$"), std::string::npos) << run.errors;
        EXPECT_EQ(readWholeFile(outside), secret);
        EXPECT_TRUE(!fs::exists(base.file("elsewhere")) || fs::is_empty(base.file("elsewhere")));
        if (c.what == Put::Nothing) {  // a report it cannot write is known before the log
            EXPECT_FALSE(fs::exists(logs(base) + "/kvormicrophone.log"));
        }
    }
    // The lock file an ended run leaves holds nobody back.
    TempDirectory base;
    fs::create_directories(logs(base));
    base.write("base/logs/kvormicrophone.lock", "");
    EXPECT_EQ(runProgram(tonesIn(base), base).exitCode, 0);
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
