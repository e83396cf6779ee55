#include "HtmlChecks.hpp"

#include <fmt/format.h>

#include <cmath>

#include "LevelChart.hpp"
#include "SpectrumChart.hpp"
#include "SvgWriter.hpp"

namespace vesk5::host {
namespace {

struct FigureRow {
    const char* label;
    std::string value;
};

// A figure with its unit, or a dash when the check has none.
std::string shown(const Measurement& measurement, std::string_view name, const char* format) {
    const double* value = measurement.figure(name);
    return value != nullptr ? fmt::format(fmt::runtime(format), *value) : "\u2013";
}

std::vector<FigureRow> toneRows(const Measurement& m) {
    return {{"expected", shown(m, "expectedHz", "{:g} Hz")},
            {"found", shown(m, "foundHz", "{:.1f} Hz")},
            {"tolerance", shown(m, "toleranceHz", "\u00b1{:.2f} Hz")},
            {"level (RMS)", shown(m, "rmsDbfs", "{:.1f} dBFS")},
            {"peak", shown(m, "peakDbfs", "{:.1f} dBFS")},
            {"tone", shown(m, "toneDbfs", "{:.1f} dBFS")},
            {"noise floor", shown(m, "noiseFloorDbfs", "{:.1f} dBFS")},
            {"SNR", shown(m, "snrDb", "{:.1f} dB")},
            {"THD+N", shown(m, "thdnDb", "{:.1f} dB")},
            {"clipping", shown(m, "clippedSamples", "{:g} samples")}};
}

std::vector<FigureRow> amplitudeRows(const Measurement& m) {
    return {{"muted, silent", shown(m, "mutedSilentDbfs", "{:.1f} dBFS")},
            {"muted, loud", shown(m, "mutedLoudDbfs", "{:.1f} dBFS")},
            {"unmuted, silent", shown(m, "unmutedSilentDbfs", "{:.1f} dBFS")},
            {"unmuted, loud", shown(m, "unmutedLoudDbfs", "{:.1f} dBFS")},
            {"gain", shown(m, "gainDb", "{:.1f} dB")},
            {"gain needed", shown(m, "passingGainDb", "> {:.1f} dB")},
            {"volume range", shown(m, "volumeRangeDb", "{:.1f} dB")},
            {"boost", shown(m, "boostGainDb", "+{:.1f} dB")},
            {"boost stages", shown(m, "boostStages", "{:g}")}};
}

}  // namespace

std::string checkCard(const Measurement& measurement) {
    const bool tone = measurement.kind == "tone";
    std::string card =
        fmt::format("<section class=\"check {}\"><h3><span class=\"verdict {}\">{}</span> {}</h3>",
                    markupEscape(measurement.kind), measurement.passed ? "pass" : "fail",
                    measurement.passed ? "PASS" : "FAIL", markupEscape(measurement.check));
    if (!measurement.diagnosis.empty()) {
        card += fmt::format("<p class=\"diagnosis\">{}</p>", markupEscape(measurement.diagnosis));
    }
    card += "<div class=\"body\">";
    if (tone) {
        card += spectrumChart(measurement);
    } else if (measurement.kind == "amplitude") {
        card += levelChart(measurement);
    }
    card += "<table class=\"figures\">";
    for (const FigureRow& row : tone ? toneRows(measurement) : amplitudeRows(measurement)) {
        card += fmt::format("<tr><th>{}</th><td>{}</td></tr>", row.label, markupEscape(row.value));
    }
    card += "</table></div>";
    card +=
        fmt::format("<p class=\"summary\">{}</p></section>\n", markupEscape(measurement.summary));
    return card;
}

}  // namespace vesk5::host
