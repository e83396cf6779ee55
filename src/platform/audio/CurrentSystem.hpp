#pragma once

#include "AudioSystem.hpp"

namespace audio {

// The audio system the host opened for this run. The module reaches the audio
// layer only through it; using it before the host installed one is an assertion.
AudioSystem& currentSystem();

// Installs `system` (not owned) as the current one for the scope's lifetime.
class ScopedAudioSystem {
public:
    explicit ScopedAudioSystem(AudioSystem& system);
    ~ScopedAudioSystem();
    ScopedAudioSystem(const ScopedAudioSystem&) = delete;
    ScopedAudioSystem& operator=(const ScopedAudioSystem&) = delete;

private:
    AudioSystem* previous_;
};

}  // namespace audio
