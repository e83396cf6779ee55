#include "platform/kvo/String.hpp"

#include <gtest/gtest.h>

namespace kvo {
namespace {

using Tokens = std::vector<String>;

TEST(Tokenize, DropsEmptyTokensLikeATokenizer) {
    EXPECT_EQ(tokenize("440,1000,4000", ','), (Tokens{"440", "1000", "4000"}));
    EXPECT_EQ(tokenize(",,440,,1000,", ','), (Tokens{"440", "1000"}));
    EXPECT_EQ(tokenize("", ','), Tokens{});
    EXPECT_EQ(tokenize(",,,", ','), Tokens{});
    EXPECT_EQ(tokenize("440", ','), Tokens{"440"});
}

TEST(StrToUInt, AcceptsPlainDecimalDigitsUpToTheLargestUnsigned) {
    std::uint32_t value = 7;
    ASSERT_TRUE(strToUInt("0", value));
    EXPECT_EQ(value, 0u);
    ASSERT_TRUE(strToUInt("00440", value));
    EXPECT_EQ(value, 440u);
    ASSERT_TRUE(strToUInt("4294967295", value));
    EXPECT_EQ(value, 4294967295u);
}

TEST(StrToUInt, RefusesAnythingElseAndLeavesTheValue) {
    for (const char* bad : {"", " 440", "440 ", "+440", "-1", "4294967296", "99999999999999999999",
                            "12a", "0x10", "1e3", "4.5"}) {
        std::uint32_t value = 123;
        EXPECT_FALSE(strToUInt(bad, value)) << '"' << bad << '"';
        EXPECT_EQ(value, 123u) << '"' << bad << '"';
    }
}

TEST(StrToBoolean, ReadsTheUsualSpellingsInAnyCase) {
    bool value = false;
    for (const char* yes : {"true", "TRUE", "True", "yes", "on", "1"}) {
        value = false;
        EXPECT_TRUE(strToBoolean(yes, value)) << yes;
        EXPECT_TRUE(value) << yes;
    }
    for (const char* no : {"false", "False", "no", "OFF", "0"}) {
        value = true;
        EXPECT_TRUE(strToBoolean(no, value)) << no;
        EXPECT_FALSE(value) << no;
    }
}

TEST(StrToBoolean, RefusesUnknownTextWithoutTouchingTheValue) {
    for (const char* bad : {"", " true", "2", "tru", "yes please"}) {
        bool value = true;
        EXPECT_FALSE(strToBoolean(bad, value)) << bad;
        EXPECT_TRUE(value);
    }
}

}  // namespace
}  // namespace kvo
