#include "platform/vesk5/host/EventCatalogue.hpp"

#include <gtest/gtest.h>

namespace vesk5::host {
namespace {

TEST(EventCatalogue, SubstitutesEveryOccurrenceOfEachVariable) {
    EXPECT_EQ(eventText("NowTesting", {{"deviceName", Value("Microphone Array (HD Audio)")}}),
              "Now testing Microphone Array (HD Audio).");
    EXPECT_EQ(eventText("MSG_CURRENT_FREQ", {{"frequency", Value(std::uint32_t{440})}}),
              "Playing a 440 Hz tone.");
    EXPECT_EQ(eventText("FAIL_FREQUENCY_TONE_TEST", {{"frequencies", Value(" 440 1000")}}),
              "These tones were not heard by the integrated microphones (Hz):  440 1000");
}

TEST(EventCatalogue, ValuesThatLookLikePlaceholdersAreNotExpandedAgain) {
    EXPECT_EQ(eventText("NowTesting", {{"deviceName", Value("{deviceName}")}}),
              "Now testing {deviceName}.");
    EXPECT_EQ(eventText("NowTesting", {{"deviceName", Value("")}}), "Now testing .");
}

TEST(EventCatalogue, UnsetVariablesStayVisibleAndUnknownKeysFallBackToTheKey) {
    EXPECT_EQ(eventText("NowTesting"), "Now testing {deviceName}.");
    EXPECT_EQ(eventText("NO_SUCH_KEY"), "NO_SUCH_KEY");
    EXPECT_FALSE(hasEventText("MSG_INSTRUCTIONS_3"));
}

}  // namespace
}  // namespace vesk5::host
