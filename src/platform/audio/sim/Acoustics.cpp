#include "Acoustics.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "platform/audio/SampleCodec.hpp"

namespace audio::sim {
namespace {

std::uint64_t splitMix(std::uint64_t& state) {
    std::uint64_t z = (state += UINT64_C(0x9E3779B97F4A7C15));
    z = (z ^ (z >> 30)) * UINT64_C(0xBF58476D1CE4E5B9);
    z = (z ^ (z >> 27)) * UINT64_C(0x94D049BB133111EB);
    return z ^ (z >> 31);
}

// What the speakers of one path play at `heardAt` seconds, mixed down to one channel.
double playedAt(const SpeakerFeed& feed, double heardAt) {
    double played = 0.0;
    for (const std::shared_ptr<RenderSession>& session : feed.sessions) {
        const double since = heardAt - session->startUs / 1e6;
        if (since < 0.0 || heardAt >= session->endUs / 1e6 || session->frames == 0) {
            continue;
        }
        const double position = since * session->rate;
        const auto whole = static_cast<std::int64_t>(position);
        const double fraction = position - static_cast<double>(whole);
        const std::size_t a = static_cast<std::size_t>(whole % session->frames);
        const std::size_t b = static_cast<std::size_t>((whole + 1) % session->frames);
        double sum = 0.0;
        for (std::uint32_t c = 0; c < session->channels; ++c) {
            const double x0 = session->samples[a * session->channels + c];
            const double x1 = session->samples[b * session->channels + c];
            sum += (x0 + (x1 - x0) * fraction) *
                   feed.channelGains[std::min(c, SpeakerFeed::kFeedChannels - 1)];
        }
        played += sum / session->channels;
    }
    return played;
}

}  // namespace

double dbToGain(double db) {
    return std::pow(10.0, db / 20.0);
}

double taperDb(const VolumeConfig& volume, double scalar) {
    const double range = volume.maxDb - volume.minDb;
    const double raw = std::clamp(scalar, 0.0, 1.0) * range;
    const double snapped = std::round(raw / volume.stepDb) * volume.stepDb;
    return std::clamp(volume.minDb + snapped, volume.minDb, volume.maxDb);
}

double scalarForDb(const VolumeConfig& volume, double db) {
    const double range = volume.maxDb - volume.minDb;
    if (range <= 0.0) {
        return 1.0;
    }
    return std::clamp((db - volume.minDb) / range, 0.0, 1.0);
}

double snapStageDb(const GainStageConfig& stage, double db) {
    const double clamped = std::clamp(db, stage.minDb, stage.maxDb);
    const double snapped =
        stage.minDb + std::round((clamped - stage.minDb) / stage.stepDb) * stage.stepDb;
    return std::clamp(snapped, stage.minDb, stage.maxDb);
}

std::uint64_t captureSeed(std::uint64_t machineSeed, std::uint64_t endpoint,
                          std::uint64_t capture) {
    std::uint64_t state = machineSeed;
    std::uint64_t result = splitMix(state);
    state ^= endpoint * UINT64_C(0xD1B54A32D192ED03);
    result ^= splitMix(state);
    state ^= capture * UINT64_C(0x8CB92BA72F3D8DD7);
    return result ^ splitMix(state);
}

FirstOrderFilter FirstOrderFilter::lowPass(double cornerHz, double rate) {
    FirstOrderFilter filter;
    if (cornerHz <= 0.0 || cornerHz >= 0.49 * rate) {
        return filter;  // at or above Nyquist: nothing to cut
    }
    const double k = std::tan(std::numbers::pi * cornerHz / rate);
    filter.active = true;
    filter.b0 = k / (1.0 + k);
    filter.b1 = filter.b0;
    filter.a1 = (k - 1.0) / (k + 1.0);
    return filter;
}

FirstOrderFilter FirstOrderFilter::highPass(double cornerHz, double rate) {
    FirstOrderFilter filter;
    if (cornerHz <= 0.0) {
        return filter;
    }
    const double k = std::tan(std::numbers::pi * std::min(cornerHz, 0.49 * rate) / rate);
    filter.active = true;
    filter.b0 = 1.0 / (1.0 + k);
    filter.b1 = -filter.b0;
    filter.a1 = (k - 1.0) / (k + 1.0);
    return filter;
}

double CaptureSignal::noise() {
    double sum = 0.0;
    for (int i = 0; i < 4; ++i) {
        sum += static_cast<double>(splitMix(random) >> 11) * 0x1.0p-53 - 0.5;
    }
    return sum * 1.7320508075688772;  // sqrt(3): four uniforms have variance 1/3
}

MicrophoneChain MicrophoneChain::of(const EndpointConfig& microphone) {
    MicrophoneChain chain;
    chain.pickup = microphone.faults.disconnected
                       ? 0.0
                       : dbToGain(microphone.sensitivityDb - microphone.faults.weakDb);
    chain.noiseRms = dbToGain(microphone.noiseDbfs);
    chain.humPeak =
        microphone.faults.hum ? dbToGain(microphone.faults.hum->dbfs) * std::numbers::sqrt2 : 0.0;
    chain.humHz = microphone.faults.hum ? microphone.faults.hum->hz : 0.0;
    return chain;
}

void mixCapture(CaptureSignal& signal, const std::vector<SpeakerFeed>& feeds,
                const MicrophoneChain& chain, std::int64_t startUs, std::int64_t firstFrame,
                std::int64_t endFrame, unsigned char* out) {
    const SampleLayout layout = sampleLayoutOf(signal.format);
    const std::uint32_t channels = signal.format.nChannels;
    const double rate = signal.format.nSamplesPerSec;
    const double startSeconds = startUs / 1e6;
    unsigned char* p = out;
    for (std::int64_t n = firstFrame; n < endFrame; ++n) {
        const double t = startSeconds + static_cast<double>(n) / rate;
        double acoustic = 0.0;
        for (std::size_t i = 0; i < signal.paths.size(); ++i) {
            CaptureSignal::Path& path = signal.paths[i];
            const double played = playedAt(feeds[i], t - path.delaySeconds);
            acoustic += path.gain * path.lowPass.step(path.highPass.step(played));
        }
        const double hum = chain.humPeak != 0.0
                               ? chain.humPeak * std::sin(2.0 * std::numbers::pi * chain.humHz * t)
                               : 0.0;
        for (std::uint32_t c = 0; c < channels; ++c) {
            const double element = acoustic * chain.pickup + signal.noise() * chain.noiseRms + hum;
            writeSample(p, layout, element * chain.channelGains[c]);
            p += layout.bytes;
        }
    }
}

}  // namespace audio::sim
