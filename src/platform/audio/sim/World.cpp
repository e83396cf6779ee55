#include "World.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

#include "platform/kvo/Clock.hpp"
#include "platform/kvo/System.hpp"

namespace audio::sim {
namespace {

// Longest sleep of the notification thread, so that it ends soon once the
// machine is switched off, also on the steady clock.
constexpr std::int64_t kNotifierSliceMs = 50;

std::int64_t clockUs() {
    return std::chrono::duration_cast<std::chrono::microseconds>(kvo::Clock::instance().now())
        .count();
}

std::uint64_t splitMix(std::uint64_t& state) {
    std::uint64_t z = (state += UINT64_C(0x9E3779B97F4A7C15));
    z = (z ^ (z >> 30)) * UINT64_C(0xBF58476D1CE4E5B9);
    z = (z ^ (z >> 27)) * UINT64_C(0x94D049BB133111EB);
    return z ^ (z >> 31);
}

std::uint64_t mixSeed(std::uint64_t seed, std::uint64_t a, std::uint64_t b) {
    std::uint64_t state = seed;
    std::uint64_t result = splitMix(state);
    state ^= a * UINT64_C(0xD1B54A32D192ED03);
    result ^= splitMix(state);
    state ^= b * UINT64_C(0x8CB92BA72F3D8DD7);
    return result ^ splitMix(state);
}

double readSample(const unsigned char* p, const WAVEFORMATEX& format) {
    switch (format.wBitsPerSample) {
        case 8:
            return (static_cast<int>(p[0]) - 128) / 128.0;
        case 16:
            return static_cast<std::int16_t>(p[0] | (p[1] << 8)) / 32768.0;
        case 24: {
            const std::int32_t v = static_cast<std::int32_t>(
                (static_cast<std::uint32_t>(p[0]) << 8) | (static_cast<std::uint32_t>(p[1]) << 16) |
                (static_cast<std::uint32_t>(p[2]) << 24));
            return v / 2147483648.0;
        }
        default: {
            std::uint32_t bits =
                static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
                (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
            if (format.wFormatTag == WAVE_FORMAT_IEEE_FLOAT) {
                float value = 0.0F;
                std::memcpy(&value, &bits, sizeof value);
                return value;
            }
            return static_cast<std::int32_t>(bits) / 2147483648.0;
        }
    }
}

// Quantises to 16 bits with clipping, then widens or narrows to the format.
void writeSample(unsigned char* p, const WAVEFORMATEX& format, double value) {
    const double scaled = std::nearbyint(value * 32768.0);
    const auto q = static_cast<std::int32_t>(std::clamp(scaled, -32768.0, 32767.0));
    switch (format.wBitsPerSample) {
        case 8:
            p[0] = static_cast<unsigned char>((q >> 8) + 128);
            break;
        case 16:
            p[0] = static_cast<unsigned char>(q & 0xFF);
            p[1] = static_cast<unsigned char>((q >> 8) & 0xFF);
            break;
        case 24:
            p[0] = 0;
            p[1] = static_cast<unsigned char>(q & 0xFF);
            p[2] = static_cast<unsigned char>((q >> 8) & 0xFF);
            break;
        default: {
            std::uint32_t bits = static_cast<std::uint32_t>(q) << 16;
            if (format.wFormatTag == WAVE_FORMAT_IEEE_FLOAT) {
                const float f = static_cast<float>(q / 32768.0);
                std::memcpy(&bits, &f, sizeof bits);
            }
            for (int i = 0; i < 4; ++i) {
                p[i] = static_cast<unsigned char>((bits >> (8 * i)) & 0xFF);
            }
        }
    }
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

World::World(Machine machine)
    : machine_(std::move(machine)),
      originUs_(clockUs()),
      observers_(std::make_shared<ObserverRegistry>([this] { startNotifier(); })) {
    for (std::size_t e = 0; e < machine_.endpoints.size(); ++e) {
        const EndpointConfig& endpoint = machine_.endpoints[e];
        for (std::size_t c = 0; c < machine_.soundCards.size(); ++c) {
            if (machine_.soundCards[c].id == endpoint.card) {
                cardOfEndpoint_.push_back(c);
            }
        }
        Controls controls;
        controls.channelScalars.assign(endpoint.volume.channels, endpoint.volume.percent / 100.0);
        controls.muted = endpoint.volume.muted;
        for (const GainStageConfig& stage : endpoint.stages) {
            controls.stageLevels.emplace_back(stage.channels, snapStageDb(stage, stage.levelDb));
        }
        controls.startFailuresLeft = endpoint.faults.startFailures;
        controls.playFailuresLeft = endpoint.faults.playFailures;
        controls_.push_back(std::move(controls));
        for (const StateChange& change : endpoint.faults.stateChanges) {
            events_.push_back({static_cast<std::int64_t>(change.atMs) * 1000, e, change.state});
        }
    }
    std::stable_sort(events_.begin(), events_.end(),
                     [](const StateEvent& a, const StateEvent& b) { return a.us < b.us; });
}

World::~World() {
    stopping_.store(true);
    if (notifier_) {
        notifier_->join();
    }
}

std::int64_t World::nowUs() const {
    return std::max<std::int64_t>(0, clockUs() - originUs_);
}

std::optional<std::size_t> World::findEndpoint(const std::string& id) const {
    for (std::size_t e = 0; e < machine_.endpoints.size(); ++e) {
        if (machine_.endpoints[e].id == id) {
            return e;
        }
    }
    return std::nullopt;
}

std::uint32_t World::stateAt(std::size_t endpoint, std::int64_t us) const {
    const EndpointConfig& config = machine_.endpoints[endpoint];
    std::uint32_t state = config.state;
    for (const StateChange& change : config.faults.stateChanges) {
        if (static_cast<std::int64_t>(change.atMs) * 1000 <= us) {
            state = change.state;
        }
    }
    return state;
}

std::optional<std::size_t> World::defaultEndpoint(EDataFlow flow) const {
    const std::int64_t now = nowUs();
    std::optional<std::size_t> firstActive;
    for (std::size_t e = 0; e < machine_.endpoints.size(); ++e) {
        const EndpointConfig& config = machine_.endpoints[e];
        if (config.flow != flow || stateAt(e, now) != DEVICE_STATE_ACTIVE) {
            continue;
        }
        if (config.isDefault) {
            return e;
        }
        if (!firstActive) {
            firstActive = e;
        }
    }
    return firstActive;
}

std::optional<std::uint32_t> World::waveDeviceId(std::size_t endpoint) const {
    const std::int64_t now = nowUs();
    if (stateAt(endpoint, now) != DEVICE_STATE_ACTIVE) {
        return std::nullopt;
    }
    std::uint32_t id = 0;
    for (std::size_t e = 0; e < endpoint; ++e) {
        if (machine_.endpoints[e].flow == machine_.endpoints[endpoint].flow &&
            stateAt(e, now) == DEVICE_STATE_ACTIVE) {
            ++id;
        }
    }
    return id;
}

std::optional<std::size_t> World::endpointOfWaveDevice(EDataFlow flow,
                                                       std::uint32_t deviceId) const {
    const std::int64_t now = nowUs();
    std::uint32_t id = 0;
    for (std::size_t e = 0; e < machine_.endpoints.size(); ++e) {
        if (machine_.endpoints[e].flow == flow && stateAt(e, now) == DEVICE_STATE_ACTIVE) {
            if (id == deviceId) {
                return e;
            }
            ++id;
        }
    }
    return std::nullopt;
}

std::vector<KSJACK_DESCRIPTION> World::jacks(std::size_t endpoint) const {
    const EndpointConfig& config = machine_.endpoints[endpoint];
    std::vector<KSJACK_DESCRIPTION> jacks = config.jacks;
    // An unplugged endpoint or an open wire shows as an unconnected jack.
    if (config.faults.disconnected || state(endpoint) == DEVICE_STATE_UNPLUGGED) {
        for (KSJACK_DESCRIPTION& jack : jacks) {
            jack.IsConnected = false;
        }
    }
    return jacks;
}

bool World::stopRequested() const {
    return machine_.stopRequestAtMs &&
           nowUs() >= static_cast<std::int64_t>(*machine_.stopRequestAtMs) * 1000;
}

std::uint32_t World::volumePercent(std::size_t endpoint) {
    std::lock_guard lock(mutex_);
    const std::vector<double>& scalars = controls_[endpoint].channelScalars;
    const double loudest = *std::max_element(scalars.begin(), scalars.end());
    return static_cast<std::uint32_t>(std::lround(loudest * 100.0));
}

void World::setVolumeScalar(std::size_t endpoint, double scalar) {
    std::lock_guard lock(mutex_);
    std::vector<double>& scalars = controls_[endpoint].channelScalars;
    const double loudest = *std::max_element(scalars.begin(), scalars.end());
    for (double& channel : scalars) {
        channel = loudest > 0.0 ? channel * scalar / loudest : scalar;
    }
}

bool World::channelScalar(std::size_t endpoint, std::uint32_t channel, double& scalar) {
    std::lock_guard lock(mutex_);
    const std::vector<double>& scalars = controls_[endpoint].channelScalars;
    if (channel >= scalars.size()) {
        return false;
    }
    scalar = scalars[channel];
    return true;
}

bool World::setChannelScalar(std::size_t endpoint, std::uint32_t channel, double scalar) {
    std::lock_guard lock(mutex_);
    std::vector<double>& scalars = controls_[endpoint].channelScalars;
    if (channel >= scalars.size()) {
        return false;
    }
    scalars[channel] = std::clamp(scalar, 0.0, 1.0);
    return true;
}

double World::masterDb(std::size_t endpoint) {
    std::lock_guard lock(mutex_);
    const std::vector<double>& scalars = controls_[endpoint].channelScalars;
    return taperDb(machine_.endpoints[endpoint].volume,
                   *std::max_element(scalars.begin(), scalars.end()));
}

bool World::muted(std::size_t endpoint) {
    std::lock_guard lock(mutex_);
    return controls_[endpoint].muted;
}

void World::setMuted(std::size_t endpoint, bool muted) {
    std::lock_guard lock(mutex_);
    controls_[endpoint].muted = muted;
}

bool World::stageLevel(std::size_t endpoint, std::size_t stage, std::uint32_t channel, double& db) {
    std::lock_guard lock(mutex_);
    const std::vector<double>& levels = controls_[endpoint].stageLevels[stage];
    if (channel >= levels.size()) {
        return false;
    }
    db = levels[channel];
    return true;
}

bool World::setStageLevel(std::size_t endpoint, std::size_t stage, std::uint32_t channel,
                          double db) {
    std::lock_guard lock(mutex_);
    std::vector<double>& levels = controls_[endpoint].stageLevels[stage];
    if (channel >= levels.size()) {
        return false;
    }
    levels[channel] = snapStageDb(machine_.endpoints[endpoint].stages[stage], db);
    return true;
}

double World::channelDbLocked(std::size_t endpoint, std::uint32_t channel) const {
    const std::vector<double>& scalars = controls_[endpoint].channelScalars;
    const double scalar = scalars[std::min<std::size_t>(channel, scalars.size() - 1)];
    return taperDb(machine_.endpoints[endpoint].volume, scalar);
}

double World::stagesDbLocked(std::size_t endpoint, std::uint32_t channel) const {
    double db = 0.0;
    for (const std::vector<double>& levels : controls_[endpoint].stageLevels) {
        db += levels[std::min<std::size_t>(channel, levels.size() - 1)];
    }
    return db;
}

HResult World::beginCapture(std::size_t endpoint) {
    if (!isActive(endpoint)) {
        return kDeviceInvalidated;
    }
    std::lock_guard lock(mutex_);
    Controls& controls = controls_[endpoint];
    if (controls.startFailuresLeft > 0) {
        --controls.startFailuresLeft;
        return kDeviceInUse;
    }
    return kOk;
}

HResult World::beginPlayback(std::size_t endpoint) {
    if (!isActive(endpoint)) {
        return kDeviceInvalidated;
    }
    std::lock_guard lock(mutex_);
    Controls& controls = controls_[endpoint];
    if (controls.playFailuresLeft > 0) {
        --controls.playFailuresLeft;
        return kDeviceInUse;
    }
    return kOk;
}

std::optional<std::uint32_t> World::takeInterruption(std::size_t endpoint) {
    const FaultConfig& faults = machine_.endpoints[endpoint].faults;
    if (!faults.interruptAfterMs) {
        return std::nullopt;
    }
    std::lock_guard lock(mutex_);
    Controls& controls = controls_[endpoint];
    if (faults.interruptCount != 0 && controls.interruptions >= faults.interruptCount) {
        return std::nullopt;
    }
    ++controls.interruptions;
    return faults.interruptAfterMs;
}

std::shared_ptr<RenderSession> World::startRender(std::size_t endpoint, const WAVEFORMATEX& format,
                                                  const unsigned char* data, std::size_t bytes,
                                                  std::uint32_t repetitions) {
    auto session = std::make_shared<RenderSession>();
    session->endpoint = endpoint;
    session->rate = format.nSamplesPerSec;
    session->channels = format.nChannels;
    session->frames = static_cast<std::int64_t>(bytes / format.nBlockAlign);
    const std::size_t bytesPerSample = format.wBitsPerSample / 8U;
    session->samples.resize(static_cast<std::size_t>(session->frames) * format.nChannels);
    for (std::size_t i = 0; i < session->samples.size(); ++i) {
        session->samples[i] = static_cast<float>(readSample(data + i * bytesPerSample, format));
    }
    const std::int64_t now = nowUs();
    session->startUs = now;
    session->endUs = now + session->frames * repetitions * 1000000 / session->rate;

    std::lock_guard lock(mutex_);
    // Sessions that no delayed path can still hear are dropped.
    std::erase_if(sessions_, [now](const std::shared_ptr<RenderSession>& old) {
        return old->endUs < now - 2000000;
    });
    sessions_.push_back(session);
    return session;
}

void World::endRender(const std::shared_ptr<RenderSession>& session, std::int64_t atUs) {
    std::lock_guard lock(mutex_);
    session->endUs = std::max(session->startUs, std::min(session->endUs, atUs));
}

std::unique_ptr<CaptureSignal> World::newCaptureSignal(std::size_t endpoint,
                                                       const WAVEFORMATEX& format) {
    auto signal = std::make_unique<CaptureSignal>();
    signal->endpoint = endpoint;
    signal->format = format;
    const EndpointConfig& microphone = machine_.endpoints[endpoint];
    {
        std::lock_guard lock(mutex_);
        signal->random = mixSeed(machine_.seed, endpoint, controls_[endpoint].captures++);
    }
    for (const PathConfig& path : machine_.paths) {
        if (path.microphone != microphone.id) {
            continue;
        }
        CaptureSignal::Path state;
        state.speaker = *findEndpoint(path.speaker);
        state.gain = dbToGain(path.gainDb);
        state.delaySeconds = path.delayMs / 1000.0;
        state.highPass = FirstOrderFilter::highPass(path.highPassHz, format.nSamplesPerSec);
        state.lowPass = FirstOrderFilter::lowPass(path.lowPassHz, format.nSamplesPerSec);
        signal->paths.push_back(state);
    }
    return signal;
}

void World::capture(CaptureSignal& signal, std::int64_t startUs, std::int64_t firstFrame,
                    std::int64_t endFrame, unsigned char* out) {
    const EndpointConfig& microphone = machine_.endpoints[signal.endpoint];
    const WAVEFORMATEX& format = signal.format;
    const std::uint32_t channels = format.nChannels;
    const double rate = format.nSamplesPerSec;
    const std::int64_t packetUs = startUs + firstFrame * 1000000 / format.nSamplesPerSec;

    std::lock_guard lock(mutex_);

    // What each speaker feeding this microphone puts out, per channel, for this packet.
    struct SpeakerFeed {
        std::vector<double> channelGains;
        std::vector<std::shared_ptr<RenderSession>> sessions;
    };
    std::vector<SpeakerFeed> feeds;
    for (const CaptureSignal::Path& path : signal.paths) {
        SpeakerFeed feed;
        const EndpointConfig& speaker = machine_.endpoints[path.speaker];
        const bool audible = !controls_[path.speaker].muted && !speaker.faults.silent &&
                             stateAt(path.speaker, packetUs) == DEVICE_STATE_ACTIVE;
        for (std::uint32_t c = 0; c < 8; ++c) {
            feed.channelGains.push_back(audible ? dbToGain(channelDbLocked(path.speaker, c) +
                                                           stagesDbLocked(path.speaker, c))
                                                : 0.0);
        }
        for (const std::shared_ptr<RenderSession>& session : sessions_) {
            if (session->endpoint == path.speaker) {
                feed.sessions.push_back(session);
            }
        }
        feeds.push_back(std::move(feed));
    }

    // The microphone's chain: pickup, element noise and hum, then boost
    // stages and endpoint volume, then mute.
    const bool muted = controls_[signal.endpoint].muted;
    const double pickup = microphone.faults.disconnected
                              ? 0.0
                              : dbToGain(microphone.sensitivityDb - microphone.faults.weakDb);
    const double noiseRms = dbToGain(microphone.noiseDbfs);
    const double humPeak =
        microphone.faults.hum ? dbToGain(microphone.faults.hum->dbfs) * std::numbers::sqrt2 : 0.0;
    const double humHz = microphone.faults.hum ? microphone.faults.hum->hz : 0.0;
    std::vector<double> chainGains(channels);
    for (std::uint32_t c = 0; c < channels; ++c) {
        chainGains[c] = muted || microphone.faults.dead
                            ? 0.0
                            : dbToGain(channelDbLocked(signal.endpoint, c) +
                                       stagesDbLocked(signal.endpoint, c));
    }

    const double startSeconds = startUs / 1e6;
    const std::size_t bytesPerSample = format.wBitsPerSample / 8U;
    unsigned char* p = out;
    for (std::int64_t n = firstFrame; n < endFrame; ++n) {
        const double t = startSeconds + static_cast<double>(n) / rate;
        double acoustic = 0.0;
        for (std::size_t i = 0; i < signal.paths.size(); ++i) {
            CaptureSignal::Path& path = signal.paths[i];
            const double heardAt = t - path.delaySeconds;
            double played = 0.0;
            for (const std::shared_ptr<RenderSession>& session : feeds[i].sessions) {
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
                    sum += (x0 + (x1 - x0) * fraction) * feeds[i].channelGains[std::min(c, 7U)];
                }
                played += sum / session->channels;
            }
            acoustic += path.gain * path.lowPass.step(path.highPass.step(played));
        }
        const double hum =
            humPeak != 0.0 ? humPeak * std::sin(2.0 * std::numbers::pi * humHz * t) : 0.0;
        for (std::uint32_t c = 0; c < channels; ++c) {
            const double element = acoustic * pickup + signal.noise() * noiseRms + hum;
            writeSample(p, format, element * chainGains[c]);
            p += bytesPerSample;
        }
    }
}

void World::startNotifier() {
    std::lock_guard lock(mutex_);
    // The notification thread runs only while someone listens and a change is ahead.
    const std::int64_t now = nowUs();
    const bool changeAhead = std::any_of(events_.begin(), events_.end(),
                                         [now](const StateEvent& e) { return e.us > now; });
    if (!notifier_ && changeAhead) {
        notifier_ =
            std::make_unique<kvo::ManagedThread>("sim notifications", [this] { return notify(); });
        notifier_->start();
    }
}

int World::notify() {
    const std::int64_t began = nowUs();
    std::size_t next = 0;
    while (next < events_.size() && events_[next].us <= began) {
        ++next;
    }
    while (next < events_.size() && !stopping_.load()) {
        const std::int64_t now = nowUs();
        const StateEvent& event = events_[next];
        if (event.us > now) {
            const std::int64_t waitMs = (event.us - now + 999) / 1000;
            kvo::System::mssleep(static_cast<std::uint32_t>(std::min(waitMs, kNotifierSliceMs)));
            continue;
        }
        ++next;
        const EndpointConfig& endpoint = machine_.endpoints[event.endpoint];
        for (const std::shared_ptr<SoundCardObserver>& listener : observers_->observersOf(
                 machine_.soundCards[cardOfEndpoint_[event.endpoint]].id, endpoint.flow)) {
            listener->onEndpointDeviceStateChanged(endpoint.id, event.state);
        }
    }
    return 0;
}

}  // namespace audio::sim
