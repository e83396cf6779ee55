#include "MicrophoneDlg.hpp"

#include "MicrophoneTestParameter.hpp"
#include "ModuleGlobals.hpp"
#include "ModuleLogger.hpp"
#include "platform/audio/CurrentSystem.hpp"
#include "platform/kvo/System.hpp"
#include "platform/kvo/TraceLogger.hpp"
#include "platform/vesk5/DiagModule.hpp"

namespace kvormicrophone {

using namespace dialog;
using vesk5::DiagModule;
using vesk5::TestResult;

namespace {

constexpr const char* kSource = "MicrophoneDlg";
constexpr unsigned kTimerPeriodMs = 100;
constexpr std::size_t kMaxPath = 260;
constexpr std::size_t kMaxErrorText = 255;
constexpr const char* kRecordingFile = "kvorecord.wav";

bool vistaOrLater() {
    return audio::currentSystem().isWindowsVersionOrLater(6, 0);
}

}  // namespace

CMicrophoneDlg::CMicrophoneDlg(int resourceId, ui::MciService& mci)
    : m_resourceId(resourceId), m_mci(mci) {}

int CMicrophoneDlg::doModal(ui::DialogService& service) {
    const int answer = service.runModal(dialogTemplate(m_resourceId), *this);
    m_dialog = nullptr;
    return answer;
}

void CMicrophoneDlg::onInitDialog(ui::Dialog& dialog) {
    m_dialog = &dialog;
    if (!checkDeviceLists()) {
        return;
    }
    m_format = recordingFormatFromParameters();
    setTexts(dialog);
    dialog.setFocus(IDC_RECORD);
}

void CMicrophoneDlg::fillInputList() {
    m_dialog->clearList(IDC_INPUT_LIST);
    if (!vistaOrLater()) {
        m_dialog->addListItem(IDC_INPUT_LIST, text(events::DEFAULT_INPUT_DEVICE), 0);
        m_defaultInputEntry = true;
    }
    m_dialog->selectListItem(IDC_INPUT_LIST, -1);
    const std::uint32_t count = m_mci.waveInDeviceCount();
    for (std::uint32_t i = 0; i < count; ++i) {
        std::string name;
        if (m_mci.waveInProductName(i, name)) {
            KVO_LOG(moduleLogger(), kvo::kLogDetail, "try Me: {}", name);
            m_dialog->addListItem(IDC_INPUT_LIST, name, i);
        }
    }
}

void CMicrophoneDlg::fillOutputList() {
    m_dialog->clearList(IDC_OUTPUT_LIST);
    if (!vistaOrLater()) {
        m_dialog->addListItem(IDC_OUTPUT_LIST, text(events::DEFAULT_OUTPUT_DEVICE), 0);
        m_defaultOutputEntry = true;
    }
    m_dialog->selectListItem(IDC_OUTPUT_LIST, -1);
    const std::uint32_t count = m_mci.waveOutDeviceCount();
    for (std::uint32_t i = 0; i < count; ++i) {
        std::string name;
        if (m_mci.waveOutProductName(i, name)) {
            KVO_LOG(moduleLogger(), kvo::kLogDetail, "try Me: {}", name);
            m_dialog->addListItem(IDC_OUTPUT_LIST, name, i);
        }
    }
}

bool CMicrophoneDlg::checkDeviceLists() {
    fillInputList();
    if (!m_defaultInputEntry && m_dialog->listCount(IDC_INPUT_LIST) == 0) {
        detectionPrompt(2);
        fillInputList();
        if (m_dialog->listCount(IDC_INPUT_LIST) == 0) {
            KVO_LOG(moduleLogger(), kvo::kLogError, "No input mixer devices found.  Cannot run.");
            DiagModule::warning(events::MSG_DOES_NOT_SUPPORT_RECORDING, kSource, __LINE__);
            m_result = TestResult::CANNOTRUN();
            m_dialog->end(ui::IDCANCEL);
            return false;
        }
    }
    m_dialog->selectListItem(IDC_INPUT_LIST, 0);
    fillOutputList();
    if (!m_defaultOutputEntry && m_dialog->listCount(IDC_OUTPUT_LIST) == 0) {
        detectionPrompt(1);
        fillOutputList();
        if (m_dialog->listCount(IDC_OUTPUT_LIST) == 0) {
            KVO_LOG(moduleLogger(), kvo::kLogError, "No output mixer devices found.  Cannot run.");
            DiagModule::warning(events::MSG_REPLAY_NOT_SUPPORTED, kSource, __LINE__);
            m_result = TestResult::CANNOTRUN();
            m_dialog->end(ui::IDCANCEL);
            return false;
        }
    }
    m_dialog->selectListItem(IDC_OUTPUT_LIST, 0);
    return true;
}

void CMicrophoneDlg::detectionPrompt(unsigned missing) {
    std::string message;
    if ((missing & 1u) != 0) {
        message += text(events::MSG_OUTPUT_DETECTION) + "\n";
    }
    if ((missing & 2u) != 0) {
        message += text(events::MSG_INPUT_DETECTION);
    }
    if (MicrophoneTestParameter::bPromptEnable() && DiagModule::promptEnable()) {
        m_dialog->messageBox(text(events::MSG_TEST_NAME), message);
    }
}

bool CMicrophoneDlg::mciCheck(ui::MCIERROR error, vesk5::Event* event, int line) {
    if (error == 0) {
        return true;
    }
    m_lastError = error;
    const std::string message = m_mci.errorText(error).substr(0, kMaxErrorText);
    if (event != nullptr) {
        DiagModule::warning(event, kSource, line);
    } else {
        KVO_LOG(moduleLogger(), kvo::kLogError, "mciSendCommand fails : {}", message);
    }
    return false;
}

void CMicrophoneDlg::closeDevice() {
    if (m_deviceId != ui::kNoMciDevice) {
        m_mci.close(m_deviceId);
        m_deviceId = ui::kNoMciDevice;
    }
}

void CMicrophoneDlg::onRecord() {
    closeDevice();
    ui::MCIDEVICEID id = ui::kNoMciDevice;
    if (!mciCheck(m_mci.open("", id), events::MSG_COULD_NOT_OPEN_DEVICE, __LINE__)) {
        recordDidNotStart();
        return;
    }
    m_deviceId = id;
    if (!mciCheck(m_mci.setTimeFormatMilliseconds(id), events::MSG_NOT_SET_TIME_FORMAT, __LINE__)) {
        recordDidNotStart();
        return;
    }
    if (m_format.samplesPerSec != 0) {
        const int selected = m_dialog->selectedListItem(IDC_INPUT_LIST);
        const auto input =
            static_cast<std::uint32_t>(m_dialog->listItemData(IDC_INPUT_LIST, selected));
        if (!mciCheck(m_mci.setInputFormat(id, input, pcmFormat(m_format)),
                      events::MSG_SET_PCM_FORMAT_FAIL, __LINE__)) {
            return;
        }
    }
    if (!mciCheck(m_mci.record(id, 0, kRecordingMs), events::MSG_DOES_NOT_SUPPORT_RECORDING,
                  __LINE__)) {
        recordDidNotStart();
        return;
    }
    m_recordingInProgress = true;
    // Nothing but Close while the three seconds run, so a second device is never opened.
    m_dialog->enable(IDC_RECORD, false);
    m_dialog->enable(IDC_PLAY, false);
    m_dialog->enable(IDC_CLOSE, true);
    m_dialog->setFocus(IDC_CLOSE);
    m_dialog->setProgress(IDC_PROGRESS, 0);
    if (!vistaOrLater()) {
        std::uint32_t mode = 0;
        while (m_mci.statusMode(id, mode) == 0 && mode == ui::MCI_MODE_NOT_READY) {
            KVO_LOG(moduleLogger(), kvo::kLogDetail, "mci Device Status = {}", mode);
            kvo::System::mssleep(10);
        }
    }
    m_dialog->setTimer(kTimerId, kTimerPeriodMs);
    m_stepClock.reset();
}

void CMicrophoneDlg::recordDidNotStart() {
    closeDevice();
    m_dialog->messageBox(text(events::MSG_TEST_NAME), text(events::RECORD_IN_USE_TRY_AGAIN));
    m_dialog->enable(IDC_RECORD, true);
    m_dialog->enable(IDC_FAIL, true);
}

void CMicrophoneDlg::onPlay() {
    m_dialog->enable(IDC_RECORD, false);
    m_dialog->enable(IDC_PLAY, false);
    m_dialog->enable(IDC_PASS, false);
    m_dialog->enable(IDC_FAIL, false);
    closeDevice();
    ui::MCIDEVICEID id = ui::kNoMciDevice;
    if (!mciCheck(m_mci.open(m_recordingPath, id), events::MSG_NOT_OPEN_WAV_FILE, __LINE__)) {
        return;
    }
    m_deviceId = id;
    const int selected = m_dialog->selectedListItem(IDC_OUTPUT_LIST);
    const auto output =
        static_cast<std::uint32_t>(m_dialog->listItemData(IDC_OUTPUT_LIST, selected));
    if (!mciCheck(m_mci.setOutput(id, output), events::MSG_SET_PCM_FORMAT_FAIL, __LINE__)) {
        return;
    }
    if (mciCheck(m_mci.play(id), events::MSG_REPLAY_NOT_SUPPORTED, __LINE__)) {
        m_played = true;
        m_stepClock.reset();
        m_dialog->setProgress(IDC_PROGRESS, 0);
        m_dialog->setTimer(kTimerId, kTimerPeriodMs);
        m_dialog->setFocus(IDC_CLOSE);
        return;
    }
    // The user can still judge what was heard.
    m_dialog->enable(IDC_PASS, true);
    m_dialog->enable(IDC_FAIL, true);
    m_dialog->enable(IDC_CLOSE, true);
    closeDevice();
}

void CMicrophoneDlg::onTimer(unsigned timerId) {
    if (timerId != kTimerId) {
        return;
    }
    if (DiagModule::checkForStop()) {
        onCancel();
        return;
    }
    const std::uint64_t elapsed = m_stepClock.elapsedMs();
    m_dialog->setProgress(IDC_PROGRESS, static_cast<int>(progressPercent(elapsed)));
    if (!progressComplete(elapsed)) {
        return;
    }
    m_dialog->killTimer(kTimerId);
    m_mci.stop(m_deviceId);
    const bool goOn = completeStep();
    closeDevice();
    if (goOn) {
        m_dialog->enable(IDC_PLAY, true);
        m_dialog->enable(IDC_CLOSE, true);
        m_dialog->enable(IDC_RECORD, true);
        m_dialog->setFocus(IDC_PLAY);
    }
}

bool CMicrophoneDlg::completeStep() {
    if (m_recordingInProgress) {
        m_recordingInProgress = false;
        std::string directory;
        if (!ui::temporaryDirectory(directory) || directory.size() >= kMaxPath) {
            DiagModule::warning(events::MSG_FAILED_CREATING_SOUND_FILE, kSource, __LINE__);
            m_dialog->enable(IDC_RECORD, true);
            m_dialog->enable(IDC_CLOSE, true);
            return false;
        }
        const std::string path = directory + kRecordingFile;
        KVO_LOG(moduleLogger(), kvo::kLogInfo, "Saving to {}", path);
        const ui::MCIERROR error = m_mci.save(m_deviceId, path);
        if (error != 0) {
            KVO_LOG(moduleLogger(), kvo::kLogError, "Saving failed");
            mciCheck(error, events::MSG_FILE_NOT_SAVED, __LINE__);
            m_dialog->enable(IDC_PLAY, false);
            closeDevice();
            // Recording again is the only way on; Play stays off without a file.
            m_dialog->enable(IDC_RECORD, true);
            m_dialog->enable(IDC_CLOSE, true);
            m_dialog->setFocus(IDC_CLOSE);
            return false;
        }
        KVO_LOG(moduleLogger(), kvo::kLogInfo, "Saving succeeded");
        m_recordingPath = path;
        m_dialog->enable(IDC_PLAY, true);
        m_recorded = true;
        m_saved = true;
    }
    if (m_played) {
        m_dialog->enable(IDC_PASS, true);
        m_dialog->enable(IDC_FAIL, true);
    }
    return true;
}

void CMicrophoneDlg::onPass() {
    m_result = TestResult::PASS();
    m_dialog->end(ui::IDOK);
}

void CMicrophoneDlg::onFail() {
    DiagModule::error(events::TestFailed, kSource, __LINE__);
    m_result = TestResult::FAIL();
    m_dialog->end(ui::IDOK);
}

void CMicrophoneDlg::onCancel() {
    kvo::TraceLogger trace(moduleLogger(), "CMicrophoneDlg::OnCancel", kSource);
    m_result = TestResult::USERABORTED();
    m_dialog->killTimer(kTimerId);
    closeDevice();
    m_dialog->end(ui::IDCANCEL);
}

void CMicrophoneDlg::onCommand(int controlId) {
    switch (controlId) {
        case IDC_RECORD:
            onRecord();
            break;
        case IDC_PLAY:
            onPlay();
            break;
        case IDC_PASS:
            onPass();
            break;
        case IDC_FAIL:
            onFail();
            break;
        case IDC_CLOSE:
            onCancel();
            break;
        default:
            break;
    }
}

}  // namespace kvormicrophone
