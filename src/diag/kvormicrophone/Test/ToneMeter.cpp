#include "ToneMeter.hpp"

#include <fmt/format.h>

#include "ToneSpectrum.hpp"
#include "platform/vesk5/DiagModule.hpp"

namespace kvormicrophone {

void ToneMeter::channelAnalysed(std::uint32_t channel, const std::int16_t* samples,
                                std::uint32_t count, const libMath::FFT& fft,
                                const SignalProperty& property) {
    if (channel == 0) {
        figures_.clear();
        spectra_.clear();
    }
    figures_.append(measureTone(samples, count, fft, tone_.frequency(channel),
                                property.dominantFrequency, property.tolerance));
    spectra_.push_back(toneSpectrum(fft, count, kSpectrumPoints));
}

vesk5::Measurement ToneMeter::measurement(const ToneFigures& figures, const kvo::String& label,
                                          const kvo::String& channel) {
    vesk5::Measurement measurement;
    measurement.kind = "tone";
    measurement.check = fmt::format("{:g} Hz  {} {}", figures.expectedHz, label, channel);
    measurement.passed = figures.heard;
    // A silent channel has no peak and no ratio worth printing: only its level.
    measurement.summary =
        figures.silent()
            ? fmt::format("found nothing  {:.1f} dBFS", figures.rmsDbfs)
            : fmt::format("found {:.1f} Hz (+/-{:.2f})  {:.1f} dBFS  SNR {:.0f} dB",
                          figures.foundHz, figures.toleranceHz, figures.rmsDbfs, figures.snrDb);
    if (figures.clippedSamples > 0) {
        measurement.summary += fmt::format("  {} samples clipped", figures.clippedSamples);
    }
    measurement.diagnosis = figures.diagnosis();
    measurement.figures = {{"expectedHz", figures.expectedHz},
                           {"foundHz", figures.foundHz},
                           {"toleranceHz", figures.toleranceHz},
                           {"binWidthHz", figures.binWidthHz},
                           {"peakDbfs", figures.peakDbfs},
                           {"rmsDbfs", figures.rmsDbfs},
                           {"toneDbfs", figures.toneDbfs},
                           {"noiseFloorDbfs", figures.noiseFloorDbfs},
                           {"snrDb", figures.snrDb},
                           {"thdnDb", figures.thdnDb},
                           {"peakProminenceDb", figures.peakProminenceDb},
                           {"clippedSamples", static_cast<double>(figures.clippedSamples)}};
    return measurement;
}

void ToneMeter::report(const kvo::String& label,
                       std::vector<std::pair<std::string, std::string>> subject) {
    for (std::uint32_t channel = 0; channel < figures_.size(); ++channel) {
        const char* name = figures_.size() == 1 ? "M" : channel == 0 ? "L" : "R";
        vesk5::Measurement measurement = ToneMeter::measurement(figures_[channel], label, name);
        measurement.subject = subject;
        measurement.subject.emplace_back("channel", name);
        if (channel < spectra_.size()) {
            measurement.spectrum = std::move(spectra_[channel]);
        }
        vesk5::DiagModule::reportMeasurement(measurement);
    }
    figures_.clear();
    spectra_.clear();
}

}  // namespace kvormicrophone
