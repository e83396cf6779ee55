#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "Device.hpp"
#include "MicrophoneBoostControl.hpp"
#include "MicrophoneTestUI.hpp"
#include "WaitHandler.hpp"
#include "common/libAudio-common/StaticPCMBuffer.hpp"
#include "platform/audio/AudioSystem.hpp"
#include "platform/kvo/ManagedThread.hpp"
#include "platform/vesk5/TestResult.hpp"

namespace kvormicrophone {

// The record and playback engine: the sound cards with their microphone and
// playback endpoints, a recording of a set duration on a thread of its own
// through a wave-in device, playback of that recording, device-change
// observers and the microphone boost.
class MicrophoneTestWin7 {
public:
    explicit MicrophoneTestWin7(MicrophoneTestUI* ui = nullptr);
    virtual ~MicrophoneTestWin7();
    MicrophoneTestWin7(const MicrophoneTestWin7&) = delete;
    MicrophoneTestWin7& operator=(const MicrophoneTestWin7&) = delete;

    // Called by the device-change observers: re-reads both endpoint lists.
    virtual void updateDeviceLists();
    // Stores the duration and sizes the recording buffer to nAvgBytesPerSec × ms / 1000 bytes.
    void setRecordingDuration(std::uint32_t milliseconds);
    std::uint32_t recordingDuration() const { return m_recordingDuration; }
    // Opens and starts a recording from the microphone at `index`, then waits
    // for it on the recording thread. False when the capture did not start.
    bool startRecording(std::uint32_t index);
    // Plays the recording buffer on the playback endpoint at `index`.
    bool playback(std::uint32_t index);
    // playback(), then waits for its end on a thread of its own, calling the
    // wait handler on every poll, and tells the user interface when it is over.
    bool startPlayback(std::uint32_t index);
    bool isPlaying();
    // Stops capture and playback and ends the recording thread.
    void stop();
    // One Device (name, index) per microphone endpoint; returns the count.
    virtual std::uint32_t microphoneDeviceList(DeviceList& list);
    virtual void refreshDeviceStates();
    virtual void updateMicrophoneDeviceList();
    virtual void updateSpeakerDeviceList();
    // When the "bPromptEnable" parameter allows it, tells the user interface
    // which kind of device, input or output, was not detected. Call it on the
    // user interface's thread.
    void promptForMissingDevices();
    // Raises the boost stages behind the microphone at `index`; none is no failure.
    bool boostMicrophone(std::uint32_t index);
    void registerListeners();

    void setWaitHandler(WaitHandler* handler) { m_waitHandler = handler; }
    void setUI(MicrophoneTestUI* ui);
    MicrophoneTestUI* ui() const { return m_ui; }
    // The interactive test's verdict.
    vesk5::TestResult result() const { return m_result; }
    void setResult(vesk5::TestResult result) { m_result = result; }
    // A notification the user interface handed back on its own thread.
    void onUINotification(std::uintptr_t wParam, std::intptr_t lParam);

    // Moves the interactive dialog's progress bar along the recording duration.
    class UIProgressUpdater : public WaitHandler {
    public:
        explicit UIProgressUpdater(MicrophoneTestWin7& engine) : m_engine(engine) {}
        void onPoll() override;

    private:
        MicrophoneTestWin7& m_engine;
        unsigned m_lastLogged = ~0u;
    };

    const audio::WAVEFORMATEX& recordingFormat() const { return m_recordingFormat; }
    const libAudio::StaticPCMBuffer& recordingBuffer() const { return m_recordingBuffer; }
    const MicrophoneBoostControl& boostControl() const { return m_boost; }
    // Null when no recording was started.
    kvo::ManagedThread* recordingThread() { return m_recordingThread.get(); }
    // Whether the capture is still filling the buffer.
    bool stillRecording();
    // 0 when the last recording ran its length or was stopped; otherwise what
    // cut it short (the endpoint gone, a device error). Valid once the user
    // interface was told that the recording finished.
    int lastRecordingError() const { return m_lastRecordingError.load(); }

    kvo::Array<audio::AudioDevicePtr>& micDevices() { return m_micDevices; }
    kvo::Array<audio::AudioDevicePtr>& playerDevices() { return m_playerDevices; }

protected:
    void logJacks(audio::AudioDevice& device);
    // Replaces `list` by every card's endpoints of `flow` in `stateMask`, logging their jacks.
    void fillEndpointList(audio::EDataFlow flow, std::uint32_t stateMask,
                          kvo::Array<audio::AudioDevicePtr>& list);
    // One Device (name, index) per endpoint.
    static DeviceList deviceList(const kvo::Array<audio::AudioDevicePtr>& endpoints);

    audio::AudioSystem& m_audio;
    kvo::Array<audio::SoundCardPtr> m_soundCards;
    kvo::Array<std::shared_ptr<audio::SoundCardObserver>> m_observers;
    kvo::Array<audio::AudioDevicePtr> m_micDevices;
    kvo::Array<audio::AudioDevicePtr> m_playerDevices;

private:
    bool initializeRecordingDevice(std::uint32_t index);
    bool initializePlaybackDevice(std::uint32_t index);
    int record();
    int watchPlayback();
    void saveRecording();

    std::uint32_t m_recordingDuration = 0;
    std::unique_ptr<audio::WaveIn> m_waveIn;
    std::unique_ptr<audio::WaveOut> m_waveOut;
    libAudio::StaticPCMBuffer m_recordingBuffer;
    std::unique_ptr<kvo::ManagedThread> m_recordingThread;
    std::atomic<bool> m_stopRecording{false};
    std::atomic<int> m_lastRecordingError{0};
    std::unique_ptr<kvo::ManagedThread> m_playbackThread;
    std::atomic<bool> m_stopPlayback{false};
    WaitHandler* m_waitHandler = nullptr;
    MicrophoneTestUI* m_ui;
    const audio::WAVEFORMATEX m_recordingFormat;
    const bool m_generateRecording;
    const kvo::String m_logDirectory;
    std::mutex m_mutex;
    MicrophoneBoostControl m_boost;
    vesk5::TestResult m_result = vesk5::TestResult::TESTNOTSTARTED();
};

// The text of a jack's connection type and location as the jack report logs them.
kvo::String jackConnectionTypeText(int connectionType);
kvo::String jackLocationText(int geometricLocation);

}  // namespace kvormicrophone
