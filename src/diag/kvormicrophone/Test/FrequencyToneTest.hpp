#pragma once

#include <cstdint>
#include <memory>

#include "MicManagerWin7.hpp"
#include "SignalTester.hpp"
#include "ToneMeter.hpp"
#include "common/libAudio-common/StaticPCMBuffer.hpp"
#include "platform/audio/AudioStreams.hpp"
#include "platform/kvo/Array.hpp"
#include "platform/kvo/Logger.hpp"
#include "platform/vesk5/TestResult.hpp"

namespace kvormicrophone {

// The logger of the tone test and its legacy variant.
kvo::Logger& toneLogger();

// A tone for the left and the right channel, in Hz.
struct stereo_freq_t {
    std::uint32_t left = 0;
    std::uint32_t right = 0;
};

struct ToneDescriptor {
    std::uint32_t amplitude = 0;
    double frequency = 0.0;      // Hz
    std::uint32_t duration = 0;  // ms
};

// The frequency tone test: for every pair of an integrated speaker and an
// integrated microphone, and every frequency of the list, play the tone,
// record it, and check that every recorded channel heard it.
class FrequencyToneTest : public RecordingSource {
public:
    FrequencyToneTest();
    ~FrequencyToneTest() override;
    FrequencyToneTest(const FrequencyToneTest&) = delete;
    FrequencyToneTest& operator=(const FrequencyToneTest&) = delete;

    // Creates the capture and playback objects; false when either is missing.
    virtual bool instantiateAudioIO();

    std::uint32_t enumerateIntegratedMicrophones();
    std::uint32_t enumerateIntegratedSpeakers();
    // The whole test.
    vesk5::TestResult test(vesk5::TestResult result);

    // Comma-separated whole frequencies from 20 to 20000 Hz; false at the first that is not.
    bool parseFrequencies(const kvo::String& frequencyList);
    // Drops formats above 48000 samples per second or 16 bits.
    static void filterWaveFormats(kvo::Array<audio::WAVEFORMATEX>& formatList);
    // The "frequencies" text of the failure event: for each failed result, its left
    // frequency, preceded by a blank unless it is the very first result.
    static kvo::String failureList(const kvo::Array<vesk5::TestResult>& results,
                                   const kvo::Array<stereo_freq_t>& frequencies,
                                   std::uint32_t pairs);

    const libAudio::StaticPCMBuffer& recording() const override {
        return m_signalRecording.analysisTrack;
    }
    const kvo::Array<stereo_freq_t>& frequencies() const { return m_frequencies; }
    const kvo::String& logDirectory() const { return m_logDirectory; }

protected:
    struct SignalRecording {
        kvo::String name;
        std::unique_ptr<audio::AudioCapture> capture;
        std::unique_ptr<audio::AudioRenderer> playback;
        libAudio::StaticPCMBuffer playbackTrack;
        libAudio::StaticPCMBuffer captureTrack;
        libAudio::StaticPCMBuffer unusedTrack;
        libAudio::StaticPCMBuffer analysisTrack;
    };

    SignalRecording m_signalRecording;
    audio::AudioSystem& m_audio;

private:
    bool determineSignalFormat(audio::AudioDevice& speaker, audio::AudioDevice& microphone);
    bool initiateAudioDevices(std::uint32_t speaker, std::uint32_t microphone);
    bool initiateFrequencyInAudioDevices(stereo_freq_t frequency);
    bool createTestData(const ToneDescriptor& left, const ToneDescriptor& right);
    vesk5::TestResult captureAudioData(std::uint32_t speaker, std::uint32_t microphone);
    vesk5::TestResult verifyTestSignal(std::uint32_t speaker, std::uint32_t microphone);
    void displayCurrentFrequencyTone(stereo_freq_t frequency);
    bool checkForActiveDevices(std::uint32_t speaker, std::uint32_t microphone);
    vesk5::TestResult abortTest(vesk5::TestResult result, const kvo::String& message,
                                bool deviceProblem);
    // Copies a recording into the analysis track and drops its first 60%.
    void prepareAnalysis(const libAudio::StaticPCMBuffer& source);

    void maxMuteAndVolumeLevels();
    void restoreMuteAndVolumeLevels();

    void setupWaveFilePath();
    void createWaveFile();
    void cleanWaveFilesInLogDirectory();
    vesk5::TestResult analyzeWaveFileRecording(vesk5::TestResult result);
    bool parseWaveFileFrequency(stereo_freq_t& frequency);
    // A note for each listed frequency that a perfect path fails at `rate`.
    void noteFrequenciesAPerfectPathFails(std::uint32_t rate);
    // The figures of the check just analysed, with the file it was saved to ("" for none).
    void reportToneFigures(std::uint32_t speaker, std::uint32_t microphone,
                           const kvo::String& savedFile);

    SignalTester m_signalTester;
    audio::WAVEFORMATEX m_playbackFormat;
    audio::WAVEFORMATEX m_captureFormat;
    MicManagerWin7 m_micManager;
    kvo::String m_logDirectory;
    kvo::Array<audio::AudioDevicePtr> m_microphones;
    kvo::Array<std::uint32_t> m_savedMicVolumes;
    kvo::Array<bool> m_savedMicMutes;
    kvo::Array<audio::AudioDevicePtr> m_speakers;
    kvo::Array<std::uint32_t> m_savedSpeakerVolumes;
    kvo::Array<bool> m_savedSpeakerMutes;
    kvo::Array<stereo_freq_t> m_frequencies;
    CurrentTone m_currentTone;
    ToneMeter m_toneMeter{m_currentTone};
    std::uint32_t m_checkedCaptureRate = 0;
    const std::uint32_t m_minimumFrequency = 20;
    const std::uint32_t m_maximumFrequency = 20000;
    const std::uint32_t m_toneAmplitude = 16383;
    const std::uint32_t m_toneDuration = 1000;
    kvo::Array<vesk5::TestResult> m_results;
    bool m_generateRecording = false;
    kvo::String m_frequencyAnalysisWaveFile;
};

}  // namespace kvormicrophone
