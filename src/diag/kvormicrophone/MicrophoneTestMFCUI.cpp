#include "MicrophoneTestMFCUI.hpp"

#include <optional>

#include "MicrophoneDialogCommon.hpp"
#include "ModuleGlobals.hpp"
#include "ModuleLogger.hpp"
#include "platform/kvo/TraceLogger.hpp"
#include "platform/vesk5/DiagModule.hpp"

namespace kvormicrophone {

using namespace dialog;
using vesk5::TestResult;

namespace {
constexpr const char* kSource = "MicrophoneTestMFCUI";
constexpr unsigned kRefreshTimerMs = 500;
}  // namespace

MicrophoneTestMFCUI::MicrophoneTestMFCUI(int resourceId, MicrophoneTestWin7* engine)
    : m_resourceId(resourceId), m_engine(engine) {}

int MicrophoneTestMFCUI::doModal(ui::DialogService& service) {
    kvo::TraceLogger trace(moduleLogger(), "MicrophoneTestMFCUI::doModal", kSource);
    std::optional<MicrophoneTestWin7::UIProgressUpdater> updater;
    if (m_engine != nullptr) {
        updater.emplace(*m_engine);
        m_progressUpdater = &*updater;
        m_engine->setWaitHandler(m_progressUpdater);
    }
    const int answer = service.runModal(dialogTemplate(m_resourceId), *this);
    if (m_engine != nullptr) {
        // Nothing of the engine may reach the dialog or the updater once they are gone.
        m_engine->stop();
        m_engine->setWaitHandler(nullptr);
    }
    m_progressUpdater = nullptr;
    std::lock_guard lock(m_mutex);
    m_dialog = nullptr;
    return answer;
}

void MicrophoneTestMFCUI::post(unsigned message, std::uintptr_t wParam, std::intptr_t lParam) {
    std::lock_guard lock(m_mutex);
    if (m_dialog != nullptr) {
        m_dialog->post(message, wParam, lParam);
    }
}

void MicrophoneTestMFCUI::setProgress(unsigned percent) {
    if (lastPostedProgress().exchange(percent) != percent) {
        post(WM_PROGRESS, percent);
    }
}

void MicrophoneTestMFCUI::setInstructionText(const kvo::String& text) {
    if (m_dialog != nullptr) {
        m_dialog->setText(IDC_INSTRUCTIONS, text);
    }
}

void MicrophoneTestMFCUI::setMicrophoneList(const DeviceList& microphones) {
    {
        std::lock_guard lock(m_mutex);
        m_microphones = microphones;
    }
    post(WM_MICROPHONES_CHANGED);
}

void MicrophoneTestMFCUI::setSpeakerList(const DeviceList& speakers) {
    {
        std::lock_guard lock(m_mutex);
        m_speakers = speakers;
    }
    post(WM_SPEAKERS_CHANGED);
}

void MicrophoneTestMFCUI::disableButtons() {
    m_dialog->enable(IDC_RECORD, false);
    m_dialog->enable(IDC_PLAY, false);
    if (m_dialog->hasControl(IDC_PASS)) {
        m_dialog->enable(IDC_PASS, false);
    }
}

void MicrophoneTestMFCUI::enableButtons() {
    m_dialog->enable(IDC_RECORD, true);
    m_dialog->enable(IDC_PLAY, true);
    if (m_dialog->hasControl(IDC_PASS)) {
        m_dialog->enable(IDC_PASS, true);
    }
}

void MicrophoneTestMFCUI::updateButtonsFromResult() {
    if (m_result == TestResult::PASS()) {
        m_dialog->enable(IDC_PASS, true);
    }
    if (m_dialog->listCount(IDC_OUTPUT_LIST) == 0) {
        m_dialog->enable(IDC_PLAY, false);
    }
    if (m_dialog->listCount(IDC_INPUT_LIST) > 0) {
        m_dialog->enable(IDC_RECORD, true);
    } else {
        m_dialog->enable(IDC_PLAY, false);
    }
}

void MicrophoneTestMFCUI::recordingFinished() {
    post(WM_RECORDING_FINISHED);
}

void MicrophoneTestMFCUI::playbackFinished() {
    post(WM_PLAYBACK_FINISHED);
}

void MicrophoneTestMFCUI::close() {
    m_dialog->end(ui::IDOK);
}

void MicrophoneTestMFCUI::showMessage(const kvo::String& caption, const kvo::String& text) {
    m_dialog->messageBox(caption, text);
}

void MicrophoneTestMFCUI::notifyEngine(std::uintptr_t wParam, std::intptr_t lParam) {
    post(WM_FORWARD_TO_ENGINE, wParam, lParam);
}

void MicrophoneTestMFCUI::onInitDialog(ui::Dialog& dialog) {
    {
        std::lock_guard lock(m_mutex);
        m_dialog = &dialog;
    }
    disableButtons();
    // Fail stays available throughout: a user who hears nothing may say so at once.
    dialog.enable(IDC_FAIL, true);
    dialog.setFocus(IDC_RECORD);
    dialog.setTimer(kTimerId, kRefreshTimerMs);
    setTexts(dialog);
    if (m_engine != nullptr) {
        m_engine->updateDeviceLists();
        m_engine->promptForMissingDevices();
    }
}

std::uint32_t MicrophoneTestMFCUI::selectedDevice(int listId) const {
    return static_cast<std::uint32_t>(
        m_dialog->listItemData(listId, m_dialog->selectedListItem(listId)));
}

void MicrophoneTestMFCUI::onRecord() {
    if (m_engine == nullptr || m_dialog->selectedListItem(IDC_INPUT_LIST) < 0) {
        return;
    }
    disableButtons();
    m_dialog->setProgress(IDC_PROGRESS, 0);
    if (!m_engine->startRecording(selectedDevice(IDC_INPUT_LIST))) {
        showMessage(text(events::MSG_TEST_NAME), text(events::RECORD_IN_USE_TRY_AGAIN));
        updateButtonsFromResult();
    }
}

void MicrophoneTestMFCUI::onPlay() {
    if (m_engine == nullptr || m_dialog->selectedListItem(IDC_OUTPUT_LIST) < 0) {
        return;
    }
    disableButtons();
    m_dialog->setProgress(IDC_PROGRESS, 0);
    if (!m_engine->startPlayback(selectedDevice(IDC_OUTPUT_LIST))) {
        vesk5::DiagModule::warning(events::MSG_REPLAY_NOT_SUPPORTED, kSource, __LINE__);
        // The user may still judge what was heard while recording.
        m_dialog->enable(IDC_PASS, true);
        updateButtonsFromResult();
    }
}

void MicrophoneTestMFCUI::finish(TestResult result) {
    m_result = result;
    if (m_engine != nullptr) {
        m_engine->stop();
        m_engine->setResult(result);
    }
    if (result == TestResult::USERABORTED()) {
        m_dialog->end(ui::IDCANCEL);
    } else {
        close();
    }
}

void MicrophoneTestMFCUI::onCommand(int controlId) {
    switch (controlId) {
        case IDC_RECORD:
            onRecord();
            break;
        case IDC_PLAY:
            onPlay();
            break;
        case IDC_PASS:
            finish(TestResult::PASS());
            break;
        case IDC_FAIL:
            finish(TestResult::FAIL());
            break;
        case IDC_CLOSE:
            finish(TestResult::USERABORTED());
            break;
        default:
            break;
    }
}

void MicrophoneTestMFCUI::onTimer(unsigned timerId) {
    if (timerId == kTimerId && vesk5::DiagModule::checkForStop()) {
        finish(TestResult::USERABORTED());
    }
}

void MicrophoneTestMFCUI::fillList(int listId, const DeviceList& devices) {
    const int selected = m_dialog->selectedListItem(listId);
    const std::uintptr_t previous = selected >= 0 ? m_dialog->listItemData(listId, selected) : 0;
    m_dialog->clearList(listId);
    int keep = devices.empty() ? -1 : 0;
    for (const Device& device : devices) {
        const int index = m_dialog->addListItem(listId, device.name, device.index);
        if (selected >= 0 && device.index == previous) {
            keep = index;
        }
    }
    m_dialog->selectListItem(listId, keep);
}

void MicrophoneTestMFCUI::reportInterruptedRecording(int error) {
    KVO_LOG(moduleLogger(), kvo::kLogError, "The recording was interrupted: {}",
            audio::describeResult(static_cast<audio::HResult>(error)));
    vesk5::Event* const event = static_cast<audio::HResult>(error) == audio::kDeviceInvalidated
                                    ? events::EndpointStateWarning
                                    : events::DEVICE_MISCONFIGURED;
    vesk5::DiagModule::warning(event, kSource, __LINE__);
    showMessage(text(events::MSG_TEST_NAME), text(event));
}

bool MicrophoneTestMFCUI::engineBusy() {
    return m_engine != nullptr && (m_engine->stillRecording() || m_engine->isPlaying());
}

void MicrophoneTestMFCUI::logProgressBar(int stateTag, int positionTag, int doneTag) {
    if (!m_dialog->hasControl(IDC_PROGRESS)) {
        return;
    }
    KVO_LOG_TAG(moduleLogger(), kvo::kLogDetail, stateTag, "Progress bar state {}",
                m_dialog->isEnabled(IDC_PROGRESS) ? 1 : 0);
    KVO_LOG_TAG(moduleLogger(), kvo::kLogDetail, positionTag, "Progress bar current position {}",
                m_dialog->progress(IDC_PROGRESS));
    m_dialog->setProgress(IDC_PROGRESS, 100);
    KVO_LOG_TAG(moduleLogger(), kvo::kLogDetail, doneTag, "Progress bar at 100%");
}

void MicrophoneTestMFCUI::onMessage(unsigned message, std::uintptr_t wParam, std::intptr_t lParam) {
    switch (message) {
        case WM_PROGRESS:
            m_dialog->setProgress(IDC_PROGRESS, static_cast<int>(wParam));
            break;
        case WM_RECORDING_FINISHED: {
            // From a recording that a newer one replaced: the newer one speaks for itself.
            if (m_engine != nullptr && m_engine->stillRecording()) {
                break;
            }
            const int interruption = m_engine != nullptr ? m_engine->lastRecordingError() : 0;
            // A recording cut short keeps the bar where it stopped.
            if (interruption == 0) {
                logProgressBar(405, 408, 410);
            }
            if (m_dialog->hasControl(IDC_PLAY) && m_dialog->listCount(IDC_OUTPUT_LIST) > 0) {
                m_dialog->enable(IDC_PLAY, true);
            }
            if (m_dialog->listCount(IDC_INPUT_LIST) > 0) {
                m_dialog->enable(IDC_RECORD, true);
            }
            if (interruption != 0) {
                reportInterruptedRecording(interruption);
            }
            break;
        }
        case WM_MICROPHONES_CHANGED: {
            DeviceList copy;
            {
                std::lock_guard lock(m_mutex);
                copy = m_microphones;
            }
            fillList(IDC_INPUT_LIST, copy);
            if (!engineBusy()) {
                updateButtonsFromResult();
            }
            break;
        }
        case WM_SPEAKERS_CHANGED: {
            DeviceList copy;
            {
                std::lock_guard lock(m_mutex);
                copy = m_speakers;
            }
            fillList(IDC_OUTPUT_LIST, copy);
            if (!engineBusy()) {
                updateButtonsFromResult();
            }
            break;
        }
        case WM_PLAYBACK_FINISHED:
            // From a playback that a newer recording or playback replaced.
            if (engineBusy()) {
                break;
            }
            logProgressBar(324, 325, 327);
            m_dialog->enable(IDC_PLAY, true);
            // Another recording may follow the playback.
            if (m_dialog->listCount(IDC_INPUT_LIST) > 0) {
                m_dialog->enable(IDC_RECORD, true);
            }
            if (m_dialog->hasControl(IDC_PASS)) {
                m_dialog->enable(IDC_PASS, true);
            }
            break;
        case WM_FORWARD_TO_ENGINE:
            if (m_engine != nullptr) {
                m_engine->onUINotification(wParam, lParam);
                m_engine->refreshDeviceStates();
            }
            break;
        default:
            break;
    }
}

}  // namespace kvormicrophone
