#include "PulseServer.hpp"

#include <fmt/format.h>

#include <pulse/rtclock.h>

#include <cstdio>

#include "PulseNotifier.hpp"
#include "PulseReplies.hpp"
#include "platform/kvo/Logger.hpp"

namespace audio::pulse {
namespace {

kvo::Logger& pulseLogger() {
    static kvo::Logger& logger = kvo::Logger::get("audio.pulse");
    return logger;
}

void onOperationState(pa_operation*, void* mainloop) {
    pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop*>(mainloop), 0);
}

}  // namespace

std::shared_ptr<PulseServer> PulseServer::connect(const std::string& applicationName) {
    std::shared_ptr<PulseServer> server(new PulseServer());
    server->notifier_ = std::make_unique<PulseNotifier>(*server);
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
    server->notifier_->start();
    KVO_LOG(pulseLogger(), kvo::kLogInfo, "Connected to {}", server->serverString());
    return server;
}

PulseServer::~PulseServer() {
    // No observer is called once the connection begins to close; the notifier
    // itself takes events until the main loop has stopped.
    if (notifier_) {
        notifier_->stop();
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

void PulseServer::onSubscription(pa_context*, pa_subscription_event_type_t type,
                                 std::uint32_t index, void* self) {
    static_cast<PulseServer*>(self)->notifier_->queue(type, index);
}

const std::shared_ptr<ObserverRegistry>& PulseServer::observers() const {
    return notifier_->observers();
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

}  // namespace audio::pulse
