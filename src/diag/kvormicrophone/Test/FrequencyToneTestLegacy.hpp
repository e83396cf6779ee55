#pragma once

#include "FrequencyToneTest.hpp"

namespace kvormicrophone {

// The tone test through the wave-device interface, for drivers that misbehave
// with the endpoint interface. Only the two audio objects differ.
class FrequencyToneTestLegacy : public FrequencyToneTest {
public:
    FrequencyToneTestLegacy();
    ~FrequencyToneTestLegacy() override;
    bool instantiateAudioIO() override;
};

}  // namespace kvormicrophone
