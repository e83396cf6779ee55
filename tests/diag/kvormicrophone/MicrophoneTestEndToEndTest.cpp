// Runs the real program on simulated PCs and reads its --json output.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "e2e/ProgramRun.hpp"
#include "platform/audio/WaveFile.hpp"
#include "support/ShellQuote.hpp"

namespace kvo::test {
namespace {

// `event` as ProgramRun::raised() spells it: "<severity> <key>".
bool hasRaised(const ProgramRun& run, const std::string& event) {
    const auto raised = run.raised();
    return std::find(raised.begin(), raised.end(), event) != raised.end();
}

bool hasNote(const ProgramRun& run, const std::string& text) {
    const auto notes = run.linesOf("note");
    return std::any_of(notes.begin(), notes.end(), [&](const nlohmann::json& note) {
        return note["text"].get<std::string>().find(text) != std::string::npos;
    });
}

std::string resultOf(const ProgramRun& run) {
    const auto runs = run.linesOf("run");
    return runs.empty() ? "" : runs[0]["result"].get<std::string>();
}

class MicrophoneTestEndToEnd : public testing::Test {
protected:
    // Runs kvormicrophone with its base folder as its TMPDIR, with nothing on standard input.
    ProgramRun run(const std::string& arguments) {
        std::vector<std::string> words{"run",    "MicrophoneTest", "--audio",   "sim",
                                       "--json", "--base-dir",     base_.path()};
        std::istringstream extra(arguments);
        for (std::string word; extra >> word;) {
            words.push_back(word);
        }
        return runProgram(words, base_, "TMPDIR=" + shellQuoted(base_.path()));
    }
    static std::string scenario(const std::string& name) {
        return "--machine " + scenarioFile(name);
    }
    TempDirectory base_;
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
        std::uint32_t recordedRate = 0;  // of the pre-Vista dialog's recording
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
             Case{"windows-vista", fail, 1, "FAIL"},
             // Without a microphone the dialog still opens and the person decides; the
             // prompt naming the missing device needs bPromptEnable.
             Case{"no-microphone", fail, 1, "FAIL", "", noInput},
             Case{"no-microphone", "--ui scripted --answer cancel", 6, "USERABORTED"},
             Case{"no-microphone", prompt, 1, "FAIL",
                  "[Microphone Test] " + noInput + ". Connect a microphone and press OK.",
                  noOutput},
             Case{"no-speaker", prompt, 1, "FAIL", "[Microphone Test] " + noOutput + ".", noInput},
             // Recording refused once: tried again after the message, then recorded and played.
             Case{"capture-fails-once", "--ui scripted --answer pass", 0, "PASS", inUse},
             // Refused twice, or nothing to play on: Fail is still offered.
             Case{"capture-fails-twice", fail, 1, "FAIL"},
             Case{"no-speaker", fail, 1, "FAIL"},
             // The microphone array goes at 2.5 s, within the first three-second recording.
             Case{"unplug-during-run", fail, 1, "FAIL",
                  "[Microphone Test] Audio devices were added or removed"},
             // Before Vista the MCI dialog records three seconds, in the MCI default format
             // unless the parameters give one.
             Case{"windows-xp", fail, 1, "FAIL", "", "", 11025},
             Case{
                 "windows-xp",
                 "--param BitsPerSample=16 --param NumberOfChannels=1 --param SamplesPerSec=8000 " +
                     fail,
                 1, "FAIL", "", "", 8000},
         }) {
        SCOPED_TRACE(c.machine + " " + c.arguments);
        const ProgramRun run =
            this->run((c.machine.empty() ? "" : scenario(c.machine) + " ") + c.arguments);
        EXPECT_EQ(run.exitCode, c.exitCode) << run.errors;
        EXPECT_EQ(resultOf(run), c.result);
        EXPECT_EQ(hasRaised(run, "error TestFailed"), c.exitCode == 1);
        EXPECT_EQ(hasRaised(run, "warning EndpointStateWarning"), c.machine == "unplug-during-run");
        EXPECT_FALSE(hasRaised(run, "warning MSG_DOES_NOT_SUPPORT_RECORDING"));
        EXPECT_TRUE(c.note.empty() || hasNote(run, c.note)) << c.note;
        EXPECT_TRUE(c.absentNote.empty() || !hasNote(run, c.absentNote)) << c.absentNote;
        // Only the pre-Vista MCI dialog records, into the temporary directory, mono.
        audio::WaveFile file;
        EXPECT_EQ(file.loadFile(base_.file("kvorecord.wav")), c.recordedRate != 0);
        if (c.recordedRate != 0) {
            EXPECT_EQ(file.format().nSamplesPerSec, c.recordedRate);
            EXPECT_EQ(file.format().nChannels, 1);
            EXPECT_EQ(file.numBlocks(), c.recordedRate * 3);
        }
        std::filesystem::remove(base_.file("kvorecord.wav"));
    }
}

// A front end that cannot run here, or a parameter or setting that cannot be read, is
// refused with one line naming it, before anything runs.
TEST_F(MicrophoneTestEndToEnd, FrontEndsThatCannotRunAndParametersThatDoNotReadAreBadParameters) {
    for (const auto& [arguments, named] :
         {std::pair{"--ui win32", "--ui win32"},
          {"--param bPromptEnable=maybe", "bPromptEnable of MicrophoneTest expects a true/false"},
          {"--param SamplesPerSec=-1", "SamplesPerSec of MicrophoneTest expects a whole number"},
          {"--param FrequencyList=440", "no test being run has a parameter 'FrequencyList'"},
          {"--param =1", "malformed --param '=1': expected NAME=VALUE"},
          {"--setting novalue", "malformed --setting 'novalue': expected SECTION.KEY=VALUE"},
          {"--setting nodot=1", "malformed --setting 'nodot=1'"},
          {"--setting .key=1", "malformed --setting '.key=1'"},
          {"--setting section.=1", "malformed --setting 'section.=1'"},
          {"--setting section.key", "malformed --setting 'section.key'"}}) {
        const ProgramRun refused = run(arguments);
        EXPECT_EQ(refused.exitCode, 5) << arguments;
        EXPECT_NE(refused.errors.find(named), std::string::npos) << refused.errors;
        EXPECT_EQ(std::count(refused.errors.begin(), refused.errors.end(), '\n'), 1);
        EXPECT_TRUE(refused.lines.empty()) << arguments;
    }
    EXPECT_EQ(run("--ui console --answer pass").exitCode, 5);
}

}  // namespace
}  // namespace kvo::test
