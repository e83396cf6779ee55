#include "LevelMeter.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace vesk5::host {
namespace {

double decibels(double ratio, double factor) {
    return ratio > 0.0 ? factor * std::log10(ratio) : -std::numeric_limits<double>::infinity();
}

bool isFloat32(const audio::WAVEFORMATEX& format) {
    return format.wFormatTag == audio::WAVE_FORMAT_IEEE_FLOAT && format.wBitsPerSample == 32;
}

}  // namespace

LevelMeter::LevelMeter(const audio::WAVEFORMATEX& format, unsigned holdIntervals)
    : format_(format), holdIntervals_(holdIntervals), channels_(format.nChannels) {}

bool LevelMeter::reads(const audio::WAVEFORMATEX& format) {
    const bool pcm16 = format.wFormatTag == audio::WAVE_FORMAT_PCM && format.wBitsPerSample == 16;
    return (pcm16 || isFloat32(format)) && audio::isConsistentFormat(format);
}

void LevelMeter::addFrame(const unsigned char* frame) {
    const std::size_t sampleBytes = format_.wBitsPerSample / 8;
    for (std::size_t c = 0; c < channels_.size(); ++c) {
        const unsigned char* sample = frame + c * sampleBytes;
        double value = 0.0;
        bool fullScale = false;
        if (isFloat32(format_)) {
            float f = 0.0F;
            std::memcpy(&f, sample, sizeof f);
            value = std::isfinite(f) ? f : 1.0;
            fullScale = std::abs(value) >= 1.0;
        } else {
            const auto raw = static_cast<std::int16_t>(sample[0] | (sample[1] << 8));
            value = raw / 32768.0;
            fullScale = raw == std::numeric_limits<std::int16_t>::max() ||
                        raw == std::numeric_limits<std::int16_t>::min();
        }
        Channel& channel = channels_[c];
        channel.sumOfSquares += value * value;
        channel.peak = std::max(channel.peak, std::abs(value));
        channel.clipped = channel.clipped || fullScale;
    }
    ++frames_;
}

void LevelMeter::add(std::span<const unsigned char> bytes) {
    const std::size_t block = format_.nBlockAlign;
    std::lock_guard lock(mutex_);
    while (!partialFrame_.empty() && !bytes.empty()) {
        partialFrame_.push_back(bytes.front());
        bytes = bytes.subspan(1);
        if (partialFrame_.size() == block) {
            addFrame(partialFrame_.data());
            partialFrame_.clear();
        }
    }
    for (; bytes.size() >= block; bytes = bytes.subspan(block)) {
        addFrame(bytes.data());
    }
    partialFrame_.assign(bytes.begin(), bytes.end());
}

MeterReading LevelMeter::endInterval() {
    std::lock_guard lock(mutex_);
    MeterReading reading;
    reading.frames = frames_;
    for (Channel& channel : channels_) {
        const bool holdEnded = ++channel.peakAge >= holdIntervals_;
        if (holdEnded || channel.peak >= channel.heldPeak) {
            channel.heldPeak = channel.peak;
            channel.peakAge = 0;
        }
        if (channel.clipped) {
            channel.clipShownFor = holdIntervals_;
        } else if (channel.clipShownFor > 0) {
            --channel.clipShownFor;
        }
        const double meanSquare = frames_ > 0 ? channel.sumOfSquares / frames_ : 0.0;
        reading.channels.push_back(ChannelLevel{decibels(meanSquare, 10.0),
                                                decibels(channel.heldPeak, 20.0),
                                                channel.clipShownFor > 0});
        channel.sumOfSquares = 0.0;
        channel.peak = 0.0;
        channel.clipped = false;
    }
    frames_ = 0;
    return reading;
}

}  // namespace vesk5::host
