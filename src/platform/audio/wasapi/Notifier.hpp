#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/audio/AudioDevice.hpp"
#include "platform/audio/ObserverRegistry.hpp"

// Endpoint changes reported by Windows (IMMNotificationClient), handed to the
// sound cards' observers on a thread of the backend's own: Windows calls the
// client on its own threads and forbids calling back into Core Audio there.

namespace audio::wasapi {

enum class EndpointChange { StateChanged, Added, Removed, PropertyChanged };

struct EndpointEvent {
    EndpointChange change;
    std::string endpointId;
    std::uint32_t newState = 0;
};

// Where an endpoint belongs: its card and direction.
struct EndpointPlace {
    std::string cardId;
    EDataFlow flow = eRender;
};

class Notifier {
public:
    // `locate` answers an endpoint's card and direction; it is called on the
    // delivery thread, false when the endpoint is unknown.
    using Locate = std::function<bool(const std::string& endpointId, EndpointPlace& place)>;

    explicit Notifier(Locate locate);
    ~Notifier();
    Notifier(const Notifier&) = delete;
    Notifier& operator=(const Notifier&) = delete;

    // The cards' observers, which the delivery thread calls.
    const std::shared_ptr<ObserverRegistry>& observers() const { return observers_; }
    // Queues a change for delivery; callable from any thread.
    void post(EndpointEvent event);

private:
    void deliver();

    Locate locate_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<EndpointEvent> queue_;
    bool ending_ = false;
    std::shared_ptr<ObserverRegistry> observers_ = std::make_shared<ObserverRegistry>();
    std::thread thread_;
};

}  // namespace audio::wasapi
