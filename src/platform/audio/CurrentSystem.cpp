#include "CurrentSystem.hpp"

#include <atomic>

#include "platform/kvo/Assert.hpp"

namespace audio {
namespace {
std::atomic<AudioSystem*> current{nullptr};
}

AudioSystem& currentSystem() {
    AudioSystem* const system = current.load();
    KVO_ASSERT_TEXT(system != nullptr, "an audio system is installed");
    return *system;
}

ScopedAudioSystem::ScopedAudioSystem(AudioSystem& system) : previous_(current.exchange(&system)) {}

ScopedAudioSystem::~ScopedAudioSystem() {
    current.store(previous_);
}

}  // namespace audio
