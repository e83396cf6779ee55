#include <gtest/gtest.h>

int main(int argc, char** argv) {
    // Death tests re-run the binary; "threadsafe" keeps that correct with live threads.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
