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

// The levels of the integrated endpoints before, after and on the paths that leave them raised.
class FrequencyToneTestLevels : public testing::Test {
protected:
    void SetUp() override {
        FrequencyTestParameter::initialize(&test);
        ASSERT_TRUE(test.findParameter("FrequencyList")->setFromText("1000"));
        microphone = pc.endpoint("mic-array")->volumeControl();
        speaker = pc.endpoint("speakers")->volumeControl();
        ASSERT_TRUE(microphone && speaker);
        microphone->setVolumeLevel(35);
        microphone->setMute(true);
        speaker->setVolumeLevel(20);
    }
    void TearDown() override {
        FrequencyTestParameter::shutdown();
        kvo::Resource::setSettings({});
    }

    TestResult runTone(FrequencyToneTest& engine) {
        EXPECT_TRUE(engine.instantiateAudioIO());
        EXPECT_EQ(engine.enumerateIntegratedMicrophones(), 1u);
        EXPECT_EQ(engine.enumerateIntegratedSpeakers(), 1u);
        return engine.test(TestResult::PASS());
    }

    std::pair<std::uint32_t, bool> levels(
        const std::shared_ptr<audio::VolumeControllerInterface>& controller) {
        std::uint32_t volume = 0;
        bool mute = false;
        controller->getVolumeLevel(volume);
        controller->getMute(mute);
        return {volume, mute};
    }

    test::SimulatedPc pc;
    vesk5::Test test{"FrequencyToneTest", vesk5::DeviceCapability::Microphone(), nullptr};
    std::shared_ptr<audio::VolumeControllerInterface> microphone;
    std::shared_ptr<audio::VolumeControllerInterface> speaker;
};

// A normal end and two runs in one process are the PulseAudio end-to-end runs' (levels on the
// server afterwards); these are the paths only the engine shows.
TEST_F(FrequencyToneTestLevels, SetupFailureAlsoPutsThemBack) {
    ASSERT_TRUE(test.findParameter("FrequencyList")->setFromText("19"));
    FrequencyToneTest engine;
    EXPECT_EQ(runTone(engine), TestResult::BADPARAMS());
    EXPECT_EQ(levels(microphone), std::pair(35u, true));
    EXPECT_EQ(levels(speaker), std::pair(20u, false));
}

TEST_F(FrequencyToneTestLevels, ReanalysisLeavesThemRaisedUntilTheEngineGoes) {
    kvo::Resource::applyOverride("kvormicrophone.FrequencyAnalysisWaveFile.value=777.wav");
    {
        FrequencyToneTest engine;
        EXPECT_EQ(runTone(engine), TestResult::CANNOTRUN());
        EXPECT_EQ(levels(microphone), std::pair(100u, false));
        EXPECT_EQ(levels(speaker), std::pair(100u, false));
    }
    // Its device manager puts back what it found when it enumerated the endpoints.
    EXPECT_EQ(levels(microphone), std::pair(35u, true));
    EXPECT_EQ(levels(speaker), std::pair(20u, false));
}

TEST(FrequencyToneTestVanishingMicrophone, UnpluggedMidTestPutsTheUsersLevelsBack) {
    test::SimulatedPc pc("unplug-during-run.json");
    vesk5::Test test{"FrequencyToneTest", vesk5::DeviceCapability::Microphone(), nullptr};
    FrequencyTestParameter::initialize(&test);
    ASSERT_TRUE(test.findParameter("FrequencyList")->setFromText("440,1000,4000"));
    const auto microphone = pc.endpoint("mic-array")->volumeControl();
    const auto speaker = pc.endpoint("speakers")->volumeControl();
    microphone->setVolumeLevel(35);
    microphone->setMute(true);
    speaker->setVolumeLevel(20);
    speaker->setMute(true);
    {
        FrequencyToneTest engine;
        ASSERT_TRUE(engine.instantiateAudioIO());
        ASSERT_EQ(engine.enumerateIntegratedMicrophones(), 1u);
        ASSERT_EQ(engine.enumerateIntegratedSpeakers(), 1u);
        EXPECT_EQ(engine.test(TestResult::PASS()), TestResult::NODEVICE());
        // Checked while the engine still exists: its device manager would restore them too.
        std::uint32_t volume = 0;
        bool mute = false;
        EXPECT_TRUE(microphone->getVolumeLevel(volume) && microphone->getMute(mute));
        EXPECT_EQ(std::pair(volume, mute), std::pair(35u, true));
        EXPECT_TRUE(speaker->getVolumeLevel(volume) && speaker->getMute(mute));
        EXPECT_EQ(std::pair(volume, mute), std::pair(20u, true));
    }
    FrequencyTestParameter::shutdown();
}

}  // namespace
}  // namespace kvormicrophone
