#include "Notifier.hpp"

#include <utility>

#include "common/COM/comptr.hpp"

namespace audio::wasapi {

Notifier::Notifier(Locate locate) : locate_(std::move(locate)), thread_([this] { deliver(); }) {}

Notifier::~Notifier() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void Notifier::post(EndpointEvent event) {
    {
        const std::lock_guard lock(mutex_);
        queue_.push_back(std::move(event));
    }
    wake_.notify_one();
}

void Notifier::deliver() {
    // Observers call back into Core Audio from here.
    const kvormicrophone::COMInitializer com;
    while (true) {
        EndpointEvent event;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return ending_ || !queue_.empty(); });
            if (ending_) {
                return;
            }
            event = std::move(queue_.front());
            queue_.pop_front();
        }
        EndpointPlace place;
        if (!locate_(event.endpointId, place)) {
            continue;
        }
        // Called without the lock, so that an observer may register or unregister.
        for (const auto& observer : observers_->observersOf(place.cardId, place.flow)) {
            switch (event.change) {
                case EndpointChange::StateChanged:
                    observer->onEndpointDeviceStateChanged(event.endpointId, event.newState);
                    break;
                case EndpointChange::Added:
                    observer->onEndpointDeviceAdded(event.endpointId);
                    break;
                case EndpointChange::Removed:
                    observer->onEndpointDeviceRemoved(event.endpointId);
                    break;
                case EndpointChange::PropertyChanged:
                    observer->onEndpointDevicePropertyChanged(event.endpointId);
                    break;
            }
        }
    }
}

}  // namespace audio::wasapi
