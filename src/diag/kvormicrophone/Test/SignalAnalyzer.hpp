#pragma once

#include "common/libAudio-common/StaticPCMBuffer.hpp"
#include "common/libMath/FFT.hpp"
#include "platform/kvo/Array.hpp"
#include "platform/kvo/GrowableArray.hpp"

namespace kvormicrophone {

// What the analysis found in one channel.
struct SignalProperty {
    double dominantFrequency = 0.0;  // Hz
    // The padded transform length in seconds, used as hertz: the match window
    // around the dominant frequency.
    double tolerance = 0.0;
    double reserved = 0.0;  // never filled
};

// Told about every channel right after its transform, while its spectrum is
// still there: figures beside the verdict come from the same analysis.
class ChannelObserver {
public:
    virtual ~ChannelObserver() = default;
    virtual void channelAnalysed(std::uint32_t channel, const std::int16_t* samples,
                                 std::uint32_t count, const libMath::FFT& fft,
                                 const SignalProperty& property) = 0;
};

// Finds the dominant frequency of every channel of a recording.
class SignalAnalyzer {
public:
    // Appends one property per channel of a mono or stereo 16-bit signal. False,
    // with one log line, for an empty signal, more than two channels, or a
    // failing transform; properties of channels done before stay appended.
    bool signalProperty(const libAudio::StaticPCMBuffer& signal,
                        kvo::Array<SignalProperty>& properties);

    const libMath::FFT& fft() const { return fft_; }
    // Not owned; null for none.
    void setObserver(ChannelObserver* observer) { observer_ = observer; }

private:
    // One channel of any other sample width into samples_, through channel_.
    bool copyChannel(const libAudio::StaticPCMBuffer& signal, int channel, std::uint32_t blocks);

    kvo::ByteArray channel_;  // the channel being analysed, kept for the next call
    kvo::GrowableArray<std::int16_t> samples_;
    libMath::FFT fft_;
    ChannelObserver* observer_ = nullptr;
};

}  // namespace kvormicrophone
