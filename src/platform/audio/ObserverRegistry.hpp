#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "AudioDevice.hpp"

// The observers of the sound cards of one audio system, kept in one place
// for every backend: the cards register into it, the backend's notification
// thread asks it whom to call.

namespace audio {

class ObserverRegistry {
public:
    // `registered` is called after each registration, with nothing locked; a
    // backend may start its notification thread there.
    explicit ObserverRegistry(std::function<void()> registered = {})
        : registered_(std::move(registered)) {}

    // False for a null observer or one already registered for that card and direction.
    bool add(const std::string& cardId, EDataFlow flow,
             std::shared_ptr<SoundCardObserver> observer);
    // Removes it from both directions of the card; false when it was not registered.
    bool remove(const std::string& cardId, const std::shared_ptr<SoundCardObserver>& observer);
    // Whom to tell of a change of an endpoint of that card and direction. Call
    // them with no lock of the backend held, so that they may call back.
    std::vector<std::shared_ptr<SoundCardObserver>> observersOf(const std::string& cardId,
                                                                EDataFlow flow) const;

private:
    struct Entry {
        std::string cardId;
        EDataFlow flow;
        std::shared_ptr<SoundCardObserver> observer;
    };
    std::function<void()> registered_;
    mutable std::mutex mutex_;
    std::vector<Entry> entries_;
};

// A sound card whose observers its system's registry keeps, under its id().
class ObservedSoundCard : public SoundCard {
public:
    bool registerRecordObserver(std::shared_ptr<SoundCardObserver> observer) final {
        return registry_->add(id(), eCapture, std::move(observer));
    }
    bool registerPlaybackObserver(std::shared_ptr<SoundCardObserver> observer) final {
        return registry_->add(id(), eRender, std::move(observer));
    }
    bool unregisterObserver(const std::shared_ptr<SoundCardObserver>& observer) final {
        return registry_->remove(id(), observer);
    }

protected:
    explicit ObservedSoundCard(std::shared_ptr<ObserverRegistry> registry)
        : registry_(std::move(registry)) {}

private:
    std::shared_ptr<ObserverRegistry> registry_;
};

}  // namespace audio
