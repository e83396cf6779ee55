#include "MicrophoneTestWin7.hpp"

#include <atomic>
#include <cstring>

#include "MicrophoneListUpdater.hpp"
#include "common/libAudio-common/PCMSupport.hpp"
#include "diag/kvormicrophone/MicrophoneDialogCommon.hpp"
#include "diag/kvormicrophone/MicrophoneTestParameter.hpp"
#include "diag/kvormicrophone/ModuleGlobals.hpp"
#include "diag/kvormicrophone/ModuleLogger.hpp"
#include "platform/audio/CurrentSystem.hpp"
#include "platform/kvo/FileSystem.hpp"
#include "platform/kvo/Resource.hpp"
#include "platform/kvo/System.hpp"
#include "platform/kvo/TraceLogger.hpp"
#include "platform/vesk5/DiagModule.hpp"

namespace kvormicrophone {
namespace {

constexpr const char* kSource = "MicrophoneTestWin7";

bool generateRecordingSetting() {
    kvo::String value;
    bool generate = false;
    return kvo::Resource::getSetting("kvormicrophone", "GenerateRecording.value", value) &&
           kvo::strToBoolean(kvo::trim(value), generate) && generate;
}

kvo::String engineLogDirectory() {
    return vesk5::DiagModule::getBaseDirectory() + kvo::FileSystem::kPathSeparator + "logs" +
           kvo::FileSystem::kPathSeparator;
}

// Numbers recordings across the whole process, so that later runs never overwrite earlier files.
std::atomic<unsigned> recordingNumber{0};

}  // namespace

kvo::String jackConnectionTypeText(int connectionType) {
    static const char* const texts[] = {
        " Unknown ", " 1/8 inch ",        " 1/4 inch ",       " ATAPI Internal Connector ", " RCA ",
        " Optical ", " Generic Digital ", " Generic Analog ", " Mutichannel Analog DIN ",   " XLR ",
        " RJ11 ",    " Combination "};
    return connectionType >= 0 && connectionType < 12 ? texts[connectionType] : "";
}

kvo::String jackLocationText(int geometricLocation) {
    static const char* const texts[] = {"",
                                        " Rear-mounted panel",
                                        " Front-mounted panel",
                                        " Left-mounted panel",
                                        " Right-mounted panel",
                                        " Top-mounted panel",
                                        " Bottom-mounted panel",
                                        " Real slide-open panel",
                                        " Riser card",
                                        " Mobile inside lid",
                                        " Drive bay",
                                        " HDMI connector",
                                        " Mobile outside lid",
                                        " ATAPI connector"};
    return geometricLocation >= 0 && geometricLocation < 14 ? texts[geometricLocation] : "";
}

MicrophoneTestWin7::MicrophoneTestWin7(MicrophoneTestUI* ui)
    : m_audio(audio::currentSystem()),
      m_ui(ui),
      m_recordingFormat(audio::makePcmFormat(2, 44100, 16)),
      m_generateRecording(generateRecordingSetting()),
      m_logDirectory(engineLogDirectory()) {
    kvo::TraceLogger trace(moduleLogger(), "MicrophoneTestWin7::MicrophoneTestWin7", kSource);
    m_recordingBuffer.format.Format = m_recordingFormat;
    m_audio.soundCards(m_soundCards);
    MicrophoneTestWin7::updateMicrophoneDeviceList();
    MicrophoneTestWin7::updateSpeakerDeviceList();
    registerListeners();
}

MicrophoneTestWin7::~MicrophoneTestWin7() {
    kvo::TraceLogger trace(moduleLogger(), "MicrophoneTestWin7::~MicrophoneTestWin7", kSource);
    for (const auto& card : m_soundCards) {
        for (const auto& observer : m_observers) {
            card->unregisterObserver(observer);
        }
    }
    stop();
    m_boost.restore();
}

void MicrophoneTestWin7::registerListeners() {
    for (const auto& card : m_soundCards) {
        auto recording = std::make_shared<MicrophoneListUpdater>(this);
        if (card->registerRecordObserver(recording)) {
            m_observers.append(recording);
        } else {
            KVO_LOG(moduleLogger(), kvo::kLogError, "Failed to add recording observer for card {}",
                    card->name());
        }
        auto playback = std::make_shared<PlayerListUpdater>(this);
        if (card->registerPlaybackObserver(playback)) {
            m_observers.append(playback);
        } else {
            KVO_LOG(moduleLogger(), kvo::kLogError, "Failed to add playback observer for card {}",
                    card->name());
        }
    }
}

void MicrophoneTestWin7::logJacks(audio::AudioDevice& device) {
    kvo::Array<audio::KSJACK_DESCRIPTION> jacks;
    device.jackInfo(jacks);
    for (std::uint32_t i = 0; i < jacks.size(); ++i) {
        KVO_LOG(moduleLogger(), kvo::kLogDetail, "Jack {}{}{}", i,
                jackConnectionTypeText(jacks[i].ConnectionType),
                jackLocationText(jacks[i].GeoLocation));
    }
}

void MicrophoneTestWin7::updateDeviceLists() {
    updateMicrophoneDeviceList();
    updateSpeakerDeviceList();
}

void MicrophoneTestWin7::fillEndpointList(audio::EDataFlow flow, std::uint32_t stateMask,
                                          kvo::Array<audio::AudioDevicePtr>& list) {
    list.clear();
    for (const auto& card : m_soundCards) {
        card->endpoints(flow, stateMask, list);
    }
    for (const auto& device : list) {
        logJacks(*device);
    }
}

DeviceList MicrophoneTestWin7::deviceList(const kvo::Array<audio::AudioDevicePtr>& endpoints) {
    DeviceList list;
    for (std::uint32_t i = 0; i < endpoints.size(); ++i) {
        list.append({endpoints[i]->friendlyName(), i});
    }
    return list;
}

void MicrophoneTestWin7::updateMicrophoneDeviceList() {
    std::lock_guard lock(m_mutex);
    fillEndpointList(audio::eCapture, audio::DEVICE_STATE_ACTIVE, m_micDevices);
    if (m_ui != nullptr) {
        m_ui->setMicrophoneList(deviceList(m_micDevices));
    }
}

void MicrophoneTestWin7::updateSpeakerDeviceList() {
    std::lock_guard lock(m_mutex);
    fillEndpointList(audio::eRender, audio::DEVICE_STATE_ACTIVE, m_playerDevices);
    if (m_ui != nullptr) {
        m_ui->setSpeakerList(deviceList(m_playerDevices));
    }
}

void MicrophoneTestWin7::refreshDeviceStates() {
    updateDeviceLists();
}

std::uint32_t MicrophoneTestWin7::microphoneDeviceList(DeviceList& list) {
    std::lock_guard lock(m_mutex);
    list = deviceList(m_micDevices);
    return list.size();
}

void MicrophoneTestWin7::setRecordingDuration(std::uint32_t milliseconds) {
    m_recordingDuration = milliseconds;
    const std::uint64_t bytes =
        std::uint64_t{m_recordingFormat.nAvgBytesPerSec} * milliseconds / 1000;
    m_recordingBuffer.pcmStorage.resize(static_cast<std::size_t>(bytes));
}

bool MicrophoneTestWin7::initializeRecordingDevice(std::uint32_t index) {
    const audio::AudioDevicePtr device = m_micDevices[index];
    std::uint32_t waveId = 0;
    if (!device->waveLegacyDeviceID(waveId)) {
        return false;
    }
    m_waveIn = m_audio.createWaveIn();
    m_recordingBuffer.format.Format = m_recordingFormat;
    m_recordingBuffer.position = 0;
    if (m_recordingBuffer.pcmStorage.size() > 0) {
        std::memset(m_recordingBuffer.pcmStorage.data(), 0, m_recordingBuffer.pcmStorage.size());
    }
    return m_waveIn->open(waveId, &m_recordingBuffer);
}

bool MicrophoneTestWin7::initializePlaybackDevice(std::uint32_t index) {
    const audio::AudioDevicePtr device = m_playerDevices[index];
    std::uint32_t waveId = 0;
    if (!device->waveLegacyDeviceID(waveId)) {
        return false;
    }
    m_waveOut = m_audio.createWaveOut();
    return m_waveOut->open(waveId, m_recordingBuffer);
}

bool MicrophoneTestWin7::startRecording(std::uint32_t index) {
    kvo::TraceLogger trace(moduleLogger(), "MicrophoneTestWin7::startRecording", kSource);
    stop();
    // The capture starts here rather than on the thread so that a refusal is
    // reported to the caller, who may retry.
    if (!initializeRecordingDevice(index) || !m_waveIn->start()) {
        KVO_LOG(moduleLogger(), kvo::kLogError, "Unable to initialize mic {}",
                m_micDevices[index]->friendlyName());
        return false;
    }
    m_recordingThread =
        std::make_unique<kvo::ManagedThread>("recording", [this] { return record(); });
    m_recordingThread->start();
    return true;
}

bool MicrophoneTestWin7::playback(std::uint32_t index) {
    kvo::TraceLogger trace(moduleLogger(), "MicrophoneTestWin7::playback", kSource);
    if (!initializePlaybackDevice(index) || !m_waveOut->start(1)) {
        KVO_LOG(moduleLogger(), kvo::kLogError, "Unable to initialize mic {}",
                m_playerDevices[index]->friendlyName());
        return false;
    }
    return true;
}

bool MicrophoneTestWin7::startPlayback(std::uint32_t index) {
    kvo::TraceLogger trace(moduleLogger(), "MicrophoneTestWin7::startPlayback", kSource);
    stop();
    if (!playback(index)) {
        return false;
    }
    m_playbackThread =
        std::make_unique<kvo::ManagedThread>("playback", [this] { return watchPlayback(); });
    m_playbackThread->start();
    return true;
}

int MicrophoneTestWin7::watchPlayback() {
    WaitHandlerDoNothing doNothing;
    WaitHandler& waitHandler = m_waitHandler != nullptr ? *m_waitHandler : doNothing;
    waitHandler.start();
    while (isPlaying() && !m_stopPlayback.load()) {
        waitHandler.onPoll();
        kvo::System::mssleep(10);
    }
    KVO_LOG(moduleLogger(), kvo::kLogDetail, "Notify UI we are done playing.");
    std::lock_guard lock(m_mutex);
    if (m_ui != nullptr) {
        m_ui->playbackFinished();
    }
    return m_waveOut->errorCode();
}

void MicrophoneTestWin7::setUI(MicrophoneTestUI* ui) {
    std::lock_guard lock(m_mutex);
    m_ui = ui;
}

void MicrophoneTestWin7::onUINotification(std::uintptr_t wParam, std::intptr_t lParam) {
    KVO_LOG(moduleLogger(), kvo::kLogDetail, "UI notification {} {}", wParam, lParam);
}

void MicrophoneTestWin7::UIProgressUpdater::onPoll() {
    const unsigned percent =
        dialog::progressPercent(stopwatch().elapsedMs(), m_engine.recordingDuration());
    if (percent != m_lastLogged) {
        m_lastLogged = percent;
        KVO_LOG(moduleLogger(), kvo::kLogDetail, "Progress {}", percent);
    }
    if (MicrophoneTestUI* ui = m_engine.ui()) {
        ui->setProgress(percent);
    }
}

bool MicrophoneTestWin7::isPlaying() {
    return m_waveOut != nullptr && m_waveOut->stillPlaying();
}

bool MicrophoneTestWin7::stillRecording() {
    return m_waveIn != nullptr && m_waveIn->stillRecording();
}

void MicrophoneTestWin7::stop() {
    // The recording thread stops the capture itself; end it first so that the
    // capture is never stopped from two threads at once.
    if (m_recordingThread != nullptr) {
        m_stopRecording.store(true);
        m_recordingThread->join();
        m_recordingThread.reset();
        m_stopRecording.store(false);
    }
    if (m_playbackThread != nullptr) {
        m_stopPlayback.store(true);
        m_playbackThread->join();
        m_playbackThread.reset();
        m_stopPlayback.store(false);
    }
    if (m_waveIn != nullptr) {
        m_waveIn->stop();
    }
    if (m_waveOut != nullptr) {
        m_waveOut->stop();
    }
}

int MicrophoneTestWin7::record() {
    WaitHandlerDoNothing doNothing;
    WaitHandler& waitHandler = m_waitHandler != nullptr ? *m_waitHandler : doNothing;
    waitHandler.start();
    const kvo::Stopwatch stopwatch;
    KVO_LOG(moduleLogger(), kvo::kLogDetail,
            "Waiting for recording to finish. Hard timeout = {} ms.", m_recordingDuration);
    while (m_waveIn->stillRecording() && stopwatch.elapsedMs() < m_recordingDuration &&
           !m_stopRecording.load()) {
        waitHandler.onPoll();
        kvo::System::mssleep(10);
    }
    const bool stopped = m_stopRecording.load();
    KVO_LOG(moduleLogger(), kvo::kLogDetail, "Stopping recording.");
    m_waveIn->stop();
    m_lastRecordingError.store(stopped ? 0 : m_waveIn->errorCode());
    KVO_LOG(moduleLogger(), kvo::kLogDetail, "Notify UI we are done recording.");
    if (m_ui != nullptr) {
        m_ui->recordingFinished();
    }
    KVO_LOG(moduleLogger(), kvo::kLogDetail, "Saving to file as necessary.");
    if (m_generateRecording) {
        saveRecording();
    }
    return m_waveIn->errorCode();
}

void MicrophoneTestWin7::saveRecording() {
    const kvo::String path =
        m_logDirectory + "MicrophoneTest_" + std::to_string(recordingNumber++) + ".wav";
    // The files stay in the base folder even when logs/ was removed during the run.
    kvo::FileSystem::createDirectories(m_logDirectory);
    libAudio::createPCMWaveFile(path, m_recordingBuffer.format.Format,
                                m_recordingBuffer.pcmStorage.data(),
                                m_recordingBuffer.pcmStorage.size());
}

void MicrophoneTestWin7::promptForMissingDevices() {
    kvo::String message;
    {
        std::lock_guard lock(m_mutex);
        if (m_playerDevices.empty()) {
            message += dialog::text(events::MSG_OUTPUT_DETECTION) + "\n";
        }
        if (m_micDevices.empty()) {
            message += dialog::text(events::MSG_INPUT_DETECTION);
        }
    }
    if (m_ui != nullptr && !message.empty() && MicrophoneTestParameter::isInitialized() &&
        MicrophoneTestParameter::bPromptEnable()) {
        m_ui->showMessage(dialog::text(events::MSG_TEST_NAME), message);
    }
}

bool MicrophoneTestWin7::boostMicrophone(std::uint32_t index) {
    kvo::TraceLogger trace(moduleLogger(), "MicrophoneTestWin7::boostMicrophone", kSource);
    if (m_micDevices.empty()) {
        KVO_LOG(moduleLogger(), kvo::kLogInfo, "No microphone endpoints to boost");
        return false;
    }
    if (!m_boost.initialize(*m_micDevices[index])) {
        KVO_LOG(moduleLogger(), kvo::kLogInfo, "No micrphone boost controller");
        return false;
    }
    if (!m_boost.maximizeBoost()) {
        KVO_LOG(moduleLogger(), kvo::kLogError, "Unable to maximize microphone boost control");
        return false;
    }
    return true;
}

}  // namespace kvormicrophone
