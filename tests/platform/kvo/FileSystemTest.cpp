#include "platform/kvo/FileSystem.hpp"

#include <gtest/gtest.h>

#include <cstdio>

#include "platform/kvo/System.hpp"
#include "support/TempDirectory.hpp"

namespace kvo {
namespace {

using Names = std::vector<String>;

TEST(FileSystem, EmptinessAndExistence) {
    test::TempDirectory dir;
    EXPECT_TRUE(FileSystem::exists(dir.path()));
    EXPECT_TRUE(FileSystem::isDirectoryEmpty(dir.path()));
    dir.write("440.wav", "x");
    EXPECT_FALSE(FileSystem::isDirectoryEmpty(dir.path()));
    EXPECT_TRUE(FileSystem::exists(dir.file("440.wav")));
    EXPECT_FALSE(FileSystem::exists(dir.file("441.wav")));
    EXPECT_FALSE(FileSystem::isDirectoryEmpty(dir.file("440.wav")));
    EXPECT_FALSE(FileSystem::isDirectoryEmpty(dir.file("missing")));
}

TEST(FileSystem, ListsOnlyPlainFilesByName) {
    test::TempDirectory dir;
    dir.write("b.wav", "x");
    dir.write("a.b.wav", "x");
    FileSystem::createDirectories(dir.file("sub.wav"));
    EXPECT_EQ(FileSystem::getDirectoryContents(dir.path()), (Names{"a.b.wav", "b.wav"}));
    EXPECT_EQ(FileSystem::getDirectoryContents(dir.file("missing")), Names{});
}

TEST(FileSystem, RemovesFilesButNeverDirectories) {
    test::TempDirectory dir;
    const String file = dir.write("440.wav", "x");
    FileSystem::createDirectories(dir.file("logs"));
    EXPECT_TRUE(FileSystem::removeFile(file));
    EXPECT_FALSE(FileSystem::exists(file));
    EXPECT_FALSE(FileSystem::removeFile(file));
    EXPECT_FALSE(FileSystem::removeFile(dir.file("logs")));
    EXPECT_TRUE(FileSystem::exists(dir.file("logs")));
}

TEST(FileSystem, UnicodePathsRoundTrip) {
    test::TempDirectory dir;
    const String path = dir.file("Mikrofon-\xC3\xBC\xE2\x82\xAC.wav");
    std::FILE* file = System::fopen(path, "wb");
    ASSERT_NE(file, nullptr);
    std::fclose(file);
    EXPECT_EQ(FileSystem::getDirectoryContents(dir.path()),
              Names{"Mikrofon-\xC3\xBC\xE2\x82\xAC.wav"});
    EXPECT_TRUE(FileSystem::removeFile(path));
}

}  // namespace
}  // namespace kvo
