#include "AudioSystem.hpp"

#include "LegacyWave.hpp"
#include "SharedStreams.hpp"
#include "platform/kvo/Resource.hpp"

namespace audio {

bool isIntegratedEndpoint(AudioDevice& device) {
    kvo::Array<KSJACK_DESCRIPTION> jacks;
    device.jackInfo(jacks);
    for (const KSJACK_DESCRIPTION& jack : jacks) {
        if (jack.PortConnection == ePortConnIntegratedDevice) {
            return true;
        }
    }
    return false;
}

bool isIntegratedMicrophone(AudioDevice& device) {
    return device.dataFlow() == eCapture && isIntegratedEndpoint(device);
}

bool isIntegratedSpeaker(AudioDevice& device) {
    return device.dataFlow() == eRender && isIntegratedEndpoint(device);
}

std::uint32_t AudioSystem::endpoints(EDataFlow flow, std::uint32_t stateMask,
                                     kvo::Array<AudioDevicePtr>& list) {
    kvo::Array<SoundCardPtr> cards;
    soundCards(cards);
    std::uint32_t appended = 0;
    for (const SoundCardPtr& card : cards) {
        if (flow == eRender || flow == eAll) {
            appended += card->endpoints(eRender, stateMask, list);
        }
        if (flow == eCapture || flow == eAll) {
            appended += card->endpoints(eCapture, stateMask, list);
        }
    }
    return appended;
}

std::unique_ptr<AudioCaptureEx> AudioSystem::createAudioCaptureEx(_AUDCLNT_SHAREMODE shareMode) {
    return makeCaptureEx(rawStreams(), shareMode);
}

std::unique_ptr<AudioRendererEx> AudioSystem::createAudioRendererEx(_AUDCLNT_SHAREMODE shareMode) {
    return makeRendererEx(rawStreams(), shareMode);
}

std::unique_ptr<WaveIn> AudioSystem::createWaveIn() {
    return makeWaveIn(rawStreams());
}

std::unique_ptr<WaveOut> AudioSystem::createWaveOut() {
    return makeWaveOut(rawStreams());
}

std::unique_ptr<AudioCaptureLegacyWave> AudioSystem::createAudioCaptureLegacyWave() {
    return std::make_unique<LegacyWaveCapture>(createWaveIn());
}

std::unique_ptr<AudioRendererLegacyWave> AudioSystem::createAudioRendererLegacyWave() {
    return std::make_unique<LegacyWaveRenderer>(createWaveOut());
}

void AudioSystem::declareSettings() {
    kvo::Resource::declareSetting("audio", "AllowExternalMicTesting",
                                  kvo::Resource::SettingKind::Boolean);
}

bool AudioSystem::externalMicTestingAllowedBySettings() {
    kvo::String value;
    bool allowed = false;
    return kvo::Resource::getSetting("audio", "AllowExternalMicTesting", value) &&
           kvo::strToBoolean(kvo::trim(value), allowed) && allowed;
}

}  // namespace audio
