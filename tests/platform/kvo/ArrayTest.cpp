#include "platform/kvo/Array.hpp"

#include <gtest/gtest.h>

namespace kvo {
namespace {

TEST(Array, StartsWithCapacityEightAndGrowsByDoubling) {
    Array<int> array;
    EXPECT_EQ(array.capacity(), 8u);
    for (int i = 0; i < 9; ++i) {
        array.append(i);
    }
    EXPECT_EQ(array.capacity(), 16u);
    for (int i = 9; i < 33; ++i) {
        array.append(i);
    }
    EXPECT_EQ(array.capacity(), 64u);
    EXPECT_EQ(array.size(), 33u);
}

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

TEST_F(ArrayDeathTest, RemovingPastTheEndIsAnAssertion) {
    Array<int> array;
    EXPECT_EXIT(array.remove(0), testing::ExitedWithCode(7),
                "Assertion failed: index < size\\(\\)");
}

}  // namespace
}  // namespace kvo
