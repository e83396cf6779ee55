#include "LevelChart.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "SvgWriter.hpp"

namespace vesk5::host {
namespace {

constexpr double kWidth = 680.0;
constexpr double kHeight = 250.0;
constexpr double kLeft = 52.0;
constexpr double kRight = 170.0;
constexpr double kTop = 26.0;
constexpr double kBottom = 34.0;
constexpr double kTopDbfs = 0.0;
constexpr double kBottomDbfs = -120.0;
constexpr double kFloorDbfs = -150.0;

double yOf(double dbfs) {
    const double clamped = std::clamp(dbfs, kBottomDbfs, kTopDbfs);
    return kTop + (kHeight - kTop - kBottom) * (kTopDbfs - clamped) / (kTopDbfs - kBottomDbfs);
}

// A standard deviation of 16-bit samples as a level, as the recordings' are.
double levelOf(double standardDeviation) {
    return standardDeviation > 0.0
               ? std::max(kFloorDbfs, 20.0 * std::log10(standardDeviation / 32768.0))
               : kFloorDbfs;
}

double figureOr(const Measurement& measurement, std::string_view name, double missing) {
    const double* value = measurement.figure(name);
    return value != nullptr ? *value : missing;
}

struct Threshold {
    double dbfs;
    bool met;
    std::string label;
};

// The levels the unmuted loud bar is measured against, drawn across the chart,
// their labels kept apart when the levels lie close together.
void drawThresholds(SvgWriter& svg, std::vector<Threshold> thresholds) {
    constexpr double kLabelSpacing = 13.0;
    std::sort(thresholds.begin(), thresholds.end(),
              [](const Threshold& a, const Threshold& b) { return a.dbfs > b.dbfs; });
    double lowestLabel = 0.0;
    for (const Threshold& threshold : thresholds) {
        const double y = yOf(threshold.dbfs);
        const std::string cssClass = threshold.met ? "threshold met" : "threshold missed";
        svg.line(kLeft, y, kWidth - kRight, y, cssClass,
                 {{"data-dbfs", fmt::format("{:.1f}", threshold.dbfs)}});
        const double label = std::max(y + 4, lowestLabel + kLabelSpacing);
        svg.text(kWidth - kRight + 6, label,
                 fmt::format("{} {:.1f}", threshold.label, threshold.dbfs), cssClass + "-label");
        lowestLabel = label;
    }
}

}  // namespace

std::string levelChart(const Measurement& measurement) {
    SvgWriter svg(kWidth, kHeight, "levels", "recording levels of " + measurement.check);
    const double bottom = kHeight - kBottom;
    for (double dbfs = kTopDbfs; dbfs >= kBottomDbfs; dbfs -= 20.0) {
        svg.line(kLeft, yOf(dbfs), kWidth - kRight, yOf(dbfs), "grid");
        svg.text(kLeft - 6, yOf(dbfs) + 4, fmt::format("{:g}", dbfs), "tick", "end");
    }
    svg.text(kLeft - 44, kTop - 10, "dBFS", "axis");

    static constexpr const char* kRecordings[4][2] = {{"mutedSilent", "muted, silent"},
                                                      {"mutedLoud", "muted, loud"},
                                                      {"unmutedSilent", "unmuted, silent"},
                                                      {"unmutedLoud", "unmuted, loud"}};
    const double slot = (kWidth - kLeft - kRight) / 4;
    for (int i = 0; i < 4; ++i) {
        const double level =
            levelOf(figureOr(measurement, fmt::format("{}StdDev", kRecordings[i][0]), 0.0));
        const double x = kLeft + slot * i + slot * 0.2;
        const double top = yOf(level);
        svg.rect(x, top, slot * 0.6, std::max(0.0, bottom - top), i == 3 ? "bar loud" : "bar",
                 {{"data-dbfs", fmt::format("{:.1f}", level)}});
        svg.text(x + slot * 0.3, std::min(top, bottom) - 5,
                 level <= kFloorDbfs ? "silence" : fmt::format("{:.1f}", level), "value", "middle");
        svg.text(x + slot * 0.3, bottom + 16, kRecordings[i][1], "tick", "middle");
    }

    // The loud recording must stand out from the muted one by more than the
    // level the volume range calls silence.
    const double mutedLoud = figureOr(measurement, "mutedLoudStdDev", 0.0);
    const double silence = figureOr(measurement, "silenceThreshold", 0.0);
    const double unmutedLoud = figureOr(measurement, "unmutedLoudStdDev", 0.0);
    std::vector<Threshold> thresholds{
        {levelOf(mutedLoud + silence), unmutedLoud - mutedLoud > silence, "above muted:"}};
    // And rise above the unmuted silent recording by the needed gain; with a
    // silent recording of exactly zero there is no gain to draw.
    const double unmutedSilent = figureOr(measurement, "unmutedSilentStdDev", 0.0);
    if (unmutedSilent > 0.0) {
        const double needed = figureOr(measurement, "passingGainDb", 0.0);
        thresholds.push_back({levelOf(unmutedSilent) + needed,
                              figureOr(measurement, "gainDb", 0.0) > needed,
                              fmt::format("silent + {:.1f} dB:", needed)});
    }
    drawThresholds(svg, std::move(thresholds));
    return svg.finish();
}

}  // namespace vesk5::host
