#include "PulseServer.hpp"

#include <fmt/format.h>

#include <pulse/rtclock.h>

#include <cstdio>

#include "platform/kvo/Logger.hpp"

namespace audio::pulse {
namespace {

kvo::Logger& pulseLogger() {
    static kvo::Logger& logger = kvo::Logger::get("audio.pulse");
    return logger;
}

std::string text(const char* value) {
    return value != nullptr ? value : "";
}

std::string property(const pa_proplist* properties, const char* key) {
    return properties != nullptr ? text(pa_proplist_gets(properties, key)) : "";
}

template <typename PortInfoType>
void copyPorts(PortInfoType** ports, std::uint32_t count, const PortInfoType* active,
               DeviceInfo& device) {
    for (std::uint32_t p = 0; p < count; ++p) {
        device.ports.push_back({text(ports[p]->name), text(ports[p]->description), ports[p]->type,
                                ports[p]->available});
    }
    if (active != nullptr) {
        device.activePort = text(active->name);
    }
}

DeviceInfo fromSink(const pa_sink_info& sink) {
    DeviceInfo device;
    device.flow = eRender;
    device.index = sink.index;
    device.name = text(sink.name);
    device.description = text(sink.description);
    device.driver = text(sink.driver);
    device.card = sink.card;
    device.ownerModule = sink.owner_module;
    device.formFactor = property(sink.proplist, PA_PROP_DEVICE_FORM_FACTOR);
    device.sampleFormat = sink.sample_spec;
    device.channelMap = sink.channel_map;
    device.volume = sink.volume;
    device.baseVolume = sink.base_volume;
    device.volumeSteps = sink.n_volume_steps;
    device.decibelVolume = (sink.flags & PA_SINK_DECIBEL_VOLUME) != 0;
    device.muted = sink.mute != 0;
    copyPorts(sink.ports, sink.n_ports, sink.active_port, device);
    return device;
}

DeviceInfo fromSource(const pa_source_info& source) {
    DeviceInfo device;
    device.flow = eCapture;
    device.index = source.index;
    device.name = text(source.name);
    device.description = text(source.description);
    device.driver = text(source.driver);
    device.card = source.card;
    device.ownerModule = source.owner_module;
    device.monitor = source.monitor_of_sink != PA_INVALID_INDEX;
    device.formFactor = property(source.proplist, PA_PROP_DEVICE_FORM_FACTOR);
    device.sampleFormat = source.sample_spec;
    device.channelMap = source.channel_map;
    device.volume = source.volume;
    device.baseVolume = source.base_volume;
    device.volumeSteps = source.n_volume_steps;
    device.decibelVolume = (source.flags & PA_SOURCE_DECIBEL_VOLUME) != 0;
    device.muted = source.mute != 0;
    copyPorts(source.ports, source.n_ports, source.active_port, device);
    return device;
}

// Collects the entries of one list query; a negative eol is the server's "no such entity".
template <typename T>
struct Collected {
    std::vector<T> items;
    bool failed = false;

