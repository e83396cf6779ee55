#include "platform/kvo/FileSystem.hpp"

#include <gtest/gtest.h>

#include <cstdio>

#include "platform/kvo/System.hpp"
#include "support/TempDirectory.hpp"

namespace kvo {
namespace {

// On Windows the names are UTF-8 here and wide in the system's calls; the
// end-to-end runs' file names are all ASCII.
TEST(FileSystem, UnicodePathsRoundTrip) {
    test::TempDirectory dir;
    const String path = dir.file("Mikrofon-\xC3\xBC\xE2\x82\xAC.wav");
    std::FILE* file = System::fopen(path, "wb");
    ASSERT_NE(file, nullptr);
    std::fclose(file);
    EXPECT_EQ(FileSystem::getDirectoryContents(dir.path()),
              std::vector<String>{"Mikrofon-\xC3\xBC\xE2\x82\xAC.wav"});
    EXPECT_TRUE(FileSystem::removeFile(path));
    EXPECT_FALSE(FileSystem::exists(path));
}

// Old recordings are cleared by listing the logs folder and removing each
// name: a folder there, even one named like a recording, is the user's.
TEST(FileSystem, FoldersAreNeitherListedNorRemoved) {
    test::TempDirectory dir;
    FileSystem::createDirectories(dir.file("440.wav"));
    EXPECT_TRUE(FileSystem::getDirectoryContents(dir.path()).empty());
    EXPECT_FALSE(FileSystem::removeFile(dir.file("440.wav")));
    EXPECT_TRUE(FileSystem::exists(dir.file("440.wav")));
}

}  // namespace
}  // namespace kvo
