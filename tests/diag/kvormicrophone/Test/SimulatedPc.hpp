#pragma once

#include <memory>
#include <string>

#include "platform/audio/CurrentSystem.hpp"
#include "platform/audio/sim/SimulatedSystem.hpp"
#include "platform/kvo/VirtualClock.hpp"
#include "platform/ui/Mci.hpp"
#include "platform/ui/sim/SimMciService.hpp"

namespace kvormicrophone::test {

// A scenario machine (the built-in laptop without one) on virtual time, installed
// as the current audio system and MCI service; the test thread takes part in the clock.
class SimulatedPc {
public:
    explicit SimulatedPc(const std::string& scenario = "")
        : system_(audio::sim::createSimulatedSystem(
              scenario.empty() ? std::string() : std::string(KVO_SCENARIO_DIR) + "/" + scenario)),
          installed_(*system_),
          mci_(*system_),
          installedMci_(mci_) {}

    ui::sim::SimMciService& mci() { return mci_; }
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
    ui::sim::SimMciService mci_;
    ui::ScopedMciService installedMci_;
};

}  // namespace kvormicrophone::test
