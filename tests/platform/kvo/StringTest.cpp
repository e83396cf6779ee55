#include "platform/kvo/String.hpp"

#include <gtest/gtest.h>

namespace kvo {
namespace {

// Frequency lists, sample rates and settings all come through these; the lists'
// end-to-end runs hold the range, sign and overflow cases, these the other spellings.
TEST(TextToNumberAndFlag, RefuseAnythingButTheirSpellingsAndLeaveTheValue) {
    for (const char* bad : {" 440", "440 ", "12a", "0x10", "1e3", "4.5", "99999999999999999999"}) {
        std::uint32_t value = 123;
        EXPECT_FALSE(strToUInt(bad, value)) << '"' << bad << '"';
        EXPECT_EQ(value, 123u) << '"' << bad << '"';
    }
    std::uint32_t number = 0;
    ASSERT_TRUE(strToUInt("4294967295", number));
    EXPECT_EQ(number, 4294967295u);
    for (const auto& [text, known, expected] : {std::tuple{"TRUE", true, true},
                                                {"on", true, true},
                                                {"1", true, true},
                                                {"Off", true, false},
                                                {"no", true, false},
                                                {"0", true, false},
                                                {"tru", false, true},
                                                {"yes please", false, true},
                                                {"", false, true}}) {
        bool flag = known ? !expected : expected;  // refused text leaves it as it was
        EXPECT_EQ(strToBoolean(text, flag), known) << text;
        EXPECT_EQ(flag, expected) << text;
    }
}

}  // namespace
}  // namespace kvo
