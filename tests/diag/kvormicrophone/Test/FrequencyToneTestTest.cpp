#include "diag/kvormicrophone/Test/FrequencyToneTest.hpp"

#include <gtest/gtest.h>

#include "SimulatedPc.hpp"
#include "diag/kvormicrophone/Test/FrequencyTestParameter.hpp"
#include "platform/kvo/Resource.hpp"
#include "support/CapturingLogSink.hpp"

namespace kvormicrophone {
namespace {

using vesk5::TestResult;

TEST(FrequencyToneTestFailureList, BlankBeforeEveryFailureButTheVeryFirstAndListPerPair) {
    const kvo::Array<stereo_freq_t> frequencies{{440, 440},   {1000, 1000}, {4000, 4000},
                                                {5000, 5000}, {6000, 6000}, {7000, 7000},
                                                {8000, 8000}};
    kvo::Array<TestResult> results;
    for (int i = 0; i < 7; ++i) {
        results.append(i == 2 || i == 5 ? TestResult::FAIL() : TestResult::PASS());
    }
    EXPECT_EQ(FrequencyToneTest::failureList(results, frequencies, 1), " 4000 7000");
    results[0] = TestResult::FAIL();
    EXPECT_EQ(FrequencyToneTest::failureList(results, frequencies, 1), "440 4000 7000");
    // A second pair of devices runs the list again.
    const kvo::Array<stereo_freq_t> two{{440, 440}, {1000, 1000}};
    const kvo::Array<TestResult> twoPairs{TestResult::PASS(), TestResult::PASS(),
                                          TestResult::FAIL(), TestResult::PASS()};
    EXPECT_EQ(FrequencyToneTest::failureList(twoPairs, two, 2), " 440");
}

TEST(FrequencyToneTestFormats, FilterDropsFormatsAbove48kHzOr16BitsAndChecksTheOneThatMovedIn) {
    kvo::Array<audio::WAVEFORMATEX> formats{
        audio::makePcmFormat(2, 44100, 16), audio::makePcmFormat(2, 96000, 24),
        audio::makePcmFormat(2, 192000, 24), audio::makePcmFormat(1, 8000, 8),
        audio::makePcmFormat(2, 48000, 32)};
    FrequencyToneTest::filterWaveFormats(formats);
    EXPECT_EQ(formats, (kvo::Array<audio::WAVEFORMATEX>{audio::makePcmFormat(2, 44100, 16),
                                                        audio::makePcmFormat(1, 8000, 8)}));
}

using Levels = std::pair<std::uint32_t, bool>;

Levels levelsOf(const std::shared_ptr<audio::VolumeControllerInterface>& controller) {
    Levels levels{0, false};
    EXPECT_TRUE(controller->getVolumeLevel(levels.first) && controller->getMute(levels.second));
    return levels;
}

// The tone test on a scenario machine whose integrated microphone and speakers the
// user left at 35 % and 20 %, both muted: the levels every way out must put back.
struct ToneRun {
    ToneRun(const std::string& scenario, const char* list) : pc(scenario) {
        FrequencyTestParameter::initialize(&test);
        EXPECT_TRUE(test.findParameter("FrequencyList")->setFromText(list));
        microphone->setVolumeLevel(35);
        microphone->setMute(true);
        speaker->setVolumeLevel(20);
        speaker->setMute(true);
    }
    ~ToneRun() {
        FrequencyTestParameter::shutdown();
        kvo::Resource::setSettings({});
    }
    TestResult run(FrequencyToneTest& engine) {
        EXPECT_TRUE(engine.instantiateAudioIO());
        EXPECT_EQ(engine.enumerateIntegratedMicrophones(), 1u);
        EXPECT_EQ(engine.enumerateIntegratedSpeakers(), 1u);
        return engine.test(TestResult::PASS());
    }
    void expectUsersLevels() {
        EXPECT_EQ(levelsOf(microphone), Levels(35, true));
        EXPECT_EQ(levelsOf(speaker), Levels(20, true));
    }

    test::SimulatedPc pc;
    vesk5::Test test{"FrequencyToneTest", vesk5::DeviceCapability::Microphone(), nullptr};
    std::shared_ptr<audio::VolumeControllerInterface> microphone =
        pc.endpoint("mic-array")->volumeControl();
    std::shared_ptr<audio::VolumeControllerInterface> speaker =
        pc.endpoint("speakers")->volumeControl();
};

// A normal end and two runs in one process are the PulseAudio end-to-end runs' (levels on the
// server afterwards); these are the paths only the engine shows. Each is checked while the
// engine still exists: its device manager would put the levels back too.
TEST(FrequencyToneTestLevels, SetupFailureAndAMicrophoneUnpluggedMidTestPutThemBack) {
    {
        ToneRun setupFails("", "19");
        FrequencyToneTest engine;
        EXPECT_EQ(setupFails.run(engine), TestResult::BADPARAMS());
        setupFails.expectUsersLevels();
    }
    ToneRun unplugged("unplug-during-run.json", "440,1000,4000");
    FrequencyToneTest engine;
    EXPECT_EQ(unplugged.run(engine), TestResult::NODEVICE());
    unplugged.expectUsersLevels();
}

TEST(FrequencyToneTestLevels, ReanalysisLeavesThemRaisedUntilTheEngineGoes) {
    ToneRun reanalysis("", "1000");
    kvo::Resource::applyOverride("kvormicrophone.FrequencyAnalysisWaveFile.value=777.wav");
    {
        FrequencyToneTest engine;
        EXPECT_EQ(reanalysis.run(engine), TestResult::CANNOTRUN());
        EXPECT_EQ(levelsOf(reanalysis.microphone), Levels(100, false));
        EXPECT_EQ(levelsOf(reanalysis.speaker), Levels(100, false));
    }
    // Its device manager puts back what it found when it enumerated the endpoints.
    reanalysis.expectUsersLevels();
}

}  // namespace
}  // namespace kvormicrophone
