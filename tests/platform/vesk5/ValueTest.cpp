#include <gtest/gtest.h>

#include "platform/vesk5/Parameter.hpp"
#include "platform/vesk5/TestResult.hpp"
#include "platform/vesk5/Value.hpp"

namespace vesk5 {
namespace {

TEST(Parameter, TextIsParsedForTheParameterType) {
    Parameter number("BitsPerSample", DataType::UINT32(), "", false, true);
    EXPECT_TRUE(number.setFromText("16"));
    EXPECT_EQ(number.value().valueUint32(), 16u);
    EXPECT_FALSE(number.setFromText("-1"));
    EXPECT_FALSE(number.setFromText("16 "));
    EXPECT_EQ(number.value().valueUint32(), 16u);

    Parameter flag("bPromptEnable", DataType::BOOLEAN(), "", false, true);
    EXPECT_TRUE(flag.setFromText("TRUE"));
    EXPECT_TRUE(flag.value().valueBool());
    EXPECT_FALSE(flag.setFromText("maybe"));

    Parameter list("FrequencyList", DataType::STRING(), "", false, true);
    EXPECT_TRUE(list.setFromText(""));
    EXPECT_TRUE(list.isSet());
    EXPECT_TRUE(list.setFromText("440, 1000"));
    EXPECT_EQ(list.value().valueString(), "440, 1000");
}

}  // namespace
}  // namespace vesk5
