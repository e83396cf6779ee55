#include "diag/kvormicrophone/Test/FrequencyToneTest.hpp"

#include <gtest/gtest.h>

#include "SimulatedPc.hpp"
#include "diag/kvormicrophone/Test/FrequencyTestParameter.hpp"
#include "platform/kvo/Resource.hpp"
#include "support/CapturingLogSink.hpp"

namespace kvormicrophone {
namespace {

using vesk5::TestResult;

TEST(FrequencyToneTestParser, AcceptsWholeFrequenciesFromTwentyToTwentyThousandInOrder) {
    test::SimulatedPc pc;
    FrequencyToneTest engine;
    ASSERT_TRUE(engine.parseFrequencies("440,1000,20,20000"));
    ASSERT_EQ(engine.frequencies().size(), 4u);
    EXPECT_EQ(engine.frequencies()[0].left, 440u);
    EXPECT_EQ(engine.frequencies()[0].right, 440u);
    EXPECT_EQ(engine.frequencies()[3].left, 20000u);
}

TEST(FrequencyToneTestParser, StopsAtTheFirstBadTokenKeepingWhatCameBefore) {
    test::SimulatedPc pc;
    for (const char* bad : {"19", "20001", "abc", " 1000", "4294967296", "+440"}) {
        FrequencyToneTest engine;
        EXPECT_FALSE(engine.parseFrequencies(std::string("440,") + bad)) << bad;
        EXPECT_EQ(engine.frequencies().size(), 1u) << bad;
    }
    FrequencyToneTest empty;
    EXPECT_TRUE(empty.parseFrequencies(",,"));  // empty tokens are dropped: nothing to play
    EXPECT_TRUE(empty.frequencies().empty());
}

TEST(FrequencyToneTestFailureList, BlankBeforeEveryFailureButTheVeryFirstResult) {
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
}

TEST(FrequencyToneTestFailureList, SecondPairRepeatsTheFrequenciesOfTheList) {
    const kvo::Array<stereo_freq_t> frequencies{{440, 440}, {1000, 1000}};
    const kvo::Array<TestResult> results{TestResult::PASS(), TestResult::PASS(), TestResult::FAIL(),
                                         TestResult::PASS()};
    EXPECT_EQ(FrequencyToneTest::failureList(results, frequencies, 2), " 440");
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

TEST_F(FrequencyToneTestLevels, NormalEndPutsTheUsersLevelsBack) {
    // Muted at 35% the microphone would hear nothing: passing proves it was raised.
    FrequencyToneTest engine;
    EXPECT_EQ(runTone(engine), TestResult::PASS());
    EXPECT_EQ(levels(microphone), std::pair(35u, true));
    EXPECT_EQ(levels(speaker), std::pair(20u, false));
}

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

}  // namespace
}  // namespace kvormicrophone
