#include "FrequencyToneTestLegacy.hpp"

#include "platform/kvo/TraceLogger.hpp"

namespace kvormicrophone {
FrequencyToneTestLegacy::FrequencyToneTestLegacy() {
    kvo::TraceLogger trace(toneLogger(), "FrequencyToneTestLegacy::FrequencyToneTestLegacy()",
                           "FrequencyToneTestLegacy");
}

FrequencyToneTestLegacy::~FrequencyToneTestLegacy() {
    kvo::TraceLogger trace(toneLogger(), "FrequencyToneTestLegacy::~FrequencyToneTestLegacy()",
                           "FrequencyToneTestLegacy");
}

bool FrequencyToneTestLegacy::instantiateAudioIO() {
    m_signalRecording.capture = m_audio.createAudioCaptureLegacyWave();
    m_signalRecording.playback = m_audio.createAudioRendererLegacyWave();
    return m_signalRecording.capture != nullptr && m_signalRecording.playback != nullptr;
}

}  // namespace kvormicrophone
