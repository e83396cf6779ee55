#pragma once

#include <string>
#include <utility>
#include <vector>

#include "SignalTester.hpp"
#include "ToneFigures.hpp"
#include "platform/kvo/Array.hpp"
#include "platform/vesk5/Measurement.hpp"

namespace kvormicrophone {

// Takes the figures of every channel a tone check analyses, from the
// analysis's own spectrum, and reports them as one measurement per channel.
class ToneMeter : public ChannelObserver {
public:
    // `tone` is the tone being checked; it must outlive the meter.
    explicit ToneMeter(const CurrentTone& tone) : tone_(tone) {}

    void channelAnalysed(std::uint32_t channel, const std::int16_t* samples, std::uint32_t count,
                         const libMath::FFT& fft, const SignalProperty& property) override;

    const kvo::Array<ToneFigures>& figures() const { return figures_; }

    // One measurement per channel analysed since the last report, named
    // "<expected> Hz  <label> <channel>"; `subject` says what was measured.
    // The figures are consumed.
    void report(const kvo::String& label, std::vector<std::pair<std::string, std::string>> subject);

    static vesk5::Measurement measurement(const ToneFigures& figures, const kvo::String& label,
                                          const kvo::String& channel);

    // Points of the spectrum each check keeps for a chart.
    static constexpr std::uint32_t kSpectrumPoints = 400;

private:
    const CurrentTone& tone_;
    kvo::Array<ToneFigures> figures_;
    std::vector<std::vector<std::pair<double, double>>> spectra_;
};

}  // namespace kvormicrophone
