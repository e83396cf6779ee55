#include "FrequencyToneTest.hpp"

#include <algorithm>
#include <cstring>

#include "AudioTestHelper.hpp"
#include "FrequencyListCheck.hpp"
#include "FrequencyTestParameter.hpp"
#include "RecordingAnalysis.hpp"
#include "common/libAudio-common/PCMSupport.hpp"
#include "diag/kvormicrophone/ModuleGlobals.hpp"
#include "platform/audio/CurrentSystem.hpp"
#include "platform/kvo/FileSystem.hpp"
#include "platform/kvo/Resource.hpp"
#include "platform/kvo/System.hpp"
#include "platform/kvo/TraceLogger.hpp"

namespace kvormicrophone {

using vesk5::DiagModule;
using vesk5::TestResult;

namespace {

constexpr const char* kSource = "FrequencyToneTest";
constexpr std::uint32_t kSampleRateCeiling = 48000;
constexpr std::uint32_t kBitDepthCeiling = 16;
constexpr std::uint32_t kPlayRepetitions = 6;
constexpr std::uint32_t kSettleMs = 500;
constexpr std::uint32_t kCapturePollMs = 50;
// Only the end of a recording is analysed: the speaker and the capture need the start to settle.
constexpr float kCutFraction = 0.6F;
constexpr char kSep = kvo::FileSystem::kPathSeparator;

bool stopRequested() {
    return DiagModule::checkForStop();
}

kvo::String endpointLabel(const audio::AudioDevice& device) {
    const audio::DeviceProperty property = device.deviceProperty();
    return property.friendlyName + " " + property.description;
}

}  // namespace

kvo::Logger& toneLogger() {
    static kvo::Logger& logger = kvo::Logger::get("kvormicrophone.FrequencyToneTest");
    return logger;
}

FrequencyToneTest::FrequencyToneTest() : m_audio(audio::currentSystem()) {
    kvo::TraceLogger trace(toneLogger(), "FrequencyToneTest::FrequencyToneTest", kSource);
    setupWaveFilePath();
    kvo::String value;
    bool generate = false;
    m_generateRecording =
        kvo::Resource::getSetting("kvormicrophone", "GenerateRecording.value", value) &&
        kvo::strToBoolean(kvo::trim(value), generate) && generate;
    value.clear();
    kvo::Resource::getSetting("kvormicrophone", "FrequencyAnalysisWaveFile.value", value);
    m_frequencyAnalysisWaveFile = kvo::trim(value);
    if (m_frequencyAnalysisWaveFile.empty()) {
        m_frequencyAnalysisWaveFile = "NONE";
    }
    KVO_LOG(toneLogger(), kvo::kLogDetail, "WaveFile for PASS Test will be recorded: {}",
            m_generateRecording);
    KVO_LOG(toneLogger(), kvo::kLogDetail, "Initial WaveFile Name is: {}",
            m_frequencyAnalysisWaveFile);
    m_signalTester.setChannelObserver(&m_toneMeter);
}

FrequencyToneTest::~FrequencyToneTest() {
    if (m_signalRecording.capture != nullptr) {
        m_signalRecording.capture->stop();
    }
    if (m_signalRecording.playback != nullptr) {
        m_signalRecording.playback->stop();
    }
}

bool FrequencyToneTest::instantiateAudioIO() {
    m_signalRecording.capture = m_audio.createAudioCaptureEx();
    m_signalRecording.playback = m_audio.createAudioRendererEx();
    return m_signalRecording.capture != nullptr && m_signalRecording.playback != nullptr;
}

std::uint32_t FrequencyToneTest::enumerateIntegratedMicrophones() {
    m_micManager.refreshMicrophoneDeviceStates();
    return m_micManager.filterIntegratedMicDevices(m_microphones);
}

std::uint32_t FrequencyToneTest::enumerateIntegratedSpeakers() {
    m_micManager.refreshSpeakerDeviceStates();
    return m_micManager.filterIntegratedSpkDevices(m_speakers);
}

TestResult FrequencyToneTest::test(TestResult result) {
    kvo::TraceLogger trace(toneLogger(), "FrequencyToneTest::test", kSource);
    if (stopRequested()) {
        return TestResult::USERABORTED();
    }
    DiagModule::percentDone(0);
    maxMuteAndVolumeLevels();
    if (m_frequencyAnalysisWaveFile != "NONE") {
        return analyzeWaveFileRecording(result);
    }
    cleanWaveFilesInLogDirectory();

    const kvo::String frequencyList = FrequencyTestParameter::frequencyList();
    // An empty list would leave nothing to divide the progress by: it is as malformed as any other.
    if (!parseFrequencies(frequencyList) || m_frequencies.empty()) {
        if (m_frequencies.empty() && frequencyList.find_first_not_of(", ") == kvo::String::npos) {
            FrequencyTestParameter::reportProblem(frequencyList.empty() ? "it was not given"
                                                                        : "it names no frequency");
        }
        return abortTest(result,
                         "Input Frequencies were not entered in the right format: " + frequencyList,
                         false);
    }
    const std::uint32_t step =
        100 / (m_frequencies.size() * m_speakers.size() * m_microphones.size());

    m_signalTester.setRecordingSource(this);
    if (stopRequested()) {
        return TestResult::USERABORTED();
    }
    std::uint32_t progress = 0;
    for (std::uint32_t s = 0; s < m_speakers.size(); ++s) {
        for (std::uint32_t m = 0; m < m_microphones.size(); ++m) {
            if (!determineSignalFormat(*m_speakers[s], *m_microphones[m])) {
                return abortTest(result, "Unable to setup the WAVE format for audio device buffers",
                                 true);
            }
            if (const std::uint32_t rate = m_captureFormat.nSamplesPerSec;
                rate != m_checkedCaptureRate) {
                m_checkedCaptureRate = rate;
                noteFrequenciesAPerfectPathFails(rate);
            }
            for (const stereo_freq_t frequency : m_frequencies) {
                if (!checkForActiveDevices(s, m)) {
                    return TestResult::NODEVICE();
                }
                if (stopRequested()) {
                    return TestResult::USERABORTED();
                }
                displayCurrentFrequencyTone(frequency);
                if (!initiateFrequencyInAudioDevices(frequency)) {
                    return abortTest(result, "Unable to initiate frequency in audio devices", true);
                }
                if (!initiateAudioDevices(s, m)) {
                    return abortTest(result, "Unable to initiate audio devices", true);
                }
                if (!checkForActiveDevices(s, m)) {
                    return TestResult::NODEVICE();
                }
                if (stopRequested()) {
                    return TestResult::USERABORTED();
                }
                const TestResult r = verifyTestSignal(s, m);
                if (r != TestResult::FAIL() && r != TestResult::PASS()) {
                    return r;
                }
                m_results.append(r);
                progress += step;
                DiagModule::percentDone(static_cast<int>(progress));
            }
        }
    }

    const kvo::String failures =
        failureList(m_results, m_frequencies, m_speakers.size() * m_microphones.size());
    restoreMuteAndVolumeLevels();
    if (std::find(m_results.begin(), m_results.end(), TestResult::FAIL()) != m_results.end()) {
        events::FAIL_FREQUENCY_TONE_TEST->setVariable("frequencies", vesk5::Value(failures));
        DiagModule::error(events::FAIL_FREQUENCY_TONE_TEST, kSource, __LINE__);
        return TestResult::FAIL();
    }
    return TestResult::PASS();
}

kvo::String FrequencyToneTest::failureList(const kvo::Array<TestResult>& results,
                                           const kvo::Array<stereo_freq_t>& frequencies,
                                           std::uint32_t pairs) {
    kvo::String list;
    for (std::uint32_t i = 0; i < pairs; ++i) {
        for (std::uint32_t k = 0; k < frequencies.size(); ++k) {
            const std::uint32_t index = frequencies.size() * i + k;
            if (results[index] != TestResult::FAIL()) {
                continue;
            }
            // The blank depends on the index, not on whether anything came before.
            if (index != 0) {
                list += " ";
            }
            KVO_LOG(toneLogger(), kvo::kLogDetail, "Test with the frequency {}:{} failed.",
                    frequencies[k].left, frequencies[k].right);
            list += std::to_string(frequencies[k].left);
        }
    }
    return list;
}

TestResult FrequencyToneTest::abortTest(TestResult, const kvo::String& message,
                                        bool deviceProblem) {
    restoreMuteAndVolumeLevels();
    if (stopRequested()) {
        return TestResult::USERABORTED();
    }
    KVO_LOG(toneLogger(), kvo::kLogDetail, "{}", message);
    if (deviceProblem) {
        DiagModule::warning(events::DEVICE_MISCONFIGURED, kSource, __LINE__);
        return TestResult::CANNOTRUN();
    }
    DiagModule::warning(events::MSG_BAD_FREQ_INPUT, kSource, __LINE__);
    return TestResult::BADPARAMS();
}

bool FrequencyToneTest::parseFrequencies(const kvo::String& frequencyList) {
    for (const kvo::String& token : kvo::tokenize(frequencyList, ',')) {
        std::uint32_t value = 0;
        if (!kvo::strToUInt(token, value) || value < m_minimumFrequency ||
            value > m_maximumFrequency) {
            FrequencyTestParameter::reportProblem(
                fmt::format("\"{}\" is not a whole number of Hz from {} to {}", token,
                            m_minimumFrequency, m_maximumFrequency));
            return false;
        }
        m_frequencies.append({value, value});
    }
    return true;
}

void FrequencyToneTest::displayCurrentFrequencyTone(stereo_freq_t frequency) {
    const std::uint32_t shown = frequency.left > frequency.right ? frequency.left : frequency.right;
    events::MSG_CURRENT_FREQ->setVariable("frequency", vesk5::Value(shown));
    DiagModule::informative(events::MSG_CURRENT_FREQ, kSource, __LINE__);
}

bool FrequencyToneTest::initiateFrequencyInAudioDevices(stereo_freq_t frequency) {
    const ToneDescriptor left{m_toneAmplitude, static_cast<double>(frequency.left), m_toneDuration};
    const ToneDescriptor right{m_toneAmplitude, static_cast<double>(frequency.right),
                               m_toneDuration};
    return createTestData(left, right);
}

bool FrequencyToneTest::createTestData(const ToneDescriptor& left, const ToneDescriptor& right) {
    // Whole seconds: a 1500 ms tone gives a one-second buffer.
    const double seconds = static_cast<double>(std::max(left.duration, right.duration) / 1000);
    const bool playbackCreated =
        libAudio::createPCMBuffer(m_playbackFormat, seconds, m_signalRecording.playbackTrack);
    const bool captureCreated =
        libAudio::createPCMBuffer(m_captureFormat, seconds, m_signalRecording.captureTrack);
    if (!playbackCreated || !captureCreated) {
        KVO_LOG(toneLogger(), kvo::kLogError, "One fo the pcm buffer creation has failed.");
        return false;
    }
    m_currentTone.left = left.frequency;
    m_currentTone.right = right.frequency;
    libAudio::createSinusoid(0, left.amplitude, left.frequency, m_signalRecording.playbackTrack);
    if (m_playbackFormat.nChannels > 1) {
        libAudio::createSinusoid(1, right.amplitude, right.frequency,
                                 m_signalRecording.playbackTrack);
    }
    return true;
}

bool FrequencyToneTest::initiateAudioDevices(std::uint32_t speaker, std::uint32_t microphone) {
    const kvo::String speakerLabel = endpointLabel(*m_speakers[speaker]);
    if (!m_signalRecording.playback->initialize(m_speakers[speaker],
                                                &m_signalRecording.playbackTrack)) {
        KVO_LOG(toneLogger(), kvo::kLogError, "Not using {} for playback", speakerLabel);
        return false;
    }
    KVO_LOG(toneLogger(), kvo::kLogDetail, "Using playback endpoint device {} for playback",
            speakerLabel);
    const kvo::String microphoneLabel = endpointLabel(*m_microphones[microphone]);
    if (!m_signalRecording.capture->initialize(m_microphones[microphone],
                                               &m_signalRecording.captureTrack)) {
        KVO_LOG(toneLogger(), kvo::kLogError, "Not using {} for capture", microphoneLabel);
        return false;
    }
    KVO_LOG(toneLogger(), kvo::kLogError, "Using recording endpoint device{} for capture",
            microphoneLabel);

    // The tone plays at 70% although the levels were raised to 100% before.
    if (const auto controller = m_speakers[speaker]->volumeControl()) {
        float left = 0.0F;
        float right = 0.0F;
        controller->channelVolumeLevel(0, left);
        controller->channelVolumeLevel(1, right);
        controller->setVolumeLevel(70);
        float channel0 = 0.0F;
        if (controller->channelVolumeLevel(0, channel0)) {
            controller->setChannelVolumeLevel(0, channel0);
        }
        controller->setMute(false);
    }
    return true;
}

bool FrequencyToneTest::checkForActiveDevices(std::uint32_t speaker, std::uint32_t microphone) {
    const bool microphoneActive = m_micManager.isActive(*m_microphones[microphone]);
    if (!microphoneActive) {
        DiagModule::warning(events::MSG_NO_MICROPHONE, kSource, __LINE__);
    }
    const bool speakerActive = m_micManager.isActive(*m_speakers[speaker]);
    if (!speakerActive) {
        DiagModule::warning(events::MSG_NO_SPEAKER, kSource, __LINE__);
    }
    if (!microphoneActive || !speakerActive) {
        restoreMuteAndVolumeLevels();
        return false;
    }
    return true;
}

TestResult FrequencyToneTest::verifyTestSignal(std::uint32_t speaker, std::uint32_t microphone) {
    kvo::System::mssleep(kSettleMs);
    if (!m_signalRecording.playback->play(kPlayRepetitions, stopRequested)) {
        return TestResult::FAIL();
    }
    const TestResult r = captureAudioData(speaker, microphone);
    m_signalRecording.playback->stop();
    if (r != TestResult::PASS()) {
        return r;
    }
    prepareAnalysis(m_signalRecording.captureTrack);
    const bool ok = m_signalTester.isSignalValid(&m_currentTone);
    KVO_LOG(toneLogger(), kvo::kLogInfo, "Is recording successful : {}", ok ? "Yes" : "No");
    KVO_LOG(toneLogger(), kvo::kLogDetail, "GenerateRecording= {}", m_generateRecording);
    const bool saved = m_generateRecording || !ok;
    if (saved) {
        createWaveFile();
    }
    reportToneFigures(
        speaker, microphone,
        saved ? std::to_string(static_cast<std::uint32_t>(m_currentTone.left)) + ".wav" : "");
    return ok ? TestResult::PASS() : TestResult::FAIL();
}

void FrequencyToneTest::prepareAnalysis(const libAudio::StaticPCMBuffer& source) {
    libAudio::StaticPCMBuffer& analysis = m_signalRecording.analysisTrack;
    analysis.format = source.format;
    analysis.pcmStorage = source.pcmStorage;
    analysis.position = 0;
    const audio::WAVEFORMATEX& format = analysis.format.Format;
    const double duration = format.nBlockAlign == 0 || format.nSamplesPerSec == 0
                                ? 0.0
                                : static_cast<double>(analysis.pcmStorage.size()) /
                                      format.nBlockAlign / format.nSamplesPerSec;
    analysis.truncateFront(duration * static_cast<double>(kCutFraction));
}

TestResult FrequencyToneTest::captureAudioData(std::uint32_t speaker, std::uint32_t microphone) {
    if (!checkForActiveDevices(speaker, microphone)) {
        return TestResult::NODEVICE();
    }
    libAudio::StaticPCMBuffer& track = m_signalRecording.captureTrack;
    track.position = 0;
    if (track.pcmStorage.size() > 0) {
        std::memset(track.pcmStorage.data(), 0, track.pcmStorage.size());
    }
    audio::AudioCapture& capture = *m_signalRecording.capture;
    if (!capture.start(stopRequested)) {
        if (!checkForActiveDevices(speaker, microphone)) {
            return TestResult::NODEVICE();
        }
        if (stopRequested()) {
            return TestResult::USERABORTED();
        }
        KVO_LOG(toneLogger(), kvo::kLogError, "Recording fails to start");
        DiagModule::warning(events::DEVICE_MISCONFIGURED, kSource, __LINE__);
        return TestResult::CANNOTRUN();
    }
    TestResult r = TestResult::PASS();
    while (capture.isStillRecording()) {
        if (!checkForActiveDevices(speaker, microphone)) {
            capture.stop();
            return TestResult::NODEVICE();
        }
        if (stopRequested()) {
            r = TestResult::USERABORTED();
            break;
        }
        kvo::System::mssleep(kCapturePollMs);
    }
    // A stop during the last poll's sleep ends the capture through its stop
    // callback as a normal end: what it holds is no recording of the tone.
    if (r == TestResult::PASS() && stopRequested()) {
        r = TestResult::USERABORTED();
    }
    capture.stop();
    capture.reset();
    if (capture.threadExitCode() != 0 && r != TestResult::USERABORTED()) {
        if (!checkForActiveDevices(speaker, microphone)) {
            return TestResult::NODEVICE();
        }
        KVO_LOG(toneLogger(), kvo::kLogError,
                "Recording got interrupted. This may indicate a faulty device,driver, or an "
                "overloaded device.");
        DiagModule::warning(events::DEVICE_MISCONFIGURED, kSource, __LINE__);
        r = TestResult::CANNOTRUN();
    }
    return checkForActiveDevices(speaker, microphone) ? r : TestResult::NODEVICE();
}

bool FrequencyToneTest::determineSignalFormat(audio::AudioDevice& speaker,
                                              audio::AudioDevice& microphone) {
    if (m_signalRecording.capture == nullptr || m_signalRecording.playback == nullptr) {
        KVO_LOG(toneLogger(), kvo::kLogError,
                "m_signalRecording has not been initialized correctly.");
        return false;
    }
    kvo::Array<audio::WAVEFORMATEX> playbackFormats;
    kvo::Array<audio::WAVEFORMATEX> captureFormats;
    if (speaker.compatibleFormats(playbackFormats, m_signalRecording.playback->shareMode()) == 0 ||
        microphone.compatibleFormats(captureFormats, m_signalRecording.capture->shareMode()) == 0) {
        KVO_LOG(toneLogger(), kvo::kLogError, "Unable to query compatible formats.");
        return false;
    }
    filterWaveFormats(playbackFormats);
    filterWaveFormats(captureFormats);
    return negotiateWaveFormat(playbackFormats, captureFormats, m_playbackFormat, m_captureFormat);
}

void FrequencyToneTest::filterWaveFormats(kvo::Array<audio::WAVEFORMATEX>& formatList) {
    for (std::uint32_t i = 0; i < formatList.size();) {
        // Copied out of the packed record before they are formatted by reference.
        const std::uint32_t rate = formatList[i].nSamplesPerSec;
        const std::uint32_t bits = formatList[i].wBitsPerSample;
        KVO_LOG(toneLogger(), kvo::kLogDetail,
                "For Formatlist Index {} the nSamplesPerSec {} against {}", i, rate,
                kSampleRateCeiling);
        KVO_LOG(toneLogger(), kvo::kLogDetail,
                "For Formatlist Index {} the wBitsPerSample {} against {}", i, bits,
                kBitDepthCeiling);
        if (rate <= kSampleRateCeiling && bits <= kBitDepthCeiling) {
            ++i;
        } else {
            formatList.remove(i);
        }
    }
}

void FrequencyToneTest::maxMuteAndVolumeLevels() {
    const auto raise = [](kvo::Array<audio::AudioDevicePtr>& devices,
                          kvo::Array<std::uint32_t>& volumes, kvo::Array<bool>& mutes) {
        for (const auto& device : devices) {
            std::uint32_t volume = 0;
            bool mute = false;
            const auto controller = device->volumeControl();
            if (controller != nullptr) {
                controller->getVolumeLevel(volume);
                controller->getMute(mute);
            }
            volumes.append(volume);
            mutes.append(mute);
            if (controller != nullptr) {
                controller->setVolumeLevel(100);
                controller->setMute(false);
            }
        }
    };
    raise(m_microphones, m_savedMicVolumes, m_savedMicMutes);
    raise(m_speakers, m_savedSpeakerVolumes, m_savedSpeakerMutes);
}

void FrequencyToneTest::restoreMuteAndVolumeLevels() {
    const auto restore = [](kvo::Array<audio::AudioDevicePtr>& devices,
                            kvo::Array<std::uint32_t>& volumes, kvo::Array<bool>& mutes) {
        for (std::uint32_t i = 0; i < devices.size(); ++i) {
            if (const auto controller = devices[i]->volumeControl()) {
                controller->setVolumeLevel(volumes[i]);
                controller->setMute(mutes[i]);
            }
        }
    };
    restore(m_microphones, m_savedMicVolumes, m_savedMicMutes);
    restore(m_speakers, m_savedSpeakerVolumes, m_savedSpeakerMutes);
}

void FrequencyToneTest::setupWaveFilePath() {
    m_logDirectory = DiagModule::getBaseDirectory() + kSep + "logs";
    KVO_LOG(toneLogger(), kvo::kLogDetail, "Wave files will be stored here  {}", m_logDirectory);
}

void FrequencyToneTest::createWaveFile() {
    const auto frequency = static_cast<std::uint32_t>(m_currentTone.left);
    const kvo::String path = m_logDirectory + kSep + std::to_string(frequency) + ".wav";
    // The files stay in the base folder even when logs/ was removed during the run.
    kvo::FileSystem::createDirectories(m_logDirectory);
    const libAudio::StaticPCMBuffer& track = m_signalRecording.captureTrack;
    libAudio::createPCMWaveFile(path, m_captureFormat, track.pcmStorage.data(),
                                track.pcmStorage.size());
}

void FrequencyToneTest::cleanWaveFilesInLogDirectory() {
    if (!kvo::FileSystem::exists(m_logDirectory) ||
        kvo::FileSystem::isDirectoryEmpty(m_logDirectory)) {
        return;
    }
    for (const kvo::String& name :
         kvo::FileSystem::getDirectoryContents(m_logDirectory, kvo::FileSystem::kPlainFiles)) {
        const std::vector<kvo::String> tokens = kvo::tokenize(name, '.');
        if (tokens.size() > 1 && tokens[1] == "wav") {
            kvo::FileSystem::removeFile(m_logDirectory + kSep + name);
        }
    }
}

TestResult FrequencyToneTest::analyzeWaveFileRecording(TestResult) {
    const kvo::String path = m_logDirectory + kSep + m_frequencyAnalysisWaveFile;
    KVO_LOG(toneLogger(), kvo::kLogDetail, "Path to file is: {}", path);
    RecordingAnalysis analysis;
    kvo::String problem;
    if (!analysis.load(path, problem)) {
        if (stopRequested()) {
            return TestResult::USERABORTED();
        }
        KVO_LOG(toneLogger(), kvo::kLogDetail, "Unable to create waveRecordingTrack: {}", problem);
        DiagModule::warning(events::DEVICE_MISCONFIGURED, kSource, __LINE__);
        return TestResult::CANNOTRUN();
    }
    stereo_freq_t frequency;
    if (!parseWaveFileFrequency(frequency)) {
        if (stopRequested()) {
            return TestResult::USERABORTED();
        }
        DiagModule::warning(events::DEVICE_MISCONFIGURED, kSource, __LINE__);
        return TestResult::CANNOTRUN();
    }
    if (analysis.heard(frequency.left, m_frequencyAnalysisWaveFile)) {
        return TestResult::PASS();
    }
    events::FAIL_FREQUENCY_TONE_TEST->setVariable("frequencies",
                                                  vesk5::Value(std::to_string(frequency.left)));
    DiagModule::error(events::FAIL_FREQUENCY_TONE_TEST, kSource, __LINE__);
    return TestResult::FAIL();
}

void FrequencyToneTest::noteFrequenciesAPerfectPathFails(std::uint32_t rate) {
    for (const stereo_freq_t frequency : m_frequencies) {
        const kvo::String note =
            perfectPathNote(frequency.left, rate, m_minimumFrequency, m_maximumFrequency);
        if (!note.empty()) {
            DiagModule::reportNote(note);
        }
    }
}

void FrequencyToneTest::reportToneFigures(std::uint32_t speaker, std::uint32_t microphone,
                                          const kvo::String& savedFile) {
    const kvo::String speakerName = m_speakers[speaker]->friendlyName();
    const kvo::String microphoneName = m_microphones[microphone]->friendlyName();
    // The speaker is named only when there is a choice of them.
    kvo::String label = "mic \"" + microphoneName + "\"";
    if (m_speakers.size() > 1) {
        label = "speaker \"" + speakerName + "\"  " + label;
    }
    std::vector<std::pair<std::string, std::string>> subject{{"speaker", speakerName},
                                                             {"microphone", microphoneName}};
    if (!savedFile.empty()) {
        subject.emplace_back("file", savedFile);
    }
    m_toneMeter.report(label, std::move(subject));
}

bool FrequencyToneTest::parseWaveFileFrequency(stereo_freq_t& frequency) {
    std::uint32_t value = 0;
    if (frequencyFromFileName(m_frequencyAnalysisWaveFile, value)) {
        frequency.left = value;
        frequency.right = value;
        return true;
    }
    KVO_LOG(toneLogger(), kvo::kLogDetail,
            "WaveFile name does not have the correct naming format. File must have a format "
            "generated in a previous "
            "run of this test.");
    return false;
}

}  // namespace kvormicrophone
