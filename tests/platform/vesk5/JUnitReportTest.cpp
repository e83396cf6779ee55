#include "platform/vesk5/host/JUnitReport.hpp"

#include <gtest/gtest.h>

#include "support/TextCount.hpp"

namespace vesk5::host {
namespace {

using kvo::test::countOf;

TEST(JUnitReport, NamesFromOutsideBecomeWellFormedUtf8WithoutControlCharactersOrMarkup) {
    RunReport report("1.0", "sim", true);
    RunReport::TestRecord& test = report.beginTest("FrequencyToneTest", "Mic \xff\xfe<\x1b[2J\">");
    test.events.push_back({"FAIL_X", Severity::Error, "not heard & \x07gone", {}, "x.cpp", 1});
    Measurement check;
    check.check = "1000 Hz  mic \"Mic \xc3\" L";
    check.kind = "tone";
    check.passed = false;
    check.diagnosis = "no signal";
    test.measurements.push_back(check);
    report.endTest(TestResult::FAIL(), {});
    report.finish(TestResult::FAIL());

    const std::string xml = junitXml(report, "host\xff");

    for (const char bad : {'\xff', '\xfe', '\x1b', '\x07'}) {
        EXPECT_EQ(xml.find(bad), std::string::npos) << static_cast<int>(bad);
    }
    EXPECT_NE(xml.find("Mic \xef\xbf\xbd\xef\xbf\xbd&lt;[2J&quot;&gt;"), std::string::npos) << xml;
    EXPECT_NE(xml.find("hostname=\"host\xef\xbf\xbd\""), std::string::npos) << xml;
    EXPECT_NE(xml.find("not heard &amp; gone"), std::string::npos) << xml;
    EXPECT_EQ(countOf(xml, "<testcase "), 2u);
    EXPECT_EQ(countOf(xml, "<failure "), 2u);
    EXPECT_NE(xml.find("tests=\"2\" failures=\"2\" errors=\"0\" skipped=\"0\""), std::string::npos);
}

}  // namespace
}  // namespace vesk5::host
