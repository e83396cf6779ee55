#pragma once

#include <memory>

#include "MicrophoneTestWin7.hpp"

namespace kvormicrophone {

class MicTestEvaluator;

// The volume level and mute state of an endpoint before a test touched it.
struct VolumeMuteRestorePoint {
    std::uint32_t volume = 0;
    bool mute = false;
};

// The device side of the non-interactive tests: endpoint lists in all states,
// integrated-device filters, capture volume and mute per microphone, and
// restore points that put every endpoint's level and mute, as they were before
// the first test of the process touched them, back when the manager is destroyed.
class MicManagerWin7 : public MicrophoneTestWin7 {
public:
    explicit MicManagerWin7(MicrophoneTestUI* ui = nullptr);
    ~MicManagerWin7() override;

    // Change notifications must not reorder the lists during a test: devices are
    // addressed by index and restore points are matched by position.
    void updateDeviceLists() override;
    void updateMicrophoneDeviceList() override;
    void updateSpeakerDeviceList() override;
    void refreshDeviceStates() override;
    void refreshMicrophoneDeviceStates();
    void refreshSpeakerDeviceStates();
    // The engine's list without the inactive endpoints.
    std::uint32_t microphoneDeviceList(DeviceList& list) override;

    bool isActive(audio::AudioDevice& device);
    bool decibelVolumeRange(std::uint32_t index, float& minDb, float& maxDb);
    void setCaptureVolumeLevel(std::uint32_t index, std::uint32_t percent);
    void setCaptureMute(std::uint32_t index, bool mute);
    bool setDefaultSpeakerVolume();

    // Active integrated endpoints, for the tone test.
    std::uint32_t filterIntegratedMicDevices(kvo::Array<audio::AudioDevicePtr>& integrated);
    std::uint32_t filterIntegratedSpkDevices(kvo::Array<audio::AudioDevicePtr>& integrated);
    // Moves the microphones that are not integrated out of `testableMic`;
    // active ones go to `externalMic`. Returns how many testable remain.
    std::uint32_t filterOutExternalMics(DeviceList& testableMic, DeviceList& externalMic);

    // The evaluator the manager runs the test with, replaced on every run.
    std::shared_ptr<MicTestEvaluator>& evaluator() { return m_evaluator; }

private:
    using RestorePoints = kvo::Array<std::unique_ptr<VolumeMuteRestorePoint>>;

    // Points for the endpoints of `devices`, keeping those an earlier refresh
    // took (matched by endpoint id through `previousDevices`).
    void takeRestorePoints(const kvo::Array<audio::AudioDevicePtr>& previousDevices,
                           kvo::Array<audio::AudioDevicePtr>& devices, RestorePoints& points);
    void applyRestorePoints(kvo::Array<audio::AudioDevicePtr>& devices, RestorePoints& points,
                            const char* devicesName, const char* pointsName);
    std::uint32_t filterIntegrated(kvo::Array<audio::AudioDevicePtr>& devices, bool microphones,
                                   kvo::Array<audio::AudioDevicePtr>& integrated);

    RestorePoints m_micVolumeMuteRestorePoint;
    RestorePoints m_spkVolumeMuteRestorePoint;
    std::shared_ptr<MicTestEvaluator> m_evaluator;
};

}  // namespace kvormicrophone
