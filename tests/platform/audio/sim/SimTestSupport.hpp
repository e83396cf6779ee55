#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <memory>
#include <string>

#include "common/libAudio-common/StaticPCMBuffer.hpp"
#include "platform/audio/AudioSystem.hpp"
#include "platform/audio/contract/ContractSupport.hpp"
#include "platform/audio/sim/SimulatedSystem.hpp"
#include "platform/kvo/VirtualClock.hpp"

namespace audio::sim::test {

// A bench machine with exactly known gains: one speaker at 0 dB (100%), two
// microphones at +10 dB (100%) with a 0..30 dB boost at 0 dB, paths of -20 and
// -32 dB without filters, and a noise floor far below one LSB.
nlohmann::json benchMachine();

std::unique_ptr<SimulatedSystem> makeSystem(const nlohmann::json& machine);

// The conformance suite's helpers: endpoint by machine id, a silent buffer.
using contract::endpointById;
using contract::makeBuffer;

// Plays a 1 s tone of `frequency` at half full scale on `speaker` (3 times)
// while capturing 1 s from `microphone`, both 48 kHz 16-bit stereo, and
// returns the capture.
libAudio::StaticPCMBuffer captureTone(AudioSystem& system, const std::string& speaker,
                                      const std::string& microphone, double frequency);

// The level in dB of full scale of a tone in the second half of one channel
// of a 16-bit buffer (Goertzel over whole periods: the sample count is a
// multiple of rate / frequency for the frequencies the tests use).
double toneDb(const libAudio::StaticPCMBuffer& buffer, int channel, double frequency);
// RMS of one channel in dB of full scale (-inf for digital silence).
double rmsDb(const libAudio::StaticPCMBuffer& buffer, int channel);
bool isDigitalSilence(const libAudio::StaticPCMBuffer& buffer);

// The process clock is a fresh virtual clock that the test thread takes part in.
class VirtualTime {
protected:
    kvo::VirtualClock clock_;
    kvo::ScopedClock installed_{clock_};
    kvo::ClockParticipant participant_{clock_};
};

}  // namespace audio::sim::test
