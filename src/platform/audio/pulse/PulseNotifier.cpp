#include "PulseNotifier.hpp"

#include <fmt/format.h>

#include <functional>
#include <vector>

#include "PulseDevices.hpp"
#include "PulseServer.hpp"

namespace audio::pulse {

PulseNotifier::PulseNotifier(PulseServer& server) : server_(server) {}

PulseNotifier::~PulseNotifier() {
    stop();
}

void PulseNotifier::stop() {
    {
        std::lock_guard lock(queue_->mutex);
        queue_->stopping = true;
    }
    queue_->ready.notify_all();
    if (thread_.joinable()) {
        // The last reference to the server may go away inside an observer on this thread.
        if (thread_.get_id() == std::this_thread::get_id()) {
            thread_.detach();
        } else {
            thread_.join();
        }
    }
}

void PulseNotifier::start() {
    thread_ = std::thread([this, queue = queue_] {
        rememberAll();
        std::unique_lock lock(queue->mutex);
        while (true) {
            queue->ready.wait(lock, [&queue] { return queue->stopping || !queue->events.empty(); });
            if (queue->stopping) {
                return;
            }
            const Event event = queue->events.front();
            queue->events.pop_front();
            lock.unlock();
            dispatch(event);
            lock.lock();
        }
    });
}

void PulseNotifier::queue(pa_subscription_event_type_t type, std::uint32_t index) {
    {
        std::lock_guard lock(queue_->mutex);
        queue_->events.push_back({type, index});
    }
    queue_->ready.notify_one();
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

void PulseNotifier::rememberAll() {
    for (const EDataFlow flow : {eRender, eCapture}) {
        for (const DeviceInfo& device : server_.devices(flow).value_or(std::vector<DeviceInfo>{})) {
            if (!device.monitor) {
                known_[{flow, device.index}] = {endpointId(device), cardIdOf(device),
                                                endpointState(device), signatureOf(device)};
            }
        }
    }
}

void PulseNotifier::dispatch(const Event& event) {
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
        const std::optional<DeviceInfo> device = server_.device(flow, event.index);
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