    template <typename Info, typename Convert>
    void take(const Info* info, int eol, Convert convert) {
        if (eol < 0) {
            failed = true;
        } else if (eol == 0 && info != nullptr) {
            items.push_back(convert(*info));
        }
    }
};

void onSinkInfo(pa_context*, const pa_sink_info* info, int eol, void* data) {
    static_cast<Collected<DeviceInfo>*>(data)->take(info, eol, fromSink);
}

void onSourceInfo(pa_context*, const pa_source_info* info, int eol, void* data) {
    static_cast<Collected<DeviceInfo>*>(data)->take(info, eol, fromSource);
}

void onCardInfo(pa_context*, const pa_card_info* info, int eol, void* data) {
    static_cast<Collected<CardInfo>*>(data)->take(info, eol, [](const pa_card_info& card) {
        return CardInfo{card.index,
                        text(card.name),
                        property(card.proplist, PA_PROP_DEVICE_DESCRIPTION),
                        text(card.driver),
                        property(card.proplist, "alsa.driver_name"),
                        card.owner_module};
    });
}

void onModuleInfo(pa_context*, const pa_module_info* info, int eol, void* data) {
    static_cast<Collected<ModuleInfo>*>(data)->take(info, eol, [](const pa_module_info& module) {
        return ModuleInfo{module.index, text(module.name)};
    });
}

void onServerInfo(pa_context*, const pa_server_info* info, void* data) {
    auto* result = static_cast<std::optional<ServerInfo>*>(data);
    if (info != nullptr) {
        *result = ServerInfo{text(info->server_name), text(info->server_version),
                             text(info->default_sink_name), text(info->default_source_name)};
    }
}

void onSuccess(pa_context*, int success, void* data) {
    *static_cast<int*>(data) = success;
}

void onOperationState(pa_operation*, void* mainloop) {
    pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop*>(mainloop), 0);
}

template <typename T>
std::optional<std::vector<T>> collected(bool done, Collected<T>& result) {
    if (!done || result.failed) {
        return std::nullopt;
    }
    return std::move(result.items);
}

}  // namespace

std::shared_ptr<PulseServer> PulseServer::connect(const std::string& applicationName) {
    std::shared_ptr<PulseServer> server(new PulseServer());
    server->mainloop_ = pa_threaded_mainloop_new();
    if (server->mainloop_ == nullptr) {
        throw ConnectionError(
            "cannot start the PulseAudio client; use --audio sim to run on a "
            "simulated PC");
    }
    pa_proplist* properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, applicationName.c_str());
    server->context_ = pa_context_new_with_proplist(pa_threaded_mainloop_get_api(server->mainloop_),
                                                    applicationName.c_str(), properties);
    pa_proplist_free(properties);
    std::string reason;
    {
        pa_context* context = server->context_;
        pa_context_set_state_callback(context, onContextState, server.get());
        pa_context_set_subscribe_callback(context, onSubscription, server.get());
        pa_threaded_mainloop_start(server->mainloop_);
        MainloopLock lock(server->mainloop_);
        // No autospawn: a diagnostic reports a missing server, it does not start one.
        if (pa_context_connect(context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) >= 0) {
            const pa_usec_t deadline = answerDeadline();
            while (pa_context_get_state(context) != PA_CONTEXT_READY &&
                   PA_CONTEXT_IS_GOOD(pa_context_get_state(context)) &&
                   server->waitForAnswer(deadline)) {
            }
        }
        if (server->stoppedAnswering_) {
            reason = "the audio server stopped answering";
        } else if (pa_context_get_state(context) == PA_CONTEXT_READY) {
            const pa_subscription_mask_t mask = static_cast<pa_subscription_mask_t>(
                PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE |
                PA_SUBSCRIPTION_MASK_CARD | PA_SUBSCRIPTION_MASK_SERVER);
            server->waitLocked(pa_context_subscribe(context, mask, nullptr, nullptr));
        } else {
            reason = pa_strerror(pa_context_errno(context));
        }
    }
    if (server->stoppedAnswering_) {
        throw ConnectionError(
            "the audio server stopped answering; restart PulseAudio or PipeWire, or use "
            "--audio sim to run on a simulated PC");
    }
    if (!reason.empty()) {
        throw ConnectionError(fmt::format(
            "cannot connect to a PulseAudio server ({}); start PulseAudio or PipeWire, or set "
            "PULSE_SERVER, or use --audio sim to run on a simulated PC",
            reason));
    }
    server->notifier_ = std::thread([raw = server.get()] { raw->notifyLoop(); });
    KVO_LOG(pulseLogger(), kvo::kLogInfo, "Connected to {}", server->serverString());
    return server;
}

