#pragma once

#include <cstdint>
#include <string>

#include "MicrophoneDialogCommon.hpp"
#include "platform/kvo/Stopwatch.hpp"
#include "platform/ui/Dialog.hpp"
#include "platform/ui/Mci.hpp"
#include "platform/vesk5/Event.hpp"
#include "platform/vesk5/TestResult.hpp"

namespace kvormicrophone {

// The interactive test before Vista: records three seconds from the chosen
// input device through the MCI waveaudio device, saves them as kvorecord.wav
// in the temporary directory, plays the file on the chosen output device and
// takes the user's Pass or Fail.
class CMicrophoneDlg : public ui::DialogHandler {
public:
    CMicrophoneDlg(int resourceId, ui::MciService& mci);

    int doModal(ui::DialogService& service);
    vesk5::TestResult result() const { return m_result; }
    ui::MCIDEVICEID deviceId() const { return m_deviceId; }
    const dialog::RecordingFormat& recordingFormat() const { return m_format; }
    const std::string& recordingPath() const { return m_recordingPath; }

    void onInitDialog(ui::Dialog& dialog) override;
    void onCommand(int controlId) override;
    void onTimer(unsigned timerId) override;

private:
    bool checkDeviceLists();
    void fillInputList();
    void fillOutputList();
    // Bit 1: no output device; bit 2: no input device.
    void detectionPrompt(unsigned missing);
    bool mciCheck(ui::MCIERROR error, vesk5::Event* event, int line);
    void closeDevice();
    void onRecord();
    // The record could not start: the user is told and may try again or fail the test.
    void recordDidNotStart();
    void onPlay();
    void onPass();
    void onFail();
    void onCancel();
    // After the 3000 ms of a record or play; false when the dialog must not go on to Play.
    bool completeStep();

    int m_resourceId;
    ui::MciService& m_mci;
    ui::Dialog* m_dialog = nullptr;
    vesk5::TestResult m_result = vesk5::TestResult::TESTNOTSTARTED();
    ui::MCIDEVICEID m_deviceId = ui::kNoMciDevice;
    ui::MCIERROR m_lastError = 0;
    bool m_recordingInProgress = false;
    bool m_recorded = false;
    bool m_saved = false;
    bool m_played = false;
    bool m_defaultInputEntry = false;
    bool m_defaultOutputEntry = false;
    dialog::RecordingFormat m_format;
    kvo::Stopwatch m_stepClock;
    std::string m_recordingPath;
};

}  // namespace kvormicrophone
