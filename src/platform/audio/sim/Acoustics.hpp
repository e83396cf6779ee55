#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Machine.hpp"
#include "platform/audio/WaveFormat.hpp"

// The sound of the simulated PC: volume tapers, the filters of the acoustic
// paths, each microphone's noise, and the mix of what the speakers play into
// what a microphone picks up. Plain arithmetic only, so that a machine file
// and its seed give the same samples on every platform.

namespace audio::sim {

double dbToGain(double db);

// The endpoint volume's taper: a scalar level 0..1 maps linearly to dB from
// minDb to maxDb and is rounded to the nearest step counted from minDb.
double taperDb(const VolumeConfig& volume, double scalar);
// The scalar whose tapered level is `db` (clamped to the range).
double scalarForDb(const VolumeConfig& volume, double db);
// A stage level clamped to the stage's range and rounded to its step.
double snapStageDb(const GainStageConfig& stage, double db);

// The seed of one capture's noise: the machine's seed mixed with the
// endpoint and how many captures it made before.
std::uint64_t captureSeed(std::uint64_t machineSeed, std::uint64_t endpoint, std::uint64_t capture);

// One playback: the buffer's samples at full scale 1.0, played from startUs
// `repetitions` times back to back until endUs.
struct RenderSession {
    std::size_t endpoint = 0;
    std::uint32_t rate = 0;
    std::uint32_t channels = 0;
    std::int64_t frames = 0;     // frames of one repetition
    std::vector<float> samples;  // interleaved
    std::int64_t startUs = 0;
    std::int64_t endUs = 0;
};

// A first-order filter (bilinear transform, pre-warped at its corner).
struct FirstOrderFilter {
    bool active = false;
    double b0 = 1.0;
    double b1 = 0.0;
    double a1 = 0.0;
    double x1 = 0.0;
    double y1 = 0.0;

    static FirstOrderFilter lowPass(double cornerHz, double rate);
    static FirstOrderFilter highPass(double cornerHz, double rate);
    double step(double x) {
        if (!active) {
            return x;
        }
        const double y = b0 * x + b1 * x1 - a1 * y1;
        x1 = x;
        y1 = y;
        return y;
    }
};

// The state of one capture's signal chain: its noise generator and, per
// acoustic path into the microphone, that path's filters.
struct CaptureSignal {
    struct Path {
        std::size_t speaker = 0;
        double gain = 1.0;
        double delaySeconds = 0.0;
        FirstOrderFilter highPass;
        FirstOrderFilter lowPass;
    };

    std::size_t endpoint = 0;
    WAVEFORMATEX format;
    std::uint64_t random = 0;
    std::vector<Path> paths;

    // Noise of unit RMS: the sum of four uniform draws, scaled.
    double noise();
};

// What one speaker feeding a microphone puts out during a packet: its gain per
// channel (zero when it cannot be heard) and the playbacks on it.
struct SpeakerFeed {
    std::vector<double> channelGains;  // kFeedChannels
    std::vector<std::shared_ptr<RenderSession>> sessions;

    static constexpr std::uint32_t kFeedChannels = 8;
};

// A microphone's own chain during a packet: pickup of the sound, element
// noise and hum, then per channel the gain of its stages, volume and mute.
struct MicrophoneChain {
    double pickup = 0.0;
    double noiseRms = 0.0;
    double humPeak = 0.0;
    double humHz = 0.0;
    std::vector<double> channelGains;

    // The element's part, from the endpoint's description and faults.
    static MicrophoneChain of(const EndpointConfig& microphone);
};

// Writes frames [firstFrame, endFrame) of a capture that began at startUs
// into `out`, in the capture's format; `feeds` follow the signal's paths.
void mixCapture(CaptureSignal& signal, const std::vector<SpeakerFeed>& feeds,
                const MicrophoneChain& chain, std::int64_t startUs, std::int64_t firstFrame,
                std::int64_t endFrame, unsigned char* out);

}  // namespace audio::sim
