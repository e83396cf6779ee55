#include "platform/kvo/Array.hpp"

#include <gtest/gtest.h>

namespace kvo {
namespace {

TEST(Array, RemovalShiftsTheTailDownByOne) {
    Array<int> array{10, 20, 30, 40};
    array.remove(1);
    EXPECT_EQ(array, (Array<int>{10, 30, 40}));
    array.remove(2);
    EXPECT_EQ(array, (Array<int>{10, 30}));
}

using ArrayDeathTest = testing::Test;

TEST_F(ArrayDeathTest, IndexPastTheEndEndsTheProcessWithCodeSevenAndTheAssertionText) {
    Array<int> array{1, 2, 3};
    EXPECT_EXIT(static_cast<void>(array[3]), testing::ExitedWithCode(7),
                "Array\\(.+\\): Assertion failed: index < size\\(\\)");
}

}  // namespace
}  // namespace kvo
