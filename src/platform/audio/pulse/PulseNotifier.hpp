#pragma once

#include <pulse/pulseaudio.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/audio/ObserverRegistry.hpp"

// Tells the observers of a server's cards about changes of its sinks and
// sources: the main loop thread queues the server's events, a thread of the
// notifier's own looks the devices up and calls the observers, with the main
// loop unlocked so that they may call back into the backend.

namespace audio::pulse {

class PulseServer;

class PulseNotifier {
public:
    explicit PulseNotifier(PulseServer& server);
    ~PulseNotifier();
    PulseNotifier(const PulseNotifier&) = delete;
    PulseNotifier& operator=(const PulseNotifier&) = delete;

    // Once the server is connected: remembers its devices, then delivers.
    void start();
    // Ends the delivery: joins the thread, or from an observer on that thread
    // lets it end by itself. Events queued afterwards are dropped.
    void stop();
    // A server event; called on the main loop thread.
    void queue(pa_subscription_event_type_t type, std::uint32_t index);

    const std::shared_ptr<ObserverRegistry>& observers() const { return observers_; }

private:
    struct Event {
        pa_subscription_event_type_t type;
        std::uint32_t index;
    };
    // The queue, shared with the thread so that it outlives a notifier
    // destroyed by an observer on that thread.
    struct Queue {
        std::mutex mutex;
        std::condition_variable ready;
        std::deque<Event> events;
        bool stopping = false;
    };
    // What the thread remembers of an endpoint to tell a change from a
    // property update and to name a removed one.
    struct Known {
        std::string endpointId;
        std::string cardId;
        std::uint32_t state = 0;
        std::string signature;
    };

    void rememberAll();
    void dispatch(const Event& event);

    PulseServer& server_;
    std::shared_ptr<Queue> queue_ = std::make_shared<Queue>();
    std::shared_ptr<ObserverRegistry> observers_ = std::make_shared<ObserverRegistry>();
    std::map<std::pair<int, std::uint32_t>, Known> known_;  // (flow, index), thread only
    std::thread thread_;
};

}  // namespace audio::pulse
