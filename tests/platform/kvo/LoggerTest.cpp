#include "platform/kvo/Logger.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <thread>
#include <vector>

#include "platform/kvo/LogSinks.hpp"
#include "support/TempDirectory.hpp"

namespace kvo {
namespace {

TEST(FileLogSink, LinesOfSeveralWritersNeverInterleave) {
    // Two sinks on one file stand for two runs in one base folder; each writes
    // from two threads, lines longer than a stdio buffer's remainder.
    test::TempDirectory dir;
    const std::string path = dir.file("run.log");
    FileLogSink first(path);
    FileLogSink second(path);
    constexpr int kLines = 300;
    const std::string text(700, 'x');
    std::vector<std::thread> writers;
    for (FileLogSink* sink : {&first, &second, &first, &second}) {
        writers.emplace_back([sink, &text] {
            for (int i = 0; i < kLines; ++i) {
                sink->write(LogRecord{"writer", kLogInfo, 7, text});
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    std::ifstream file(path);
    int lines = 0;
    for (std::string line; std::getline(file, line); ++lines) {
        const std::string suffix = " writer P2 7 " + text;
        ASSERT_TRUE(line.size() > suffix.size() &&
                    line.compare(line.size() - suffix.size(), suffix.size(), suffix) == 0)
            << "line " << lines << ": " << line.substr(0, 80);
    }
    EXPECT_EQ(lines, 4 * kLines);
}

TEST(FileLogSink, UnwritablePathIsAClearError) {
    try {
        FileLogSink sink("/nonexistent-dir/x/run.log");
        GTEST_FAIL() << "expected an exception";
    } catch (const std::exception& e) {
        EXPECT_NE(std::string(e.what()).find("/nonexistent-dir/x/run.log"), std::string::npos);
    }
}

}  // namespace
}  // namespace kvo
