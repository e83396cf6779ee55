// Runs the real program on simulated PCs and reads its --json output.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "e2e/ShellRun.hpp"
#include "platform/audio/WaveFile.hpp"

namespace {

struct ProgramResult {
    int exitCode = -1;
    std::vector<nlohmann::json> lines;
    std::string errors;

    bool has(const std::string& type, const std::string& field, const std::string& value,
             const std::string& severity = "") const {
        return std::any_of(lines.begin(), lines.end(), [&](const nlohmann::json& line) {
            return line.value("type", "") == type &&
                   line.value(field, "").find(value) != std::string::npos &&
                   line.value("severity", "") == severity;
        });
    }
    bool hasEvent(const std::string& key, const std::string& severity) const {
        return has("event", "key", key, severity);
    }
    bool hasNote(const std::string& text) const { return has("note", "text", text); }
    std::string result() const {
        for (const auto& line : lines) {
            if (line.value("type", "") == "run") {
                return line.value("result", "");
            }
        }
        return "";
    }
};

class MicrophoneTestEndToEnd : public testing::Test {
protected:
    // Runs kvormicrophone in the temporary directory, which is also its TMPDIR,
    // with nothing on standard input.
    ProgramResult run(const std::string& arguments) {
        std::vector<std::string> words{"run",    "MicrophoneTest", "--audio",  "sim",
                                       "--json", "--base-dir",     dir_.path()};
        std::istringstream extra(arguments);
        for (std::string word; extra >> word;) {
            words.push_back(word);
        }
        const kvo::test::ShellRun shell =
            kvo::test::runProgram(words, {"TMPDIR=" + dir_.path()}, dir_.path(), scratch_);
        ProgramResult result{shell.exitCode, {}, shell.errors};
        for (const std::string& line : shell.outLines()) {
            result.lines.push_back(nlohmann::json::parse(line));
        }
        return result;
    }
    static std::string scenario(const std::string& name) {
        return "--machine " + std::string(KVO_SCENARIO_DIR) + "/" + name;
    }
    kvo::test::TempDirectory dir_;
    kvo::test::TempDirectory scratch_;
};

// Whatever the machine, the answer given where it is offered is the result, and
// only FAIL raises TestFailed, as an error. What a machine shows besides (notes,
// the unplug warning, the pre-Vista recording) is checked in the same run, and
// its absence on the other machines.
TEST_F(MicrophoneTestEndToEnd, TheAnswerIsTheResultOnEveryMachineWithWhatThatMachineShows) {
    struct Case {
        std::string machine;
        std::string arguments;
        int exitCode;
        const char* result;
        std::string note = "";
        std::string absentNote = "";
    };
    const std::string fail = "--ui scripted --answer fail";
    const std::string prompt = "--param bPromptEnable=true " + fail;
    const std::string inUse = "The recording device is in use.";
    const std::string noInput = "No input device was detected";
    const std::string noOutput = "No output device was detected";
    for (const Case& c : {
             Case{"", "--ui scripted --answer pass", 0, "PASS", "", inUse},
             Case{"", fail, 1, "FAIL"},
             Case{"", "--answer cancel", 6, "USERABORTED"},  // picks the scripted front end
             Case{"", "", 6, "USERABORTED"},  // no terminal, no answer: nobody is there
             Case{"", prompt, 1, "FAIL", "", "was detected"},
             Case{"windows-vista.json", fail, 1, "FAIL"},
             // Without a microphone the dialog still opens and the person decides; the
             // prompt naming the missing device needs bPromptEnable.
             Case{"no-microphone.json", fail, 1, "FAIL", "", noInput},
             Case{"no-microphone.json", "--ui scripted --answer cancel", 6, "USERABORTED"},
             Case{"no-microphone.json", prompt, 1, "FAIL",
                  "[Microphone Test] " + noInput + ". Connect a microphone and press OK.",
                  noOutput},
             Case{"no-speaker.json", prompt, 1, "FAIL", "[Microphone Test] " + noOutput + ".",
                  noInput},
             // Recording refused once: tried again after the message, then recorded and played.
             Case{"capture-fails-once.json", "--ui scripted --answer pass", 0, "PASS", inUse},
             // Refused twice, or nothing to play on: Fail is still offered.
             Case{"capture-fails-twice.json", fail, 1, "FAIL"},
             Case{"no-speaker.json", fail, 1, "FAIL"},
             // The microphone array goes at 2.5 s, within the first three-second recording.
             Case{"unplug-during-run.json", fail, 1, "FAIL",
                  "[Microphone Test] Audio devices were added or removed"},
             Case{"windows-xp.json", fail, 1, "FAIL"},
         }) {
        SCOPED_TRACE(c.machine + " " + c.arguments);
        const ProgramResult run =
            this->run((c.machine.empty() ? "" : scenario(c.machine) + " ") + c.arguments);
        EXPECT_EQ(run.exitCode, c.exitCode) << run.errors;
        EXPECT_EQ(run.result(), c.result);
        EXPECT_EQ(run.hasEvent("TestFailed", "error"), c.exitCode == 1);
        EXPECT_EQ(run.hasEvent("EndpointStateWarning", "warning"),
                  c.machine == "unplug-during-run.json");
        EXPECT_FALSE(run.hasEvent("MSG_DOES_NOT_SUPPORT_RECORDING", "warning"));
        EXPECT_TRUE(c.note.empty() || run.hasNote(c.note)) << c.note;
        EXPECT_TRUE(c.absentNote.empty() || !run.hasNote(c.absentNote)) << c.absentNote;
        // Only the pre-Vista MCI dialog records, into the temporary directory: three
        // seconds in the MCI default format, 11025 Hz mono.
        audio::WaveFile file;
        EXPECT_EQ(file.loadFile(dir_.file("kvorecord.wav")), c.machine == "windows-xp.json");
        if (c.machine == "windows-xp.json") {
            EXPECT_EQ(file.format().nSamplesPerSec, 11025u);
            EXPECT_EQ(file.numBlocks(), 33075u);
        }
    }
}

TEST_F(MicrophoneTestEndToEnd, FrontEndsThatCannotRunAreBadParameters) {
    const ProgramResult win32 = run("--ui win32");
    EXPECT_EQ(win32.exitCode, 5);
    EXPECT_NE(win32.errors.find("--ui win32"), std::string::npos);
    EXPECT_EQ(std::count(win32.errors.begin(), win32.errors.end(), '\n'), 1);

    EXPECT_EQ(run("--ui console --answer pass").exitCode, 5);
}

}  // namespace
