#pragma once

#include <cstdint>
#include <mutex>
#include <span>
#include <vector>

#include "platform/audio/WaveFormat.hpp"

namespace vesk5::host {

// One channel's level over the last interval, in dB of full scale (a
// full-scale sine is -3 dBFS RMS); minus infinity for digital silence.
struct ChannelLevel {
    double rmsDbfs = 0.0;
    // The highest sample of the interval or, while it is held, of an earlier one.
    double peakDbfs = 0.0;
    // A sample reached full scale in this interval or within the hold time.
    bool clipped = false;
};

struct MeterReading {
    std::uint64_t frames = 0;  // frames captured in the interval; 0: nothing arrived
    std::vector<ChannelLevel> channels;
};

// Measures interleaved PCM as it is captured, interval by interval. Fed on
// the capture's thread and read on another, so it locks itself.
class LevelMeter {
public:
    // `holdIntervals`: how many intervals a peak and a clip stay shown.
    LevelMeter(const audio::WAVEFORMATEX& format, unsigned holdIntervals);

    // Whether it reads this format: 16-bit PCM or 32-bit float, any channel count.
    static bool reads(const audio::WAVEFORMATEX& format);

    // Adds captured bytes; a frame cut at the end is completed by the next call.
    void add(std::span<const unsigned char> bytes);
    // The levels since the last call, with peaks and clips held.
    MeterReading endInterval();

private:
    struct Channel {
        double sumOfSquares = 0.0;
        double peak = 0.0;
        bool clipped = false;
        double heldPeak = 0.0;
        unsigned peakAge = 0;
        unsigned clipShownFor = 0;
    };

    void addFrame(const unsigned char* frame);

    const audio::WAVEFORMATEX format_;
    const unsigned holdIntervals_;
    std::mutex mutex_;
    std::vector<unsigned char> partialFrame_;
    std::uint64_t frames_ = 0;
    std::vector<Channel> channels_;
};

}  // namespace vesk5::host
