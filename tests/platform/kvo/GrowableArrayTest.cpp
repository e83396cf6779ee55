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

}  // namespace
}  // namespace kvo
