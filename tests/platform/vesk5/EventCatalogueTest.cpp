#include "platform/vesk5/host/EventCatalogue.hpp"

#include <gtest/gtest.h>

namespace vesk5::host {
namespace {

TEST(EventCatalogue, PlaceholderLikeValuesAreNotExpandedAgainUnsetOnesStayVisible) {
    EXPECT_EQ(eventText("NowTesting", {{"deviceName", Value("{deviceName}")}}),
              "Now testing {deviceName}.");
    EXPECT_EQ(eventText("NowTesting", {{"deviceName", Value("")}}), "Now testing .");
    EXPECT_EQ(eventText("NowTesting"), "Now testing {deviceName}.");
    EXPECT_EQ(eventText("NO_SUCH_KEY"), "NO_SUCH_KEY");
    EXPECT_FALSE(hasEventText("MSG_INSTRUCTIONS_3"));
}

}  // namespace
}  // namespace vesk5::host
