#include "ObserverRegistry.hpp"

#include <algorithm>

namespace audio {

bool ObserverRegistry::add(const std::string& cardId, EDataFlow flow,
                           std::shared_ptr<SoundCardObserver> observer) {
    if (!observer) {
        return false;
    }
    {
        std::lock_guard lock(mutex_);
        for (const Entry& known : entries_) {
            if (known.cardId == cardId && known.flow == flow && known.observer == observer) {
                return false;
            }
        }
        entries_.push_back({cardId, flow, std::move(observer)});
    }
    if (registered_) {
        registered_();
    }
    return true;
}

bool ObserverRegistry::remove(const std::string& cardId,
                              const std::shared_ptr<SoundCardObserver>& observer) {
    std::lock_guard lock(mutex_);
    return std::erase_if(entries_, [&](const Entry& known) {
               return known.cardId == cardId && known.observer == observer;
           }) > 0;
}

std::vector<std::shared_ptr<SoundCardObserver>> ObserverRegistry::observersOf(
    const std::string& cardId, EDataFlow flow) const {
    std::vector<std::shared_ptr<SoundCardObserver>> observers;
    std::lock_guard lock(mutex_);
    for (const Entry& entry : entries_) {
        if (entry.cardId == cardId && entry.flow == flow) {
            observers.push_back(entry.observer);
        }
    }
    return observers;
}

}  // namespace audio
