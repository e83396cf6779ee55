#pragma once

#include <memory>
#include <string>

#include "platform/audio/CurrentSystem.hpp"
#include "platform/audio/sim/SimulatedSystem.hpp"
#include "platform/kvo/VirtualClock.hpp"

namespace kvormicrophone::test {

// A simulated PC on virtual time, installed as the current audio system for
// the engines; the test thread takes part in the clock.
class SimulatedPc {
public:
    explicit SimulatedPc(const std::string& scenario = "")
        : system_(audio::sim::createSimulatedSystem(
              scenario.empty() ? std::string()
                               : std::string(KVO_SCENARIOS) + "/" + scenario + ".json")),
          installed_(*system_) {}

    audio::AudioSystem& system() { return *system_; }
    // The endpoint with this machine id.
    audio::AudioDevicePtr endpoint(const std::string& id) {
        kvo::Array<audio::AudioDevicePtr> all;
        system_->endpoints(audio::eAll, audio::DEVICE_STATEMASK_ALL, all);
        for (const auto& device : all) {
            if (device->id() == id) {
                return device;
            }
        }
        return nullptr;
    }

private:
    kvo::VirtualClock clock_;
    kvo::ScopedClock scopedClock_{clock_};
    kvo::ClockParticipant participant_{clock_};
    std::unique_ptr<audio::sim::SimulatedSystem> system_;
    audio::ScopedAudioSystem installed_;
};

}  // namespace kvormicrophone::test