PulseServer::~PulseServer() {
    {
        std::lock_guard lock(eventMutex_);
        stopping_ = true;
    }
    eventReady_.notify_all();
    if (notifier_.joinable()) {
        // The last reference may go away inside an observer on the notification thread.
        if (notifier_.get_id() == std::this_thread::get_id()) {
            notifier_.detach();
        } else {
            notifier_.join();
        }
    }
    if (mainloop_ == nullptr) {
        return;
    }
    if (context_ != nullptr) {
        MainloopLock lock(mainloop_);
        pa_context_set_state_callback(context_, nullptr, nullptr);
        pa_context_set_subscribe_callback(context_, nullptr, nullptr);
        pa_context_disconnect(context_);
        pa_context_unref(context_);
    }
    pa_threaded_mainloop_stop(mainloop_);
    pa_threaded_mainloop_free(mainloop_);
}

void PulseServer::onContextState(pa_context* context, void* self) {
    auto* server = static_cast<PulseServer*>(self);
    const pa_context_state_t state = pa_context_get_state(context);
    if (state == PA_CONTEXT_FAILED && server->wasReady_) {
        // Said once, on the terminal too: what follows (devices gone, streams
        // ended) would otherwise read like missing hardware.
        const std::string message = fmt::format(
            "lost the connection to the PulseAudio server ({}); the audio devices "
            "are gone until it is restarted",
            pa_strerror(pa_context_errno(context)));
        KVO_LOG(pulseLogger(), kvo::kLogError, "{}", message);
        std::fprintf(stderr, "kvormicrophone: %s\n", message.c_str());
    }
    if (state == PA_CONTEXT_READY) {
        server->wasReady_ = true;
    }
    pa_threaded_mainloop_signal(server->mainloop_, 0);
}

bool PulseServer::connected() {
    MainloopLock lock(mainloop_);
    return pa_context_get_state(context_) == PA_CONTEXT_READY;
}

std::string PulseServer::serverString() {
    MainloopLock lock(mainloop_);
    return text(pa_context_get_server(context_));
}

bool PulseServer::waitLocked(pa_operation* operation) {
    if (operation == nullptr) {
        return false;
    }
    pa_operation_set_state_callback(operation, onOperationState, mainloop_);
    const pa_usec_t deadline = answerDeadline();
    while (pa_operation_get_state(operation) == PA_OPERATION_RUNNING &&
           PA_CONTEXT_IS_GOOD(pa_context_get_state(context_)) && waitForAnswer(deadline)) {
    }
    const bool done = pa_operation_get_state(operation) == PA_OPERATION_DONE;
    if (!done) {
        pa_operation_cancel(operation);
    }
    pa_operation_set_state_callback(operation, nullptr, nullptr);
    pa_operation_unref(operation);
    return done;
}

namespace {

extern "C" void onAnswerTimeout(pa_mainloop_api*, pa_time_event*, const struct timeval*,
                                void* mainloop) {
    pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop*>(mainloop), 0);
}

}  // namespace

pa_usec_t PulseServer::answerDeadline() {
    return pa_rtclock_now() + kAnswerTimeoutUs;
}

bool PulseServer::waitForAnswer(pa_usec_t deadline) {
    if (stoppedAnswering_) {
        return false;
    }
    pa_time_event* timer = pa_context_rttime_new(context_, deadline, onAnswerTimeout, mainloop_);
    pa_threaded_mainloop_wait(mainloop_);
    if (timer != nullptr) {
        pa_threaded_mainloop_get_api(mainloop_)->time_free(timer);
    }
    if (pa_rtclock_now() < deadline) {
        return true;
    }
    stoppedAnswering_ = true;
    if (wasReady_) {
        // Said once, on the terminal too: what follows (devices gone, streams ended)
        // would otherwise read like missing hardware.
        const char* const message =
            "the audio server stopped answering; the audio devices are gone until it is "
            "restarted";
        KVO_LOG(pulseLogger(), kvo::kLogError, "{}", message);
        std::fprintf(stderr, "kvormicrophone: %s\n", message);
    }
    pa_context_disconnect(context_);
    return false;
}

std::optional<ServerInfo> PulseServer::serverInfo() {
    std::optional<ServerInfo> result;
    MainloopLock lock(mainloop_);
    if (!waitLocked(pa_context_get_server_info(context_, onServerInfo, &result))) {
        return std::nullopt;
    }
    return result;
}

