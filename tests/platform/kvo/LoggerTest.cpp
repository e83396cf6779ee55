#include "platform/kvo/Logger.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <thread>
#include <vector>

#include "platform/kvo/LogSinks.hpp"
#include "support/CapturingLogSink.hpp"
#include "support/TempDirectory.hpp"

namespace kvo {
namespace {

TEST(LoggerGating, WrittenOnlyWhenBothGlobalAndOwnPriorityAllow) {
    struct Case {
        int global, own, message;
        bool written;
    };
    Logger& logger = Logger::get("test.gating");
    for (const Case c :
         {Case{1, 1, 1, true}, Case{2, 1, 1, false}, Case{1, 2, 1, false}, Case{2, 2, 2, true},
          Case{3, 1, 2, false}, Case{1, 3, 2, false}, Case{3, 3, 3, true}}) {
        test::CapturingLogSink capture;
        Logger::setGlobalPriority(c.global);
        logger.setPriority(c.own);
        logger.log(c.message, 1, "x");
        EXPECT_EQ(capture.messages("test.gating").size(), c.written ? 1u : 0u)
            << "global " << c.global << " own " << c.own << " message " << c.message;
    }
    logger.setPriority(kLogDetail);
}

TEST(FileLogSink, AppendsMessagesDecoratedWithLoggerPriorityAndTag) {
    test::TempDirectory dir;
    Logger& logger = Logger::get("test.logger");
    auto sink = std::make_shared<FileLogSink>(dir.file("run.log"));
    Logger::addSink(sink);
    logger.log(kLogError, 128, "Header Size 40");
    Logger::removeSink(sink);
    sink->flush();
    std::ifstream file(dir.file("run.log"));
    std::string line;
    ASSERT_TRUE(std::getline(file, line));
    EXPECT_NE(line.find(" test.logger P3 128 Header Size 40"), std::string::npos) << line;
}

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
