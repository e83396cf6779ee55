#include "World.hpp"

#include <algorithm>
#include <cmath>

#include "platform/audio/SampleCodec.hpp"
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

}  // namespace

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
    const SampleLayout layout = sampleLayoutOf(format);
    session->samples.resize(static_cast<std::size_t>(session->frames) * format.nChannels);
    for (std::size_t i = 0; i < session->samples.size(); ++i) {
        session->samples[i] = static_cast<float>(readSample(data + i * layout.bytes, layout));
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
        signal->random = captureSeed(machine_.seed, endpoint, controls_[endpoint].captures++);
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
    const std::int64_t packetUs = startUs + firstFrame * 1000000 / signal.format.nSamplesPerSec;

    // Held through the mix: a playback's end may move meanwhile.
    std::lock_guard lock(mutex_);
    std::vector<SpeakerFeed> feeds;
    for (const CaptureSignal::Path& path : signal.paths) {
        SpeakerFeed feed;
        const EndpointConfig& speaker = machine_.endpoints[path.speaker];
        const bool audible = !controls_[path.speaker].muted && !speaker.faults.silent &&
                             stateAt(path.speaker, packetUs) == DEVICE_STATE_ACTIVE;
        for (std::uint32_t c = 0; c < SpeakerFeed::kFeedChannels; ++c) {
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
    MicrophoneChain chain = MicrophoneChain::of(microphone);
    const bool silenced = controls_[signal.endpoint].muted || microphone.faults.dead;
    for (std::uint32_t c = 0; c < signal.format.nChannels; ++c) {
        chain.channelGains.push_back(silenced ? 0.0
                                              : dbToGain(channelDbLocked(signal.endpoint, c) +
                                                         stagesDbLocked(signal.endpoint, c)));
    }
    mixCapture(signal, feeds, chain, startUs, firstFrame, endFrame, out);
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
