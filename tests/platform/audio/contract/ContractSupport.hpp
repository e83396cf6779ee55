#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/libAudio-common/StaticPCMBuffer.hpp"
#include "platform/audio/AudioSystem.hpp"
#include "platform/kvo/System.hpp"

// Helpers of the conformance suite. Every wait goes through the process
// clock, so the suite runs alike on virtual and on real time.

namespace audio::contract {

// The endpoint with this id, in any state; null (and a test failure) when none.
AudioDevicePtr endpointById(AudioSystem& system, const std::string& id);

// A silent buffer of `milliseconds` in `format`.
libAudio::StaticPCMBuffer makeBuffer(const WAVEFORMATEX& format, std::uint32_t milliseconds);
// A 16-bit buffer of `milliseconds` holding a sine of `frequency` at half full scale.
libAudio::StaticPCMBuffer makeTone(const WAVEFORMATEX& format, double frequency,
                                   std::uint32_t milliseconds);

// The first format the endpoint offers in shared mode that is 16-bit PCM.
WAVEFORMATEX sixteenBitFormat(AudioDevice& endpoint);

// Amplitude (full scale 1.0) of the `frequency` component of one channel in
// the second half of what a 16-bit buffer holds.
double toneLevel(const libAudio::StaticPCMBuffer& buffer, double frequency, int channel = 0);

// Sleeps in 10 ms steps on the process clock while `condition` holds, for
// at most `limitMs`; false when the limit was reached.
template <typename Condition>
bool waitWhile(Condition condition, std::uint32_t limitMs = 30000) {
    for (std::uint32_t waited = 0; condition(); waited += 10) {
        if (waited >= limitMs) {
            return false;
        }
        kvo::System::mssleep(10);
    }
    return true;
}

// The error a stream object reports after a call that returned `accepted`;
// kOk when the call was accepted, so that a refusal the object forgot fails.
template <typename Stream>
HResult refusal(bool accepted, Stream& stream) {
    if (accepted) {
        return kOk;
    }
    if constexpr (requires { stream.lastError(); }) {
        return stream.lastError();
    } else {
        return stream.errorCode();
    }
}

// Records into `buffer` until the capture ends; its exit code, -1 when it did not start.
int recordToEnd(AudioCapture& capture, const AudioDevicePtr& microphone,
                libAudio::StaticPCMBuffer& buffer, StopCallback stop = {});

}  // namespace audio::contract
