#include "Notifier.hpp"

#include <algorithm>
#include <utility>

#include "common/COM/comptr.hpp"

namespace audio::wasapi {
namespace {

std::size_t slotOf(EDataFlow flow) {
    return flow == eCapture ? 0 : 1;
}

}  // namespace

Notifier::Notifier(Locate locate) : locate_(std::move(locate)), thread_([this] { deliver(); }) {}

Notifier::~Notifier() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

bool Notifier::add(const std::string& cardId, EDataFlow flow,
                   std::shared_ptr<SoundCardObserver> observer) {
    if (!observer || flow == eAll) {
        return false;
    }
    const std::lock_guard lock(mutex_);
    auto& list = observers_[cardId][slotOf(flow)];
    if (std::find(list.begin(), list.end(), observer) != list.end()) {
        return false;
    }
    list.push_back(std::move(observer));
    return true;
}

bool Notifier::remove(const std::string& cardId,
                      const std::shared_ptr<SoundCardObserver>& observer) {
    const std::lock_guard lock(mutex_);
    const auto card = observers_.find(cardId);
    if (card == observers_.end()) {
        return false;
    }
    bool removed = false;
    for (auto& list : card->second) {
        const auto end = std::remove(list.begin(), list.end(), observer);
        removed = removed || end != list.end();
        list.erase(end, list.end());
    }
    return removed;
}

void Notifier::post(EndpointEvent event) {
    {
        const std::lock_guard lock(mutex_);
        queue_.push_back(std::move(event));
    }
    wake_.notify_one();
}

std::vector<std::shared_ptr<SoundCardObserver>> Notifier::observersOf(const EndpointPlace& place) {
    const std::lock_guard lock(mutex_);
    const auto card = observers_.find(place.cardId);
    return card == observers_.end() ? std::vector<std::shared_ptr<SoundCardObserver>>{}
                                    : card->second[slotOf(place.flow)];
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
        for (const auto& observer : observersOf(place)) {
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
