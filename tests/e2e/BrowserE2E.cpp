#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "HtmlPage.hpp"
#include "ProgramRun.hpp"
#include "support/ShellQuote.hpp"

namespace kvo::test {
namespace {

// Headless Chromium with a profile of its own, so that runs side by side do
// not share one; ended after two minutes rather than hanging the suite.
std::string chromium(const TempDirectory& base, const std::string& arguments) {
    return "timeout 120 " KVO_CHROMIUM
           " --headless --no-sandbox --disable-gpu "
           "--no-first-run --user-data-dir=" +
           shellQuoted(base.file("chromium-profile")) + " " + arguments + " 2>/dev/null";
}

struct RenderedPage {
    std::string dom;
    std::size_t screenshotColours = 0;
};

RenderedPage render(const TempDirectory& base) {
    RenderedPage page;
    const std::string url = shellQuoted("file://" + base.file("report.html"));
    page.dom = outputOf(chromium(base, "--dump-dom " + url));
    outputOf(chromium(base, "--hide-scrollbars --window-size=1000,1600 --screenshot=" +
                                shellQuoted(base.file("page.png")) + " " + url));
    const std::string colours =
        outputOf("identify -format %k " + shellQuoted(base.file("page.png")));
    page.screenshotColours = colours.empty() ? 0 : std::stoul(colours);
    return page;
}

// The page a browser builds for a PC with two microphones, the first dead, shows every test's
// verdict, every check's figures and spectrum, and is not blank on screen.
TEST(BrowserE2E, TheReportOfAPassingAndAFailingMicrophoneRendersInChromium) {
    TempDirectory base;
    const ProgramRun run =
        runOnSimulatedPc({"FrequencyToneTest", "IntegratedMicrophoneTest", "--param",
                          "FrequencyList=440,1000,4000", "--html", base.file("report.html")},
                         "two-microphones-first-dead", base);
    ASSERT_EQ(run.exitCode, 1) << run.errors;
    const RenderedPage page = render(base);
    ASSERT_FALSE(page.dom.empty());
    const std::string shown = visibleText(page.dom);
    std::size_t tones = 0;
    for (const nlohmann::json& test : run.report["tests"]) {
        EXPECT_NE(
            shown.find(test["result"].get<std::string>() + " " + test["name"].get<std::string>() +
                       " on " + test["device"].get<std::string>()),
            std::string::npos)
            << test.dump();
        for (const nlohmann::json& check : test["checks"]) {
            EXPECT_NE(shown.find(check["summary"].get<std::string>()), std::string::npos)
                << check["summary"];
            if (check["kind"] == "tone") {
                ++tones;
                char thdn[64];
                std::snprintf(thdn, sizeof thdn, "THD+N%.1f dB",
                              check["measurement"]["thdnDb"].get<double>());
                EXPECT_NE(shown.find(thdn), std::string::npos) << thdn;
            }
        }
    }
    EXPECT_EQ(tones, 12u);
    EXPECT_NE(shown.find("no signal"), std::string::npos);
    EXPECT_EQ(spectrumTraces(page.dom).size(), tones);
    // A blank or unstyled page has a handful of colours; charts and verdicts, hundreds.
    EXPECT_GT(page.screenshotColours, 100u);
}

}  // namespace
}  // namespace kvo::test
