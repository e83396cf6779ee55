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

TEST_F(MicrophoneTestEndToEnd, ScriptedAnswersBecomeTheResult) {
    const ProgramResult pass = run("--ui scripted --answer pass");
    EXPECT_EQ(pass.exitCode, 0);
    EXPECT_EQ(pass.result(), "PASS");
    EXPECT_FALSE(pass.hasEvent("TestFailed", "error"));

    const ProgramResult fail = run("--ui scripted --answer fail");
    EXPECT_EQ(fail.exitCode, 1);
    EXPECT_EQ(fail.result(), "FAIL");
    EXPECT_TRUE(fail.hasEvent("TestFailed", "error"));

    const ProgramResult cancel =
        run("--answer cancel");  // --answer alone picks the scripted front end
    EXPECT_EQ(cancel.exitCode, 6);
    EXPECT_EQ(cancel.result(), "USERABORTED");
    EXPECT_FALSE(cancel.hasEvent("TestFailed", "error"));
}

TEST_F(MicrophoneTestEndToEnd, WithoutATerminalOrAnAnswerNobodyIsThereToAnswer) {
    const ProgramResult unattended = run("");
    EXPECT_EQ(unattended.exitCode, 6);
    EXPECT_EQ(unattended.result(), "USERABORTED");
}

TEST_F(MicrophoneTestEndToEnd, BeforeVistaTheMciDialogRecordsSavesAndPlays) {
    const ProgramResult xp = run(scenario("windows-xp.json") + " --ui scripted --answer fail");
    EXPECT_EQ(xp.exitCode, 1);
    EXPECT_TRUE(xp.hasEvent("TestFailed", "error"));
    audio::WaveFile file;
    ASSERT_TRUE(file.loadFile(dir_.file("kvorecord.wav"))) << file.error();
    // The MCI default format, 11025 Hz mono, for exactly 3000 ms.
    EXPECT_EQ(file.format().nSamplesPerSec, 11025u);
    EXPECT_EQ(file.numBlocks(), 33075u);
}

TEST_F(MicrophoneTestEndToEnd, VistaRecordsWithTheEngineNotTheMciDialog) {
    const ProgramResult vista =
        run(scenario("windows-vista.json") + " --ui scripted --answer fail");
    EXPECT_EQ(vista.exitCode, 1);
    EXPECT_TRUE(vista.hasEvent("TestFailed", "error"));
    // Only the MCI dialog records into the temporary directory.
    EXPECT_FALSE(std::ifstream(dir_.file("kvorecord.wav")).good());
}

TEST_F(MicrophoneTestEndToEnd, WithoutAMicrophoneTheDialogStillOpensAndThePersonDecides) {
    const std::string machine = scenario("no-microphone.json");
    const ProgramResult fail = run(machine + " --ui scripted --answer fail");
    EXPECT_EQ(fail.exitCode, 1);
    EXPECT_EQ(fail.result(), "FAIL");
    EXPECT_TRUE(fail.hasEvent("TestFailed", "error"));
    EXPECT_FALSE(fail.hasEvent("MSG_DOES_NOT_SUPPORT_RECORDING", "warning"));
    EXPECT_FALSE(fail.hasNote("No input device was detected"));  // bPromptEnable is off

    const ProgramResult close = run(machine + " --ui scripted --answer cancel");
    EXPECT_EQ(close.exitCode, 6);
    EXPECT_EQ(close.result(), "USERABORTED");
}

TEST_F(MicrophoneTestEndToEnd, PromptEnableShowsWhichDeviceWasNotDetected) {
    const std::string prompt = " --param bPromptEnable=true --ui scripted --answer fail";
    const ProgramResult noMicrophone = run(scenario("no-microphone.json") + prompt);
    EXPECT_TRUE(noMicrophone.hasNote(
        "[Microphone Test] No input device was detected. Connect a microphone and press OK."));
    EXPECT_FALSE(noMicrophone.hasNote("No output device was detected"));

    const ProgramResult noSpeaker = run(scenario("no-speaker.json") + prompt);
    EXPECT_TRUE(noSpeaker.hasNote("[Microphone Test] No output device was detected."));
    EXPECT_FALSE(noSpeaker.hasNote("No input device was detected"));

    const ProgramResult healthy = run(prompt);
    EXPECT_FALSE(healthy.hasNote("was detected"));
}

TEST_F(MicrophoneTestEndToEnd, ScriptedAnswersLikeAPatientPersonWhenADeviceMisbehaves) {
    // Recording refused once: tried again after the message, then recorded and played.
    const ProgramResult busy =
        run(scenario("capture-fails-once.json") + " --ui scripted --answer pass");
    EXPECT_EQ(busy.exitCode, 0) << busy.errors;
    EXPECT_EQ(busy.result(), "PASS");
    EXPECT_TRUE(busy.hasNote("The recording device is in use."));

    // Refused twice, or nothing to play on: the answer is still given where Fail is offered.
    for (const char* machine : {"capture-fails-twice.json", "no-speaker.json"}) {
        const ProgramResult fail = run(scenario(machine) + " --ui scripted --answer fail");
        EXPECT_EQ(fail.exitCode, 1) << machine;
        EXPECT_EQ(fail.result(), "FAIL") << machine;
        EXPECT_TRUE(fail.hasEvent("TestFailed", "error")) << machine;
    }
}

TEST_F(MicrophoneTestEndToEnd, AMicrophoneUnpluggedDuringTheRecordingIsReported) {
    // The microphone array goes at 2.5 s, within the first three-second recording.
    const ProgramResult unplugged =
        run(scenario("unplug-during-run.json") + " --ui scripted --answer fail");
    EXPECT_EQ(unplugged.exitCode, 1);
    EXPECT_TRUE(unplugged.hasEvent("EndpointStateWarning", "warning"));
    EXPECT_TRUE(unplugged.hasNote("[Microphone Test] Audio devices were added or removed"));

    const ProgramResult healthy = run("--ui scripted --answer fail");
    EXPECT_FALSE(healthy.hasEvent("EndpointStateWarning", "warning"));
}

TEST_F(MicrophoneTestEndToEnd, FrontEndsThatCannotRunAreBadParameters) {
    const ProgramResult win32 = run("--ui win32");
    EXPECT_EQ(win32.exitCode, 5);
    EXPECT_NE(win32.errors.find("--ui win32"), std::string::npos);
    EXPECT_EQ(std::count(win32.errors.begin(), win32.errors.end(), '\n'), 1);

    EXPECT_EQ(run("--ui console --answer pass").exitCode, 5);
}

}  // namespace
