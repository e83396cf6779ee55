#include <gtest/gtest.h>

#include "ShellRun.hpp"

namespace kvo::test {
namespace {

bool contains(const std::string& line, const std::string& text) {
    return line.find(text) != std::string::npos;
}

// Even at --log-level 3 (errors only) the log says what ran where and how it ended.
TEST(RunLogE2E, EveryRunOfTheLogStartsWithItsHeaderAndEndsWithItsVerdict) {
    TempDirectory base;
    TempDirectory scratch;
    const auto runTones = [&](const std::string& scenario) {
        return runProgram(
            {"run", "FrequencyToneTest", "--param", "FrequencyList=440", "--audio", "sim",
             "--machine", std::string(KVO_SCENARIOS) + "/" + scenario + ".json", "--log-level", "3",
             "--base-dir", base.path()},
            {}, base.path(), scratch);
    };
    EXPECT_EQ(runTones("healthy-laptop").exitCode, 0);
    EXPECT_EQ(runTones("dead-microphone").exitCode, 1);

    const std::vector<std::string> log =
        textLines(readWholeFile(base.file("logs/kvormicrophone.log")));
    std::vector<std::size_t> starts;
    std::vector<std::string> verdicts;
    for (std::size_t i = 0; i < log.size(); ++i) {
        if (contains(log[i], "Run started ")) {
            starts.push_back(i);
        }
        if (contains(log[i], "Run result: ")) {
            verdicts.push_back(log[i].substr(log[i].find("Run result: ")));
        }
    }
    ASSERT_EQ(starts.size(), 2u) << readWholeFile(base.file("logs/kvormicrophone.log"));
    EXPECT_EQ(verdicts, (std::vector<std::string>{"Run result: PASS (0)", "Run result: FAIL (1)"}));
    for (const std::size_t start : starts) {
        ASSERT_LT(start + 4, log.size());
        EXPECT_TRUE(contains(log[start + 1], "Module: kvormicrophone 6.5")) << log[start + 1];
        EXPECT_TRUE(contains(log[start + 2],
                             "Command line: kvormicrophone run FrequencyToneTest "
                             "--param FrequencyList=440 --audio sim"))
            << log[start + 2];
        EXPECT_TRUE(contains(log[start + 3], "Audio system: sim, machine file ")) << log[start + 3];
        EXPECT_TRUE(contains(log[start + 4], "Machine: ")) << log[start + 4];
    }
    EXPECT_TRUE(contains(log.back(), "Run result: FAIL (1)")) << log.back();
}

}  // namespace
}  // namespace kvo::test
