#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "HtmlPage.hpp"
#include "ProgramRun.hpp"
#include "support/TextCount.hpp"

namespace kvo::test {
namespace {

namespace fs = std::filesystem;

const std::vector<std::string> kThreeTonesAndLevels{"FrequencyToneTest", "IntegratedMicrophoneTest",
                                                    "--param", "FrequencyList=440,1000,4000"};

std::vector<std::string> withHtml(std::vector<std::string> arguments, const TempDirectory& base) {
    arguments.insert(arguments.end(), {"--html", base.file("report.html")});
    return arguments;
}

// The checks of that kind in the run's report, in order.
std::vector<nlohmann::json> checksOfKind(const ProgramRun& run, const std::string& kind) {
    std::vector<nlohmann::json> checks;
    for (const nlohmann::json& test : run.report["tests"]) {
        for (const nlohmann::json& check : test["checks"]) {
            if (check["kind"] == kind) {
                checks.push_back(check);
            }
        }
    }
    return checks;
}

std::vector<double> numbers(const std::vector<std::string>& texts) {
    std::vector<double> values;
    for (const std::string& text : texts) {
        values.push_back(text.empty() ? -1.0 : std::stod(text));
    }
    return values;
}

// Loads nothing from anywhere and runs nothing.
void expectSelfContained(const std::string& page) {
    EXPECT_LT(page.size(), 2u * 1024 * 1024);
    for (const char* outside : {"http://", "https://", "<script", "<link", "<img", "<iframe",
                                "url(", "@import", " src=", "javascript:"}) {
        EXPECT_EQ(page.find(outside), std::string::npos) << outside;
    }
}

// Every tone check has one spectrum, its expected and found marks at its own
// figures, and the found mark sits on the trace's highest point: the spectrum is
// the one the verdict was drawn from.
void expectSpectraOfEveryToneCheck(const std::string& page,
                                   const std::vector<nlohmann::json>& tones) {
    ASSERT_EQ(countOf(page, "<svg class=\"spectrum\""), tones.size());
    const auto expected = numbers(attributeValues(page, "<line class=\"expected\"", "data-hz"));
    const auto found = numbers(attributeValues(page, "<circle class=\"found", "data-hz"));
    const auto foundX = numbers(attributeValues(page, "<circle class=\"found", "cx"));
    const auto foundY = numbers(attributeValues(page, "<circle class=\"found", "cy"));
    const auto traces = spectrumTraces(page);
    ASSERT_EQ(expected.size(), tones.size());
    ASSERT_EQ(traces.size(), tones.size());
    std::size_t foundMark = 0;
    for (std::size_t i = 0; i < tones.size(); ++i) {
        SCOPED_TRACE(tones[i]["check"].get<std::string>());
        const nlohmann::json& figures = tones[i]["measurement"];
        EXPECT_NEAR(expected[i], figures["expectedHz"].get<double>(), 1e-3);
        ASSERT_GE(traces[i].size(), 100u);
        EXPECT_LE(traces[i].size(), 400u);
        if (figures["foundHz"].get<double>() > 0.0) {
            ASSERT_LT(foundMark, found.size());
            EXPECT_NEAR(found[foundMark], figures["foundHz"].get<double>(), 0.01);
            const auto top =
                std::min_element(traces[i].begin(), traces[i].end(),
                                 [](const auto& a, const auto& b) { return a.second < b.second; });
            EXPECT_NEAR(top->first, foundX[foundMark], 0.11);
            EXPECT_NEAR(top->second, foundY[foundMark], 0.11);
            ++foundMark;
        }
        // The figures beside the chart.
        EXPECT_NE(page.find(tones[i]["summary"].get<std::string>()), std::string::npos);
    }
    EXPECT_EQ(foundMark, found.size());
    // A check whose analysis found no peak says so instead.
    EXPECT_EQ(found.size() + countOf(page, "class=\"found-label none\""), tones.size());
}

// A PC with two microphones, the first dead: a failing and a passing one on the same page.
TEST(HtmlReportE2E, TwoMicrophonePcShowsVerdictsSpectraLevelsDevicesEventsAndFiles) {
    TempDirectory base;
    const ProgramRun run =
        runOnSimulatedPc(withHtml(withSetting(kThreeTonesAndLevels, kSaveRecordings), base),
                         "two-microphones-first-dead", base);
    ASSERT_EQ(run.exitCode, 1) << run.errors;
    const std::string page = readWholeFile(base.file("report.html"));
    ASSERT_FALSE(page.empty());
    expectSelfContained(page);

    // The header: the run's verdict, then every test's, in colour.
    const std::string overall = run.report["result"];
    EXPECT_NE(page.find("<h1>kvormicrophone report <span class=\"verdict " +
                        std::string(overall == "PASS" ? "pass" : "fail") + "\">" + overall),
              std::string::npos);
    EXPECT_NE(visibleText(page).find(run.report["audioDescription"].get<std::string>()),
              std::string::npos);
    EXPECT_NE(page.find("kvormicrophone " + run.report["version"].get<std::string>()),
              std::string::npos);
    const nlohmann::json& tests = run.report["tests"];
    ASSERT_EQ(tests.size(), 2u);  // both on the one sound card
    for (const nlohmann::json& test : tests) {
        const std::string result = test["result"];
        const std::string css = result == "PASS" ? "pass" : result == "FAIL" ? "fail" : "other";
        EXPECT_NE(page.find("<td><span class=\"verdict " + css + "\">" + result + "</span></td>"),
                  std::string::npos)
            << test.dump();
        EXPECT_NE(page.find("<h2><span class=\"verdict " + css + "\">" + result + "</span> " +
                            test["name"].get<std::string>() + " on " +
                            test["device"].get<std::string>() + "</h2>"),
                  std::string::npos)
            << test["name"];
    }

    const auto tones = checksOfKind(run, "tone");
    EXPECT_EQ(tones.size(), 3u * 2u * 2u);  // three tones, two channels, two microphones
    expectSpectraOfEveryToneCheck(page, tones);
    // The dead one: its diagnosis, silent spectra and bars, and the threshold it missed.
    EXPECT_EQ(countOf(page, "<section class=\"check tone\"><h3><span class=\"verdict fail\">"), 6u);
    EXPECT_NE(page.find("<p class=\"diagnosis\">no signal</p>"), std::string::npos);
    EXPECT_NE(page.find("<section class=\"check amplitude\"><h3><span class=\"verdict fail\">"),
              std::string::npos);
    EXPECT_GE(countOf(page, ">silence</text>"), 1u);
    EXPECT_EQ(countOf(page, ">digital silence: every bin below -140 dBFS</text>"), 6u);
    EXPECT_NE(page.find("<line class=\"threshold missed\""), std::string::npos);

    // Each microphone's four levels as bars, against the thresholds that decided.
    const auto levels = checksOfKind(run, "amplitude");
    ASSERT_EQ(levels.size(), 2u);
    EXPECT_EQ(countOf(page, "<svg class=\"levels\""), levels.size());
    const auto bars = numbers(attributeValues(page, "<rect class=\"bar", "data-dbfs"));
    ASSERT_EQ(bars.size(), 4 * levels.size());
    for (std::size_t i = 0; i < levels.size(); ++i) {
        const nlohmann::json& figures = levels[i]["measurement"];
        std::size_t bar = 4 * i;
        for (const char* name :
             {"mutedSilentDbfs", "mutedLoudDbfs", "unmutedSilentDbfs", "unmutedLoudDbfs"}) {
            EXPECT_NEAR(bars[bar++], figures[name].get<double>(), 0.051) << name;
        }
    }
    EXPECT_GE(countOf(page, "<line class=\"threshold "), levels.size());

    // The devices as `devices` lists them.
    const std::size_t devices = page.find("<h2>Devices found</h2>");
    ASSERT_NE(devices, std::string::npos);
    for (const char* name : {"Microphone Array", "Headset Microphone", "Speakers"}) {
        EXPECT_NE(page.find(name, devices), std::string::npos) << name;
    }
    // The events in the order they were raised, and the files saved, linked.
    std::vector<std::string> keys;
    for (const nlohmann::json& event : run.linesOf("event")) {
        keys.push_back(event["key"]);
    }
    ASSERT_FALSE(keys.empty());
    std::vector<std::string> shown;
    const std::size_t events = page.find("<h2>Events</h2>");
    ASSERT_NE(events, std::string::npos);
    for (std::size_t at = page.find("<td><code>", events); at != std::string::npos;
         at = page.find("<td><code>", at + 1)) {
        shown.push_back(page.substr(at + 10, page.find("</code>", at) - at - 10));
    }
    EXPECT_EQ(shown, keys);
    std::size_t files = 0;
    for (const nlohmann::json& test : tests) {
        for (const nlohmann::json& file : test["files"]) {
            const std::string path = file["path"];
            EXPECT_NE(page.find("<a href=\"file://" + path + "\">" + path + "</a>"),
                      std::string::npos)
                << path;
            ++files;
        }
    }
    EXPECT_GE(files, 6u);
}

TEST(HtmlReportE2E, APageOverALinkReplacesTheLinkAndShowsNamesThatLookLikeMarkupAsText) {
    TempDirectory base;
    std::ofstream(base.file("precious.txt")) << "precious";
    fs::create_symlink(base.file("precious.txt"), base.file("report.html"));
    nlohmann::json machine = scenarioMachine("healthy-laptop");
    endpointOf(machine, "mic-array")["name"] = "Mic <script>alert(\"x\")</script> & co";
    const ProgramRun run = runOnMachine(withHtml(tones("1000"), base), machine);
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(readWholeFile(base.file("precious.txt")), "precious");
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(base.file("report.html"))));
    const std::string page = readWholeFile(base.file("report.html"));
    expectSelfContained(page);
    EXPECT_NE(page.find("Mic &lt;script&gt;alert(&quot;x&quot;)&lt;/script&gt; &amp; co"),
              std::string::npos);
}

}  // namespace
}  // namespace kvo::test
