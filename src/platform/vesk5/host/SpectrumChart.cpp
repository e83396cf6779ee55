#include "SpectrumChart.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "SvgWriter.hpp"

namespace vesk5::host {
namespace {

constexpr double kWidth = 720.0;
constexpr double kHeight = 250.0;
constexpr double kLeft = 52.0;
constexpr double kRight = 14.0;
constexpr double kTop = 26.0;
constexpr double kBottom = 34.0;
constexpr double kLowestHz = 20.0;
constexpr double kHighestHz = 22000.0;
constexpr double kTopDbfs = 0.0;
constexpr double kBottomDbfs = -140.0;
// The tolerance band is often narrower than a pixel; it is drawn no narrower.
constexpr double kNarrowestBand = 5.0;

double xOf(double hz) {
    const double clamped = std::clamp(hz, kLowestHz, kHighestHz);
    return kLeft + (kWidth - kLeft - kRight) * std::log10(clamped / kLowestHz) /
                       std::log10(kHighestHz / kLowestHz);
}

double yOf(double dbfs) {
    const double clamped = std::clamp(dbfs, kBottomDbfs, kTopDbfs);
    return kTop + (kHeight - kTop - kBottom) * (kTopDbfs - clamped) / (kTopDbfs - kBottomDbfs);
}

std::string hzText(double hz) {
    return hz >= 1000.0 ? fmt::format("{:g}k", hz / 1000.0) : fmt::format("{:g}", hz);
}

void drawAxes(SvgWriter& svg) {
    const double bottom = kHeight - kBottom;
    for (double dbfs = kTopDbfs; dbfs >= kBottomDbfs; dbfs -= 20.0) {
        svg.line(kLeft, yOf(dbfs), kWidth - kRight, yOf(dbfs), "grid");
        svg.text(kLeft - 6, yOf(dbfs) + 4, fmt::format("{:g}", dbfs), "tick", "end");
    }
    for (const double hz :
         {20.0, 50.0, 100.0, 200.0, 500.0, 1000.0, 2000.0, 5000.0, 10000.0, 20000.0}) {
        svg.line(xOf(hz), kTop, xOf(hz), bottom, "grid");
        svg.text(xOf(hz), bottom + 15, hzText(hz), "tick", "middle");
    }
    svg.text(kWidth - kRight, kHeight - 4, "frequency (Hz)", "axis", "end");
    svg.text(kLeft - 44, kTop - 10, "dBFS", "axis");
}

// The spectrum's level at the point nearest `hz`.
double levelAt(const std::vector<std::pair<double, double>>& spectrum, double hz) {
    const auto nearest =
        std::min_element(spectrum.begin(), spectrum.end(), [hz](const auto& a, const auto& b) {
            return std::abs(a.first - hz) < std::abs(b.first - hz);
        });
    return nearest == spectrum.end() ? kBottomDbfs : nearest->second;
}

}  // namespace

std::string spectrumChart(const Measurement& measurement) {
    const double* expected = measurement.figure("expectedHz");
    const double* found = measurement.figure("foundHz");
    const double* tolerance = measurement.figure("toleranceHz");
    SvgWriter svg(kWidth, kHeight, "spectrum", "spectrum of " + measurement.check);
    drawAxes(svg);

    if (expected != nullptr) {
        const double band = tolerance != nullptr ? *tolerance : 0.0;
        const double left = xOf(*expected - band);
        const double width = std::max(kNarrowestBand, xOf(*expected + band) - left);
        const double centre = xOf(*expected);
        const std::string hz = fmt::format("{:g}", *expected);
        svg.rect(centre - width / 2, kTop, width, kHeight - kTop - kBottom, "band",
                 {{"data-hz", hz}, {"data-tolerance-hz", fmt::format("{:g}", band)}});
        svg.line(centre, kTop, centre, kHeight - kBottom, "expected", {{"data-hz", hz}});
        svg.text(centre, kTop - 8, fmt::format("expected {} Hz \u00b1{:.2f}", hz, band),
                 "expected-label", centre > kWidth / 2 ? "end" : "start");
    }

    std::vector<std::pair<double, double>> points;
    points.reserve(measurement.spectrum.size() + 2);
    for (const auto& [hz, dbfs] : measurement.spectrum) {
        points.emplace_back(xOf(hz), yOf(dbfs));
    }
    if (!points.empty()) {
        std::vector<std::pair<double, double>> area = points;
        area.emplace_back(points.back().first, yOf(kBottomDbfs));
        area.emplace_back(points.front().first, yOf(kBottomDbfs));
        svg.polyline(area, "area");
        svg.polyline(points, "trace");
    }
    const bool silent = std::all_of(measurement.spectrum.begin(), measurement.spectrum.end(),
                                    [](const auto& point) { return point.second <= kBottomDbfs; });
    if (silent) {
        svg.text((kLeft + kWidth - kRight) / 2, yOf(kBottomDbfs) - 10,
                 "digital silence: every bin below " + fmt::format("{:g}", kBottomDbfs) + " dBFS",
                 "silence", "middle");
    }

    if (found != nullptr && *found > 0.0) {
        const double x = xOf(*found);
        const double y = yOf(levelAt(measurement.spectrum, *found));
        svg.circle(x, y, 5, measurement.passed ? "found" : "found wrong",
                   {{"data-hz", fmt::format("{:g}", *found)}});
        svg.text(x + (x > kWidth / 2 ? -9 : 9), std::max(kTop + 12, y - 8),
                 fmt::format("found {:.1f} Hz", *found), "found-label",
                 x > kWidth / 2 ? "end" : "start");
    } else {
        svg.text(kWidth - kRight - 6, kTop + 14, "no peak found", "found-label none", "end",
                 {{"data-hz", "0"}});
    }
    return svg.finish();
}

}  // namespace vesk5::host
