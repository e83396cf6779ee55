#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "AudioDevice.hpp"
#include "AudioStreams.hpp"
#include "AudioTypes.hpp"
#include "RawStream.hpp"
#include "platform/kvo/Array.hpp"

namespace audio {

// The root of one audio backend ("wasapi", "pulse", "sim"): the host creates
// exactly one and hands it to the module. Everything else of the layer is
// reached through it. Its objects may outlive it only as long as the backend
// says so; the simulated one allows it.
class AudioSystem {
public:
    virtual ~AudioSystem() = default;

    // "wasapi", "pulse" or "sim".
    virtual std::string backendName() const = 0;
    // One line for reports, e.g. "simulated PC \"Typical laptop\" (built-in), seed 1".
    virtual std::string description() const = 0;

    // Replaces `cards` by the system's sound cards and returns their count.
    virtual std::uint32_t soundCards(kvo::Array<SoundCardPtr>& cards) = 0;
    // Appends the endpoints of `flow` (eRender, eCapture or eAll) whose state
    // is in `stateMask`, card by card; returns how many were appended.
    virtual std::uint32_t endpoints(EDataFlow flow, std::uint32_t stateMask,
                                    kvo::Array<AudioDevicePtr>& list);
    // The default endpoint of a direction (console role); null when there is none.
    virtual AudioDevicePtr defaultEndpoint(EDataFlow flow) = 0;

    // The capture, playback and wave-device objects of the layer, on this
    // backend's raw streams; a backend overrides them only to do better.
    virtual std::unique_ptr<AudioCaptureEx> createAudioCaptureEx(
        _AUDCLNT_SHAREMODE shareMode = AUDCLNT_SHAREMODE_SHARED);
    virtual std::unique_ptr<AudioRendererEx> createAudioRendererEx(
        _AUDCLNT_SHAREMODE shareMode = AUDCLNT_SHAREMODE_SHARED);
    // On this system's WaveIn/WaveOut and the endpoint's wave device number.
    virtual std::unique_ptr<AudioCaptureLegacyWave> createAudioCaptureLegacyWave();
    virtual std::unique_ptr<AudioRendererLegacyWave> createAudioRendererLegacyWave();
    virtual std::unique_ptr<WaveIn> createWaveIn();
    virtual std::unique_ptr<WaveOut> createWaveOut();

    bool isIntegratedMicrophone(AudioDevice& device) {
        return audio::isIntegratedMicrophone(device);
    }
    bool isIntegratedSpeaker(AudioDevice& device) { return audio::isIntegratedSpeaker(device); }
    // Whether the non-interactive microphone test may take external microphones
    // too: when the setting [audio] AllowExternalMicTesting is true, or, on a
    // simulated PC, when its machine file says so.
    virtual bool allowExternalMicTesting() const { return externalMicTestingAllowedBySettings(); }
    // Makes the settings above known to the settings check.
    static void declareSettings();

    // The operating system's version; "10.0" on every system but Windows
    // unless a simulated machine sets another.
    virtual OsVersion osVersion() const = 0;
    bool isWindowsVersionOrLater(std::uint32_t major, std::uint32_t minor,
                                 std::uint32_t servicePackMajor = 0) const {
        return isVersionOrLater(osVersion(), major, minor, servicePackMajor);
    }

protected:
    static bool externalMicTestingAllowedBySettings();
    // The backend's raw streams (RawStream.hpp) that the objects above run on.
    virtual std::shared_ptr<RawStreamSource> rawStreams() = 0;
};

}  // namespace audio
