#include "FrequencyListCheck.hpp"

#include <fmt/format.h>

#include <cmath>

#include "ToneFigures.hpp"

namespace kvormicrophone {

std::uint32_t transformLengthFor(std::uint32_t rate) {
    // As the tone test cuts: the single-precision 0.6 of a one-second capture.
    const auto dropped = static_cast<std::uint32_t>(rate * static_cast<double>(0.6F));
    const std::uint32_t kept = rate - dropped;
    std::uint32_t length = 1;
    while (length < kept) {
        length *= 2;
    }
    return length;
}

bool passesOnPerfectPath(std::uint32_t hz, std::uint32_t rate) {
    if (rate == 0) {
        return false;
    }
    const double length = transformLengthFor(rate);
    const double binWidth = rate / length;
    // The nearest bin, or the nearest inside the band the analysis scans.
    double bin = std::round(hz / binWidth);
    if (bin * binWidth <= ToneFigures::kLowestHz) {
        bin = std::floor(ToneFigures::kLowestHz / binWidth) + 1;
    }
    if (bin * binWidth >= ToneFigures::kHighestHz) {
        bin = std::ceil(ToneFigures::kHighestHz / binWidth) - 1;
    }
    const double found = bin * binWidth;
    const double tolerance = length / rate;
    return !(found - tolerance > hz || hz > found + tolerance);
}

kvo::String perfectPathNote(std::uint32_t hz, std::uint32_t rate, std::uint32_t lowest,
                            std::uint32_t highest) {
    if (passesOnPerfectPath(hz, rate)) {
        return "";
    }
    kvo::String nearest;
    for (std::uint32_t below = hz; below-- > lowest;) {
        if (passesOnPerfectPath(below, rate)) {
            nearest = fmt::format("{} Hz", below);
            break;
        }
    }
    for (std::uint32_t above = hz + 1; above <= highest; ++above) {
        if (passesOnPerfectPath(above, rate)) {
            nearest += fmt::format("{}{} Hz", nearest.empty() ? "" : " and ", above);
            break;
        }
    }
    return fmt::format(
        "{} Hz lies between two analysis bins at {} samples per second: it fails even on a "
        "perfect path; {} pass{}",
        hz, rate, nearest.empty() ? "no frequency in the range" : nearest,
        nearest.find(" and ") == kvo::String::npos ? "es" : "");
}

}  // namespace kvormicrophone
