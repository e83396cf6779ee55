#pragma once

#include <memory>
#include <string>

#include "platform/audio/AudioDevice.hpp"
#include "platform/audio/DeviceTopology.hpp"
#include "platform/kvo/Array.hpp"

namespace kvormicrophone {

// Raises every gain stage in the adapter topology behind a microphone to its
// maximum, and puts back the level each stage had on channel 0 afterwards.
class MicrophoneBoostControl {
public:
    // Finds the gain stages behind `microphone`; true when there is at least one.
    bool initialize(audio::AudioDevice& microphone);
    // Sets every channel of every stage to the top of its range; true when there was a stage.
    bool maximizeBoost();
    // Writes back the saved channel-0 levels and forgets every stage. Harmless when empty.
    void restore();

    std::uint32_t stageCount() const { return controllers.size(); }
    // What the last maximizeBoost() did: the stages it raised and the dB it
    // added to channel 0 over all of them. Kept after restore(), for the report.
    std::uint32_t stagesBoosted() const { return boostedStages; }
    double gainAppliedDb() const { return appliedGainDb; }

    // The most parts one topology walk visits.
    static constexpr std::uint32_t kMaxParts = 1u << 20;

private:
    void registerVolumeControllers(const std::shared_ptr<audio::IPart>& root);

    std::shared_ptr<audio::IConnector> connector;
    kvo::Array<std::shared_ptr<audio::IPart>> parts;
    kvo::Array<std::shared_ptr<audio::IAudioVolumeLevel>> controllers;
    kvo::Array<float> savedLevels;
    std::string micName;
    std::uint32_t boostedStages = 0;
    double appliedGainDb = 0.0;
};

}  // namespace kvormicrophone
