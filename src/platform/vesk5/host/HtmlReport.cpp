#include "HtmlReport.hpp"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <cctype>

#include "HtmlChecks.hpp"
#include "SvgWriter.hpp"

namespace vesk5::host {
namespace {

constexpr const char* kStyle = R"(
body{font:14px/1.45 "DejaVu Sans",Arial,sans-serif;color:#1f2328;background:#f6f8fa;margin:0}
main{max-width:1000px;margin:0 auto;padding:20px}
header{background:#fff;border:1px solid #d0d7de;border-radius:8px;padding:16px 20px}
h1{font-size:22px;margin:0 0 8px}h2{font-size:18px;margin:26px 0 10px}
h3{font-size:15px;margin:0 0 6px}
section.check,section.block{background:#fff;border:1px solid #d0d7de;border-radius:8px;
padding:12px 16px;margin:10px 0}
.verdict{display:inline-block;min-width:44px;text-align:center;border-radius:4px;
padding:1px 8px;font-weight:bold;color:#fff;background:#9a6700}
.verdict.pass{background:#1a7f37}.verdict.fail{background:#cf222e}
table{border-collapse:collapse}th,td{text-align:left;padding:3px 10px 3px 0;vertical-align:top}
table.list th{border-bottom:1px solid #d0d7de}table.list td{border-bottom:1px solid #eaeef2}
dl.facts{display:grid;grid-template-columns:max-content auto;gap:2px 16px;margin:8px 0 0}
dl.facts dt{color:#59636e}dl.facts dd{margin:0}
.body{display:flex;flex-wrap:wrap;gap:8px 16px;align-items:flex-start}
table.figures th{color:#59636e;font-weight:normal}
.diagnosis{color:#cf222e;font-weight:bold;margin:2px 0 6px}.summary{color:#59636e;margin:6px 0 0}
.error{color:#cf222e}.warning{color:#9a6700}.info{color:#59636e}
pre{background:#f6f8fa;padding:10px;overflow:auto;font-size:12px}
svg{background:#fff;max-width:100%;height:auto}svg text{font:11px "DejaVu Sans",Arial,sans-serif}
svg .grid{stroke:#eaeef2}svg .tick{fill:#59636e}svg .axis{fill:#59636e;font-weight:bold}
svg .trace{fill:none;stroke:#0969da;stroke-width:1.2}svg .area{fill:#ddf4ff;stroke:none}
svg .band{fill:#1a7f37;fill-opacity:.18}svg .expected{stroke:#1a7f37;stroke-dasharray:4 3}
svg .expected-label{fill:#1a7f37;font-weight:bold}
svg .found{fill:#1a7f37;stroke:#fff;stroke-width:1.5}svg .found.wrong{fill:#cf222e}
svg .found-label{fill:#1f2328;font-weight:bold}svg .silence{fill:#cf222e;font-weight:bold}svg .found-label.none{fill:#cf222e}
svg .bar{fill:#8c959f}svg .bar.loud{fill:#0969da}svg .value{fill:#1f2328;font-weight:bold}
svg .threshold{stroke-width:2;stroke-dasharray:6 3}svg .threshold.met{stroke:#1a7f37}
svg .threshold.missed{stroke:#cf222e}svg .threshold.met-label{fill:#1a7f37}
svg .threshold.missed-label{fill:#cf222e}
)";

std::string verdictClass(std::string_view result) {
    return result == "PASS" ? "pass" : result == "FAIL" ? "fail" : "other";
}

std::string verdict(std::string_view result) {
    return fmt::format("<span class=\"verdict {}\">{}</span>", verdictClass(result),
                       markupEscape(result));
}

// A link to a saved file wherever the page is opened from.
std::string fileUrl(const std::string& path) {
    std::string url = "file://";
    std::string slashed = path;
    for (char& c : slashed) {
        c = c == '\\' ? '/' : c;
    }
    if (slashed.empty() || slashed.front() != '/') {
        url += '/';  // a drive letter
    }
    for (const char c : slashed) {
        const auto byte = static_cast<unsigned char>(c);
        url += std::isalnum(byte) != 0 || std::string_view("/-._~:").find(c) != std::string::npos
                   ? std::string(1, c)
                   : fmt::format("%{:02X}", byte);
    }
    return url;
}

std::string header(const RunReport& report) {
    const RunReport::Context& context = report.context();
    std::string html = fmt::format(
        "<header><h1>kvormicrophone report {}</h1><dl class=\"facts\">"
        "<dt>date</dt><dd>{:%Y-%m-%d %H:%M:%S} UTC</dd>"
        "<dt>machine</dt><dd>{} ({})</dd><dt>audio system</dt><dd>{}</dd>"
        "<dt>module version</dt><dd>kvormicrophone {}</dd>",
        verdict(report.result().name()),
        fmt::gmtime(std::chrono::system_clock::to_time_t(report.started())),
        markupEscape(context.hostName), markupEscape(context.operatingSystem),
        markupEscape(context.audioDescription.empty() ? report.audio() : context.audioDescription),
        markupEscape(report.version()));
    std::string commandLine = "kvormicrophone";
    for (const std::string& argument : context.commandLine) {
        commandLine += " " + argument;
    }
    html += fmt::format("<dt>command</dt><dd><code>{}</code></dd>", markupEscape(commandLine));
    if (!report.error().empty()) {
        html += fmt::format("<dt>ended early</dt><dd class=\"error\">{}</dd>",
                            markupEscape(report.error()));
    }
    html +=
        "</dl><table class=\"list verdicts\"><tr><th>test</th><th>device</th><th>verdict</th>"
        "</tr>";
    for (const RunReport::TestRecord& test : report.tests()) {
        html += fmt::format("<tr><td>{}</td><td>{}</td><td>{}</td></tr>", markupEscape(test.name),
                            markupEscape(test.device.empty() ? "\u2013" : test.device),
                            verdict(test.result.name()));
    }
    return html + "</table></header>\n";
}

std::string testSection(const RunReport::TestRecord& test) {
    std::string html =
        fmt::format("<h2>{} {}{}</h2>\n", verdict(test.result.name()), markupEscape(test.name),
                    test.device.empty() ? "" : " on " + markupEscape(test.device));
    for (const std::string& note : test.notes) {
        html += fmt::format("<p class=\"note\">{}</p>\n", markupEscape(note));
    }
    for (const Measurement& measurement : test.measurements) {
        html += checkCard(measurement);
    }
    return html;
}

std::string eventsSection(const RunReport& report) {
    std::string html =
        "<h2>Events</h2><section class=\"block\"><table class=\"list events\"><tr><th>#</th>"
        "<th>test</th><th>severity</th><th>event</th><th>text</th></tr>";
    int number = 0;
    for (const RunReport::TestRecord& test : report.tests()) {
        for (const RaisedEvent& event : test.events) {
            const std::string_view severity = severityName(event.severity);
            html += fmt::format(
                "<tr class=\"{}\"><td>{}</td><td>{}</td><td>{}</td><td><code>{}</code></td>"
                "<td>{}</td></tr>",
                severity, ++number, markupEscape(test.name), severity, markupEscape(event.key),
                markupEscape(event.text));
        }
    }
    if (number == 0) {
        html += "<tr><td colspan=\"5\">no events</td></tr>";
    }
    return html + "</table></section>\n";
}

std::string filesSection(const RunReport& report) {
    std::string html = "<h2>Files saved</h2><section class=\"block\"><ul class=\"files\">";
    bool any = false;
    for (const RunReport::TestRecord& test : report.tests()) {
        for (const std::string& path : test.files) {
            html += fmt::format("<li><a href=\"{}\">{}</a></li>", markupEscape(fileUrl(path)),
                                markupEscape(path));
            any = true;
        }
    }
    if (!any) {
        html += "<li>none</li>";
    }
    const std::string& log = report.context().logFile;
    html += "</ul>";
    if (!log.empty()) {
        html += fmt::format("<p>log: <a href=\"{}\">{}</a></p>", markupEscape(fileUrl(log)),
                            markupEscape(log));
    }
    return html + "</section>\n";
}

}  // namespace

std::string htmlReport(const RunReport& report) {
    std::string html = fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
        "<meta name=\"viewport\" content=\"width=device-width\">"
        "<title>kvormicrophone {} {}</title><style>{}</style></head><body><main>\n",
        markupEscape(report.result().name()), markupEscape(report.context().hostName), kStyle);
    html += header(report);
    for (const RunReport::TestRecord& test : report.tests()) {
        html += testSection(test);
    }
    const std::string& devices = report.context().devices;
    const std::size_t first = devices.find_first_not_of('\n');
    if (first != std::string::npos) {
        html += fmt::format(
            "<h2>Devices found</h2><section class=\"block\"><pre>{}</pre></section>\n",
            markupEscape(devices.substr(first, devices.find_last_not_of('\n') + 1 - first)));
    }
    html += eventsSection(report);
    html += filesSection(report);
    return html + "</main></body></html>\n";
}

}  // namespace vesk5::host
