#include <gtest/gtest.h>

#include "platform/vesk5/Parameter.hpp"
#include "platform/vesk5/TestResult.hpp"
#include "platform/vesk5/Value.hpp"

namespace vesk5 {
namespace {

TEST(TestResult, TenNamedResultsWithPassZeroAndDistinctValues) {
    const TestResult all[] = {TestResult::PASS(),          TestResult::FAIL(),
                              TestResult::NODEVICE(),      TestResult::NOTSUPPORTED(),
                              TestResult::CANNOTRUN(),     TestResult::BADPARAMS(),
                              TestResult::USERABORTED(),   TestResult::EXITEDABNORMALLY(),
                              TestResult::INTERNALERROR(), TestResult::TESTNOTSTARTED()};
    EXPECT_EQ(TestResult::PASS().value(), 0);
    for (std::size_t i = 0; i < std::size(all); ++i) {
        EXPECT_EQ(TestResult::fromValue(all[i].value()), all[i]);
        for (std::size_t j = i + 1; j < std::size(all); ++j) {
            EXPECT_NE(all[i], all[j]);
        }
    }
    EXPECT_EQ(TestResult::EXITEDABNORMALLY().name(), "EXITEDABNORMALLY");
    EXPECT_EQ(TestResult::fromValue(10), std::nullopt);
    EXPECT_EQ(TestResult::fromValue(-1), std::nullopt);
}

TEST(Parameter, UnsetValuesReadAsNeutral) {
    EXPECT_EQ(Parameter("a", DataType::UINT32(), "", false, true).value().valueUint32(), 0u);
    EXPECT_FALSE(Parameter("b", DataType::BOOLEAN(), "", false, true).value().valueBool());
    EXPECT_EQ(Parameter("c", DataType::STRING(), "", false, true).value().valueString(), "");
}

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

TEST(Value, ReadersOfAnotherTypeAnswerNeutralValues) {
    EXPECT_EQ(Value("440").valueUint32(), 0u);
    EXPECT_FALSE(Value(std::uint32_t{1}).valueBool());
    EXPECT_EQ(Value(true).toString(), "true");
    EXPECT_EQ(Value(std::uint32_t{4294967295u}).toString(), "4294967295");
}

}  // namespace
}  // namespace vesk5
