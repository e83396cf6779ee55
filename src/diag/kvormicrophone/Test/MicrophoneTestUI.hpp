#pragma once

#include <cstdint>

#include "Device.hpp"
#include "platform/kvo/String.hpp"

namespace kvormicrophone {

// What the record/playback engine tells the interactive test's dialog. Calls
// marked "any thread" may come from the engine's recording thread; the others
// come from the dialog's own thread.
class MicrophoneTestUI {
public:
    virtual ~MicrophoneTestUI() = default;
    virtual void setProgress(unsigned percent) = 0;  // any thread
    virtual void setInstructionText(const kvo::String& text) = 0;
    virtual void setMicrophoneList(const DeviceList& microphones) = 0;  // any thread
    virtual void setSpeakerList(const DeviceList& speakers) = 0;        // any thread
    virtual void disableButtons() = 0;
    virtual void enableButtons() = 0;
    virtual void updateButtonsFromResult() = 0;
    virtual void recordingFinished() = 0;  // any thread
    virtual void playbackFinished() = 0;   // any thread
    virtual void close() = 0;
    virtual void showMessage(const kvo::String& caption, const kvo::String& text) = 0;
    // Any thread: hands the arguments back to the engine on the dialog's thread.
    virtual void notifyEngine(std::uintptr_t wParam, std::intptr_t lParam) = 0;
};

}  // namespace kvormicrophone