std::optional<std::vector<DeviceInfo>> PulseServer::devices(EDataFlow flow) {
    Collected<DeviceInfo> result;
    MainloopLock lock(mainloop_);
    const bool done = waitLocked(
        flow == eRender ? pa_context_get_sink_info_list(context_, onSinkInfo, &result)
                        : pa_context_get_source_info_list(context_, onSourceInfo, &result));
    return collected(done, result);
}

std::optional<DeviceInfo> PulseServer::device(EDataFlow flow, const std::string& name) {
    Collected<DeviceInfo> result;
    MainloopLock lock(mainloop_);
    const bool done = waitLocked(
        flow == eRender
            ? pa_context_get_sink_info_by_name(context_, name.c_str(), onSinkInfo, &result)
            : pa_context_get_source_info_by_name(context_, name.c_str(), onSourceInfo, &result));
    if (!done || result.failed || result.items.empty()) {
        return std::nullopt;
    }
    return std::move(result.items.front());
}

std::optional<DeviceInfo> PulseServer::device(EDataFlow flow, std::uint32_t index) {
    Collected<DeviceInfo> result;
    MainloopLock lock(mainloop_);
    const bool done = waitLocked(
        flow == eRender
            ? pa_context_get_sink_info_by_index(context_, index, onSinkInfo, &result)
            : pa_context_get_source_info_by_index(context_, index, onSourceInfo, &result));
    if (!done || result.failed || result.items.empty()) {
        return std::nullopt;
    }
    return std::move(result.items.front());
}

std::optional<std::vector<CardInfo>> PulseServer::cards() {
    Collected<CardInfo> result;
    MainloopLock lock(mainloop_);
    return collected(waitLocked(pa_context_get_card_info_list(context_, onCardInfo, &result)),
                     result);
}

std::optional<std::vector<ModuleInfo>> PulseServer::modules() {
    Collected<ModuleInfo> result;
    MainloopLock lock(mainloop_);
    return collected(waitLocked(pa_context_get_module_info_list(context_, onModuleInfo, &result)),
                     result);
}

std::optional<pa_cvolume> PulseServer::originalVolume(EDataFlow flow, const std::string& name) {
    std::lock_guard lock(originalMutex_);
    const auto it = originalVolumes_.find({flow, name});
    return it == originalVolumes_.end() ? std::nullopt : std::optional<pa_cvolume>(it->second);
}

bool PulseServer::setVolume(EDataFlow flow, const std::string& name, const pa_cvolume& volume) {
    if (const auto before = device(flow, name)) {
        std::lock_guard lock(originalMutex_);
        originalVolumes_.emplace(std::pair{flow, name}, before->volume);
    }
    int success = 0;
    MainloopLock lock(mainloop_);
    const bool done =
        waitLocked(flow == eRender ? pa_context_set_sink_volume_by_name(
                                         context_, name.c_str(), &volume, onSuccess, &success)
                                   : pa_context_set_source_volume_by_name(
                                         context_, name.c_str(), &volume, onSuccess, &success));
    return done && success != 0;
}

bool PulseServer::setMute(EDataFlow flow, const std::string& name, bool muted) {
    int success = 0;
    MainloopLock lock(mainloop_);
    const bool done = waitLocked(
        flow == eRender ? pa_context_set_sink_mute_by_name(context_, name.c_str(), muted ? 1 : 0,
                                                           onSuccess, &success)
                        : pa_context_set_source_mute_by_name(context_, name.c_str(), muted ? 1 : 0,
                                                             onSuccess, &success));
    return done && success != 0;
}

std::string PulseServer::cardIdOf(const DeviceInfo& device) {
    if (device.card != PA_INVALID_INDEX) {
        return fmt::format("card:{}", device.card);
    }
    if (device.ownerModule != PA_INVALID_INDEX) {
        return fmt::format("module:{}", device.ownerModule);
    }
    return "module:none";
}

std::string endpointId(const DeviceInfo& device) {
    return (device.flow == eRender ? "sink:" : "source:") + device.name;
}

