#include "JUnitReport.hpp"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "JsonText.hpp"

namespace vesk5::host {
namespace {

std::string escaped(const std::string& text) {
    std::string result;
    // Names and paths from outside may hold bytes that are not UTF-8.
    for (const char c : validUtf8(text)) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            default:
                // XML 1.0 has no place for the other control characters.
                if (static_cast<unsigned char>(c) >= 0x20 || c == '\n' || c == '\t') {
                    result += c;
                }
        }
    }
    return result;
}

double seconds(std::chrono::system_clock::time_point from,
               std::chrono::system_clock::time_point to) {
    return to > from ? std::chrono::duration<double>(to - from).count() : 0.0;
}

std::string eventsText(const RunReport::TestRecord& test) {
    std::string text;
    for (const RaisedEvent& event : test.events) {
        text += fmt::format("{} {}: {}\n", severityName(event.severity), event.key, event.text);
    }
    return text;
}

std::string figuresText(const Measurement& measurement) {
    std::string text = measurement.summary;
    for (const auto& [name, value] : measurement.figures) {
        text += fmt::format("\n{} = {}", name, value);
    }
    return text;
}

struct Counts {
    int tests = 0;
    int failures = 0;
    int errors = 0;
    int skipped = 0;
};

void resultCase(const RunReport::TestRecord& test, std::string& out, Counts& counts) {
    const std::string name = test.name + " result";
    out +=
        fmt::format("    <testcase name=\"{}\" classname=\"kvormicrophone.{}\" time=\"{:.3f}\">\n",
                    escaped(name), escaped(test.name), seconds(test.started, test.ended));
    ++counts.tests;
    const std::string message = fmt::format("{} ({})", test.result.name(), test.result.value());
    if (test.result == TestResult::FAIL()) {
        ++counts.failures;
        out += fmt::format("      <failure message=\"{}\" type=\"FAIL\">{}</failure>\n",
                           escaped(message), escaped(eventsText(test)));
    } else if (test.result == TestResult::NODEVICE() || test.result == TestResult::NOTSUPPORTED()) {
        ++counts.skipped;
        out += fmt::format("      <skipped message=\"{}\">{}</skipped>\n", escaped(message),
                           escaped(eventsText(test)));
    } else if (test.result != TestResult::PASS()) {
        ++counts.errors;
        out += fmt::format("      <error message=\"{}\" type=\"{}\">{}</error>\n", escaped(message),
                           escaped(std::string(test.result.name())), escaped(eventsText(test)));
    }
    if (!test.events.empty()) {
        out += fmt::format("      <system-out>{}</system-out>\n", escaped(eventsText(test)));
    }
    out += "    </testcase>\n";
}

void checkCase(const RunReport::TestRecord& test, const Measurement& measurement, std::string& out,
               Counts& counts) {
    out += fmt::format("    <testcase name=\"{}\" classname=\"kvormicrophone.{}.{}\">\n",
                       escaped(measurement.check), escaped(test.name), escaped(measurement.kind));
    ++counts.tests;
    if (!measurement.passed) {
        ++counts.failures;
        const std::string message =
            measurement.diagnosis.empty() ? measurement.summary : measurement.diagnosis;
        out += fmt::format("      <failure message=\"{}\" type=\"{}\">{}\n{}</failure>\n",
                           escaped(message), escaped(measurement.kind),
                           escaped(figuresText(measurement)), escaped(eventsText(test)));
    } else {
        out +=
            fmt::format("      <system-out>{}</system-out>\n", escaped(figuresText(measurement)));
    }
    out += "    </testcase>\n";
}

}  // namespace

std::string junitXml(const RunReport& report, const std::string& hostName) {
    std::string suites;
    Counts total;
    for (const RunReport::TestRecord& test : report.tests()) {
        Counts counts;
        std::string cases;
        resultCase(test, cases, counts);
        for (const Measurement& measurement : test.measurements) {
            checkCase(test, measurement, cases, counts);
        }
        const std::string name =
            test.device.empty() ? test.name : fmt::format("{} on {}", test.name, test.device);
        suites += fmt::format(
            "  <testsuite name=\"{}\" tests=\"{}\" failures=\"{}\" errors=\"{}\" skipped=\"{}\" "
            "time=\"{:.3f}\" timestamp=\"{:%Y-%m-%dT%H:%M:%S}\" hostname=\"{}\">\n{}  "
            "</testsuite>\n",
            escaped(name), counts.tests, counts.failures, counts.errors, counts.skipped,
            seconds(test.started, test.ended),
            std::chrono::time_point_cast<std::chrono::seconds>(test.started), escaped(hostName),
            cases);
        total.tests += counts.tests;
        total.failures += counts.failures;
        total.errors += counts.errors;
        total.skipped += counts.skipped;
    }
    return fmt::format(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites name=\"kvormicrophone\" "
        "tests=\"{}\" failures=\"{}\" errors=\"{}\" skipped=\"{}\">\n{}</testsuites>\n",
        total.tests, total.failures, total.errors, total.skipped, suites);
}

}  // namespace vesk5::host
