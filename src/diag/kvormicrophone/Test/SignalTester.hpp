#pragma once

#include <cstdint>

#include "SignalAnalyzer.hpp"
#include "common/libAudio-common/StaticPCMBuffer.hpp"

namespace kvormicrophone {

// The expected tone of each channel, in Hz: the frequencies the stimulus was
// synthesised with.
struct CurrentTone {
    double left = 0.0;
    double right = 0.0;

    // Channel 0 is left, 1 is right.
    double frequency(std::uint32_t channel) const;
};

// Whatever holds the captured audio that the tester checks.
class RecordingSource {
public:
    virtual ~RecordingSource() = default;
    virtual const libAudio::StaticPCMBuffer& recording() const = 0;
};

// Decides whether every channel of a recording heard its expected tone.
class SignalTester {
public:
    explicit SignalTester(const RecordingSource* source = nullptr) : source_(source) {}

    // The source is not owned and may be null.
    void setRecordingSource(const RecordingSource* source) { source_ = source; }
    const RecordingSource* recordingSource() const { return source_; }
    // Sees every channel the tester analyses; not owned, may be null.
    void setChannelObserver(ChannelObserver* observer) { analyzer_.setObserver(observer); }

    // True when the dominant frequency of every channel lies within its
    // tolerance of the expected one (edges included). Stops at the first
    // failing channel.
    bool isSignalValid(const CurrentTone* const& tone);

    // Whether `expected` lies within the property's tolerance of its dominant
    // frequency, both edges included.
    static bool isWithinTolerance(const SignalProperty& property, double expected);

private:
    const RecordingSource* source_;
    SignalAnalyzer analyzer_;
};

}  // namespace kvormicrophone
