#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vesk5 {

// The figures one check of a test measured, reported beside its verdict. They
// explain a result and never change it.
struct Measurement {
    // What was checked, for people: `1000 Hz  mic "Microphone Array" L`.
    std::string check;
    // The kind of check ("tone", "amplitude"): which figures to expect.
    std::string kind;
    bool passed = false;
    // The figures in one short line: `found 1000.5 Hz (+/-0.68)  -12.3 dBFS  SNR 41 dB`.
    std::string summary;
    // Why the check failed or looks doubtful; empty when nothing stands out.
    std::string diagnosis;
    // What was measured, by name: speaker, microphone, channel, file, ...
    std::vector<std::pair<std::string, std::string>> subject;
    // The numbers, by name, in the units their names end with (Hz, Db, Dbfs, ...).
    std::vector<std::pair<std::string, double>> figures;
    // The spectrum the check judged, thinned out for a chart: (Hz, dBFS)
    // points rising in frequency; empty for a check that has none.
    std::vector<std::pair<double, double>> spectrum;

    // The figure of that name, or null when the check has none.
    const double* figure(std::string_view name) const {
        for (const auto& [figureName, value] : figures) {
            if (figureName == name) {
                return &value;
            }
        }
        return nullptr;
    }
};

}  // namespace vesk5