std::uint32_t endpointState(const DeviceInfo& device) {
    for (const PortInfo& port : device.ports) {
        if (port.name == device.activePort && port.available == PA_PORT_AVAILABLE_NO) {
            return DEVICE_STATE_UNPLUGGED;
        }
    }
    return DEVICE_STATE_ACTIVE;
}

// ---------------------------------------------------------------------------
// Notifications: the main loop thread queues the server's events, the
// notification thread looks the devices up and calls the observers.

void PulseServer::onSubscription(pa_context*, pa_subscription_event_type_t type,
                                 std::uint32_t index, void* self) {
    auto* server = static_cast<PulseServer*>(self);
    {
        std::lock_guard lock(server->eventMutex_);
        server->events_.push_back({type, index});
    }
    server->eventReady_.notify_one();
}

namespace {

std::string signatureOf(const DeviceInfo& device) {
    std::string signature = device.description + "|" + device.formFactor + "|" + device.activePort;
    for (const PortInfo& port : device.ports) {
        signature += fmt::format("|{}={}", port.name, port.available);
    }
    return signature;
}

}  // namespace

void PulseServer::rememberAll() {
    for (const EDataFlow flow : {eRender, eCapture}) {
        for (const DeviceInfo& device : devices(flow).value_or(std::vector<DeviceInfo>{})) {
            if (!device.monitor) {
                known_[{flow, device.index}] = {endpointId(device), cardIdOf(device),
                                                endpointState(device), signatureOf(device)};
            }
        }
    }
}

void PulseServer::notifyLoop() {
    rememberAll();
    std::unique_lock lock(eventMutex_);
    while (true) {
        eventReady_.wait(lock, [this] { return stopping_ || !events_.empty(); });
        if (stopping_) {
            return;
        }
        const Event event = events_.front();
        events_.pop_front();
        lock.unlock();
        dispatch(event);
        lock.lock();
    }
}

void PulseServer::dispatch(const Event& event) {
    const auto facility = event.type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
    const auto kind = event.type & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
    if (facility != PA_SUBSCRIPTION_EVENT_SINK && facility != PA_SUBSCRIPTION_EVENT_SOURCE) {
        // Card profile changes and server defaults reach the observers as the
        // sinks and sources they add, remove or change.
        return;
    }
    const EDataFlow flow = facility == PA_SUBSCRIPTION_EVENT_SINK ? eRender : eCapture;
    const std::pair<int, std::uint32_t> key{flow, event.index};
    const auto known = known_.find(key);

    std::function<void(SoundCardObserver&)> call;
    std::string cardId;
    if (kind == PA_SUBSCRIPTION_EVENT_REMOVE) {
        if (known == known_.end()) {
            return;
        }
        cardId = known->second.cardId;
        call = [id = known->second.endpointId](SoundCardObserver& observer) {
            observer.onEndpointDeviceRemoved(id);
        };
        known_.erase(known);
    } else {
        const std::optional<DeviceInfo> device = this->device(flow, event.index);
        if (!device || device->monitor) {
            return;
        }
        Known now{endpointId(*device), cardIdOf(*device), endpointState(*device),
                  signatureOf(*device)};
        cardId = now.cardId;
        if (known == known_.end()) {
            call = [id = now.endpointId](SoundCardObserver& observer) {
                observer.onEndpointDeviceAdded(id);
            };
        } else if (known->second.state != now.state) {
            call = [id = now.endpointId, state = now.state](SoundCardObserver& observer) {
                observer.onEndpointDeviceStateChanged(id, state);
            };
        } else if (known->second.signature != now.signature) {
            call = [id = now.endpointId](SoundCardObserver& observer) {
                observer.onEndpointDevicePropertyChanged(id);
            };
        }
        // Volume and mute changes leave the signature alone: they are not endpoint changes.
        known_[key] = std::move(now);
    }
    if (!call) {
        return;
    }
    for (const auto& target : observers_->observersOf(cardId, flow)) {
        call(*target);
    }
}

}  // namespace audio::pulse
