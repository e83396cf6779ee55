#include "MicManagerWin7.hpp"

#include "MicTestEvaluator.hpp"
#include "diag/kvormicrophone/ModuleLogger.hpp"
#include "platform/kvo/TraceLogger.hpp"

namespace kvormicrophone {
namespace {
constexpr const char* kSource = "MicManagerWin7";
constexpr std::uint32_t kDefaultSpeakerVolume = 70;
}  // namespace

MicManagerWin7::MicManagerWin7(MicrophoneTestUI* ui) : MicrophoneTestWin7(ui) {}

MicManagerWin7::~MicManagerWin7() {
    kvo::TraceLogger trace(moduleLogger(), "MicManagerWin7::~MicManagerWin7", kSource);
    m_evaluator.reset();
    applyRestorePoints(m_micDevices, m_micVolumeMuteRestorePoint, "m_micDevices",
                       "m_micVolumeMuteRestorePoint");
    applyRestorePoints(m_playerDevices, m_spkVolumeMuteRestorePoint, "m_playerDevices",
                       "m_spkVolumeMuteRestorePoint");
}

void MicManagerWin7::applyRestorePoints(kvo::Array<audio::AudioDevicePtr>& devices,
                                        RestorePoints& points, const char* devicesName,
                                        const char* pointsName) {
    if (devices.size() != points.size()) {
        // The list changed since the points were taken: no slot can be matched safely.
        KVO_LOG(moduleLogger(), kvo::kLogDetail, "{}.size() = {}", devicesName, devices.size());
        KVO_LOG(moduleLogger(), kvo::kLogDetail, "{}.size() = {}", pointsName, points.size());
        KVO_LOG(moduleLogger(), kvo::kLogDetail, "WHY ARE THEY DIFFERENT?");
    } else {
        for (std::uint32_t i = 0; i < points.size(); ++i) {
            if (points[i] == nullptr) {
                continue;
            }
            if (const auto controller = devices[i]->volumeControl()) {
                controller->setVolumeLevel(points[i]->volume);
                controller->setMute(points[i]->mute);
            }
        }
    }
    points.clear();
}

void MicManagerWin7::updateDeviceLists() {
    kvo::TraceLogger trace(moduleLogger(), "MicManagerWin7::updateDeviceLists", kSource);
}

void MicManagerWin7::updateMicrophoneDeviceList() {
    fillEndpointList(audio::eCapture, audio::DEVICE_STATEMASK_ALL, m_micDevices);
}

void MicManagerWin7::updateSpeakerDeviceList() {
    fillEndpointList(audio::eRender, audio::DEVICE_STATEMASK_ALL, m_playerDevices);
}

void MicManagerWin7::takeRestorePoints(const kvo::Array<audio::AudioDevicePtr>& previousDevices,
                                       kvo::Array<audio::AudioDevicePtr>& devices,
                                       RestorePoints& points) {
    // A point stays until it is applied: taken again by a later run in the
    // same process, it would hold the levels an earlier run raised.
    const bool pointsMatchPrevious = previousDevices.size() == points.size();
    RestorePoints refreshed;
    for (std::uint32_t i = 0; i < devices.size(); ++i) {
        refreshed.append(nullptr);
        for (std::uint32_t j = 0; pointsMatchPrevious && j < previousDevices.size(); ++j) {
            if (points[j] != nullptr && previousDevices[j]->id() == devices[i]->id()) {
                refreshed[i] = std::move(points[j]);
                break;
            }
        }
        if (refreshed[i] != nullptr || !isActive(*devices[i])) {
            continue;
        }
        auto point = std::make_unique<VolumeMuteRestorePoint>();
        if (const auto controller = devices[i]->volumeControl()) {
            controller->getVolumeLevel(point->volume);
            controller->getMute(point->mute);
            refreshed[i] = std::move(point);
        }
    }
    points = std::move(refreshed);
}

void MicManagerWin7::refreshMicrophoneDeviceStates() {
    const kvo::Array<audio::AudioDevicePtr> previous = m_micDevices;
    updateMicrophoneDeviceList();
    takeRestorePoints(previous, m_micDevices, m_micVolumeMuteRestorePoint);
}

void MicManagerWin7::refreshSpeakerDeviceStates() {
    const kvo::Array<audio::AudioDevicePtr> previous = m_playerDevices;
    updateSpeakerDeviceList();
    takeRestorePoints(previous, m_playerDevices, m_spkVolumeMuteRestorePoint);
}

void MicManagerWin7::refreshDeviceStates() {
    refreshMicrophoneDeviceStates();
    refreshSpeakerDeviceStates();
}

bool MicManagerWin7::isActive(audio::AudioDevice& device) {
    if (!device.refresh()) {
        KVO_LOG(moduleLogger(), kvo::kLogDetail,
                "Unable to update test device info. Assume not active.");
        return false;
    }
    const bool active = device.state() == audio::DEVICE_STATE_ACTIVE;
    KVO_LOG(moduleLogger(), kvo::kLogDetail,
            "Checking device state using up-to-date information: {}", active);
    return active;
}

std::uint32_t MicManagerWin7::microphoneDeviceList(DeviceList& list) {
    if (MicrophoneTestWin7::microphoneDeviceList(list) == 0) {
        return 0;
    }
    for (std::uint32_t i = 0; i < list.size();) {
        if (isActive(*m_micDevices[list[i].index])) {
            ++i;
        } else {
            list.remove(i);
        }
    }
    return list.size();
}

bool MicManagerWin7::decibelVolumeRange(std::uint32_t index, float& minDb, float& maxDb) {
    const auto controller = m_micDevices[index]->volumeControl();
    float step = 0.0F;
    return controller != nullptr && controller->decibelRange(0, minDb, maxDb, step);
}

void MicManagerWin7::setCaptureVolumeLevel(std::uint32_t index, std::uint32_t percent) {
    const auto controller = m_micDevices[index]->volumeControl();
    if (controller == nullptr) {
        return;
    }
    controller->setVolumeLevel(percent);
    float levelDb = 0.0F;
    controller->decibelLevel(levelDb);
    KVO_LOG(moduleLogger(), kvo::kLogDetail, "Volume dB level at {}% is {}dB", percent, levelDb);
}

void MicManagerWin7::setCaptureMute(std::uint32_t index, bool mute) {
    if (const auto controller = m_micDevices[index]->volumeControl()) {
        controller->setMute(mute);
    }
}

bool MicManagerWin7::setDefaultSpeakerVolume() {
    for (const auto& device : m_playerDevices) {
        if (!device->isDefaultEndpoint()) {
            continue;
        }
        const auto controller = device->volumeControl();
        if (controller == nullptr || !controller->setVolumeLevel(kDefaultSpeakerVolume)) {
            KVO_LOG(moduleLogger(), kvo::kLogError,
                    "Unable to set default output volume level to {}%", kDefaultSpeakerVolume);
            return false;
        }
        return true;
    }
    return true;
}

std::uint32_t MicManagerWin7::filterIntegrated(kvo::Array<audio::AudioDevicePtr>& devices,
                                               bool microphones,
                                               kvo::Array<audio::AudioDevicePtr>& integrated) {
    integrated.clear();
    for (const auto& device : devices) {
        const bool isIntegrated = microphones ? m_audio.isIntegratedMicrophone(*device)
                                              : m_audio.isIntegratedSpeaker(*device);
        if (isIntegrated && isActive(*device)) {
            integrated.append(device);
        }
    }
    return integrated.size();
}

std::uint32_t MicManagerWin7::filterIntegratedMicDevices(
    kvo::Array<audio::AudioDevicePtr>& integrated) {
    return filterIntegrated(m_micDevices, true, integrated);
}

std::uint32_t MicManagerWin7::filterIntegratedSpkDevices(
    kvo::Array<audio::AudioDevicePtr>& integrated) {
    return filterIntegrated(m_playerDevices, false, integrated);
}

std::uint32_t MicManagerWin7::filterOutExternalMics(DeviceList& testableMic,
                                                    DeviceList& externalMic) {
    externalMic.clear();
    for (std::uint32_t i = 0; i < testableMic.size();) {
        audio::AudioDevice& device = *m_micDevices[testableMic[i].index];
        if (m_audio.isIntegratedMicrophone(device)) {
            ++i;
            continue;
        }
        const Device removed = testableMic[i];
        testableMic.remove(i);
        if (device.state() == audio::DEVICE_STATE_ACTIVE) {
            KVO_LOG(moduleLogger(), kvo::kLogDetail, "Mic {} is not integrated.", removed.name);
            externalMic.append(removed);
        }
    }
    return testableMic.size();
}

}  // namespace kvormicrophone
