#include "diag/kvormicrophone/MicrophoneTestParameter.hpp"

#include <gtest/gtest.h>

#include "diag/kvormicrophone/Test/FrequencyTestParameter.hpp"

namespace kvormicrophone {
namespace {

using vesk5::DataType;

std::vector<std::string> parameterNames(const vesk5::Test& test) {
    std::vector<std::string> names;
    for (const vesk5::Parameter* parameter : test.parameters()) {
        names.push_back(parameter->name());
    }
    return names;
}

class MicrophoneTestParameterTest : public testing::Test {
protected:
    void TearDown() override { MicrophoneTestParameter::shutdown(); }
    vesk5::Test test{"MicrophoneTest", vesk5::DeviceCapability::Microphone(), nullptr};
};

TEST_F(MicrophoneTestParameterTest, FiveParametersAreAddedInTheirAddOrder) {
    MicrophoneTestParameter::initialize(&test);
    EXPECT_EQ(parameterNames(test),
              (std::vector<std::string>{"BitsPerSample", "SamplesPerSec", "NumberOfChannels",
                                        "UseTroubleshooterDialog", "bPromptEnable"}));
    for (const vesk5::Parameter* parameter : test.parameters()) {
        EXPECT_EQ(parameter->description(), "");
        EXPECT_FALSE(parameter->required());
        EXPECT_TRUE(parameter->userSettable());
    }
    EXPECT_EQ(test.parameters()[0]->type(), DataType::UINT32());
    EXPECT_EQ(test.parameters()[3]->type(), DataType::BOOLEAN());
}

TEST_F(MicrophoneTestParameterTest, UnsetParametersReadAsNotGiven) {
    MicrophoneTestParameter::initialize(&test);
    EXPECT_EQ(MicrophoneTestParameter::bitsPerSample(), 0u);
    EXPECT_EQ(MicrophoneTestParameter::samplesPerSec(), 0u);
    EXPECT_EQ(MicrophoneTestParameter::numberOfChannels(), 0u);
    EXPECT_FALSE(MicrophoneTestParameter::bPromptEnable());
    EXPECT_FALSE(MicrophoneTestParameter::useTroubleshooterDialog());
}

TEST_F(MicrophoneTestParameterTest, ReadersSeeTheValuesGiven) {
    MicrophoneTestParameter::initialize(&test);
    ASSERT_TRUE(test.findParameter("SamplesPerSec")->setFromText("11025"));
    ASSERT_TRUE(test.findParameter("UseTroubleshooterDialog")->setFromText("true"));
    EXPECT_EQ(MicrophoneTestParameter::samplesPerSec(), 11025u);
    EXPECT_TRUE(MicrophoneTestParameter::useTroubleshooterDialog());
    EXPECT_FALSE(MicrophoneTestParameter::bPromptEnable());
}

TEST_F(MicrophoneTestParameterTest, WithoutATestTheParametersAreCreatedButAddedNowhere) {
    MicrophoneTestParameter::initialize(nullptr);
    EXPECT_TRUE(MicrophoneTestParameter::isInitialized());
    EXPECT_EQ(MicrophoneTestParameter::numberOfChannels(), 0u);
    EXPECT_TRUE(test.parameters().empty());
}

using MicrophoneTestParameterDeathTest = MicrophoneTestParameterTest;

TEST_F(MicrophoneTestParameterDeathTest, InitialisingTwiceIsAnAssertion) {
    EXPECT_EXIT(
        {
            MicrophoneTestParameter::initialize(&test);
            MicrophoneTestParameter::initialize(&test);
        },
        testing::ExitedWithCode(7),
        "MicrophoneTestParameter\\(.+\\): Assertion failed: \"Please do not call initialize more "
        "than once\" && "
        "\\(!isInitialized\\(\\)\\)");
}

TEST_F(MicrophoneTestParameterDeathTest, ReadingBeforeInitialiseIsAnAssertion) {
    EXPECT_EXIT(MicrophoneTestParameter::bitsPerSample(), testing::ExitedWithCode(7),
                "MicrophoneTestParameter\\(.+\\): Assertion failed: isInitialized\\(\\)");
    EXPECT_EXIT(MicrophoneTestParameter::bPromptEnable(), testing::ExitedWithCode(7),
                "Assertion failed: isInitialized\\(\\)");
}

TEST(FrequencyTestParameter, OneStringParameterAddedToItsTest) {
    vesk5::Test test{"FrequencyToneTest", vesk5::DeviceCapability::Microphone(), nullptr};
    ASSERT_TRUE(FrequencyTestParameter::initialize(&test));
    EXPECT_EQ(parameterNames(test), std::vector<std::string>{"FrequencyList"});
    EXPECT_EQ(FrequencyTestParameter::frequencyList(), "");
    ASSERT_TRUE(test.parameters()[0]->setFromText("440,1000"));
    EXPECT_EQ(FrequencyTestParameter::frequencyList(), "440,1000");
    FrequencyTestParameter::shutdown();
}

TEST(FrequencyTestParameterDeathTest, InitialisingTwiceAndReadingEarlyAreAssertions) {
    EXPECT_EXIT(FrequencyTestParameter::frequencyList(), testing::ExitedWithCode(7),
                "FrequencyTestParameter\\(.+\\): Assertion failed: isInitialized\\(\\)");
    EXPECT_EXIT(
        {
            FrequencyTestParameter::initialize(nullptr);
            FrequencyTestParameter::initialize(nullptr);
        },
        testing::ExitedWithCode(7),
        "Assertion failed: \"Please do not call initialize more than once\"");
}

}  // namespace
}  // namespace kvormicrophone
