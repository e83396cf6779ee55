#pragma once

#include <cstdint>
#include <mutex>

#include "Test/MicrophoneTestUI.hpp"
#include "Test/MicrophoneTestWin7.hpp"
#include "platform/ui/Dialog.hpp"
#include "platform/vesk5/TestResult.hpp"

namespace kvormicrophone {

// The progress dialog of the interactive test on Vista and later: the user
// chooses a microphone and a speaker, records, plays the recording back and
// answers Pass or Fail. The engine reaches it through MicrophoneTestUI from its
// own threads; those calls post a private message and the dialog's thread
// does the work.
class MicrophoneTestMFCUI : public ui::DialogHandler, public MicrophoneTestUI {
public:
    enum Message : unsigned {
        WM_PROGRESS = ui::WM_USER + 1,
        WM_RECORDING_FINISHED = ui::WM_USER + 2,
        WM_MICROPHONES_CHANGED = ui::WM_USER + 3,
        WM_SPEAKERS_CHANGED = ui::WM_USER + 4,
        WM_PLAYBACK_FINISHED = ui::WM_USER + 5,
        WM_FORWARD_TO_ENGINE = ui::WM_USER + 6,
    };

    MicrophoneTestMFCUI(int resourceId, MicrophoneTestWin7* engine);

    // Shows the dialog until the user closes it; the verdict is result().
    int doModal(ui::DialogService& service);
    vesk5::TestResult result() const { return m_result; }

    void setProgress(unsigned percent) override;
    void setInstructionText(const kvo::String& text) override;
    void setMicrophoneList(const DeviceList& microphones) override;
    void setSpeakerList(const DeviceList& speakers) override;
    void disableButtons() override;
    void enableButtons() override;
    void updateButtonsFromResult() override;
    void recordingFinished() override;
    void playbackFinished() override;
    void close() override;
    void showMessage(const kvo::String& caption, const kvo::String& text) override;
    void notifyEngine(std::uintptr_t wParam, std::intptr_t lParam) override;

    void onInitDialog(ui::Dialog& dialog) override;
    void onCommand(int controlId) override;
    void onTimer(unsigned timerId) override;
    void onMessage(unsigned message, std::uintptr_t wParam, std::intptr_t lParam) override;

private:
    void post(unsigned message, std::uintptr_t wParam = 0, std::intptr_t lParam = 0);
    void fillList(int listId, const DeviceList& devices);
    void onRecord();
    void onPlay();
    void finish(vesk5::TestResult result);
    void logProgressBar(int stateTag, int positionTag, int doneTag);
    // While the engine records or plays, the buttons stay as the start left them.
    bool engineBusy();
    // Tells the user, with an event and a message, that a recording was cut short.
    void reportInterruptedRecording(int error);
    std::uint32_t selectedDevice(int listId) const;

    int m_resourceId;
    MicrophoneTestWin7* m_engine;
    MicrophoneTestWin7::UIProgressUpdater* m_progressUpdater = nullptr;
    std::mutex m_mutex;  // guards the dialog pointer and the device lists
    ui::Dialog* m_dialog = nullptr;
    DeviceList m_microphones;
    DeviceList m_speakers;
    vesk5::TestResult m_result = vesk5::TestResult::TESTNOTSTARTED();
};

}  // namespace kvormicrophone
