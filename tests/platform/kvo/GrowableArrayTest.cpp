#include "platform/kvo/GrowableArray.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace kvo {
namespace {

std::vector<unsigned char> contents(const ByteArray& array) {
    return {array.data(), array.data() + array.size()};
}

ByteArray filled(std::size_t size) {
    ByteArray array;
    array.resize(size);
    for (std::size_t i = 0; i < size; ++i) {
        array[i] = static_cast<unsigned char>(i + 1);
    }
    return array;
}

TEST(GrowableArray, ShrinkingAboveHalfTheCapacityKeepsTheBlock) {
    ByteArray array = filled(10);
    const unsigned char* const block = array.data();
    array.resize(6);
    EXPECT_EQ(array.data(), block);
    EXPECT_EQ(array.size(), 6u);
    EXPECT_EQ(array.capacity(), 10u);
    EXPECT_EQ(contents(array), (std::vector<unsigned char>{1, 2, 3, 4, 5, 6}));

    // Growing back within the capacity keeps the block too, and the old bytes.
    array.resize(9);
    EXPECT_EQ(array.data(), block);
    EXPECT_EQ(array.capacity(), 10u);
    EXPECT_EQ(array[8], 9);
}

TEST(GrowableArray, ShrinkingToHalfOrLessReallocatesExactly) {
    ByteArray array = filled(10);
    array.resize(5);  // exactly half: not above it
    EXPECT_EQ(array.capacity(), 5u);
    EXPECT_EQ(contents(array), (std::vector<unsigned char>{1, 2, 3, 4, 5}));
}

TEST(GrowableArray, GrowingPastTheCapacityKeepsThePrefixAndZeroFills) {
    ByteArray array = filled(3);
    array.resize(6);
    EXPECT_EQ(array.capacity(), 6u);
    EXPECT_EQ(contents(array), (std::vector<unsigned char>{1, 2, 3, 0, 0, 0}));
    // Back up to the capacity itself is not "below" it: a fresh block, so the
    // byte dropped by the shrink does not come back.
    array[4] = 9;
    array.resize(4);
    array.resize(6);
    EXPECT_EQ(contents(array), (std::vector<unsigned char>{1, 2, 3, 0, 0, 0}));
}

TEST(GrowableArray, SizeZeroFreesEverything) {
    ByteArray array = filled(4);
    array.resize(0);
    EXPECT_EQ(array.data(), nullptr);
    EXPECT_EQ(array.size(), 0u);
    EXPECT_EQ(array.capacity(), 0u);
}

TEST(GrowableArray, SameSizeChangesNothing) {
    ByteArray array = filled(8);
    array.resize(5);
    const unsigned char* const block = array.data();
    array.resize(5);
    EXPECT_EQ(array.data(), block);
    EXPECT_EQ(array.capacity(), 8u);
}

TEST(GrowableArray, AssignmentCopiesToAnExactBlock) {
    const ByteArray source = filled(3);
    ByteArray target = filled(20);
    target = source;
    EXPECT_EQ(contents(target), contents(source));
    EXPECT_EQ(target.capacity(), 3u);
    EXPECT_NE(target.data(), source.data());

    ByteArray moved = std::move(target);
    EXPECT_EQ(contents(moved), (std::vector<unsigned char>{1, 2, 3}));
    EXPECT_EQ(target.size(), 0u);
}

TEST(GrowableArray, ResizeCountsElementsNotBytes) {
    GrowableArray<std::uint32_t> array;
    array.resize(3);
    array[2] = 0xDEADBEEF;
    array.resize(4);
    EXPECT_EQ(array[2], 0xDEADBEEFu);
    EXPECT_EQ(array[3], 0u);
    EXPECT_EQ(array.capacity(), 4u);
}

}  // namespace
}  // namespace kvo
