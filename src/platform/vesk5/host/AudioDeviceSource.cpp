#include "AudioDeviceSource.hpp"

#include <fmt/format.h>

#include "MeterCommand.hpp"

#include "platform/audio/AudioSystem.hpp"
#include "platform/audio/Backends.hpp"
#include "platform/audio/DeviceReport.hpp"
#include "platform/kvo/Exception.hpp"

namespace vesk5::host {
namespace {

// The devices of one audio system as the framework hands them to tests: one
// device for the integrated audio as a whole, which the non-interactive tests
// run on, one per active microphone, and the sound cards as optional devices.
class AudioDevices : public DeviceSource {
public:
    AudioDevices(const audio::Backend& backend, std::unique_ptr<audio::BackendSession> session)
        : backend_(backend), session_(std::move(session)), system_(session_->system()) {}

    std::vector<DiagDevice> testDevices() override {
        std::vector<DiagDevice> devices{DiagDevice(
            "Integrated audio", DeviceCapability::Microphone(),
            {{"EnumerateIntegratedMicTest", "true"}, {"EnumerateIntegratedAudioIOTest", "true"}})};
        kvo::Array<audio::AudioDevicePtr> microphones;
        system_.endpoints(audio::eCapture, audio::DEVICE_STATE_ACTIVE, microphones);
        for (const auto& microphone : microphones) {
            devices.emplace_back(microphone->friendlyName(), DeviceCapability::Microphone(),
                                 std::vector<DeviceProperty>{{"EndpointId", microphone->id()}});
        }
        return devices;
    }

    std::vector<DiagDevice> optionalDevices() override {
        std::vector<DiagDevice> devices;
        kvo::Array<audio::SoundCardPtr> cards;
        system_.soundCards(cards);
        for (const auto& card : cards) {
            devices.emplace_back(
                card->name(), DeviceCapability::SoundCard(),
                std::vector<DeviceProperty>{{"Driver", card->driver()},
                                            {"DriverVersion", card->driverVersion()}});
        }
        return devices;
    }

    std::string audioName() const override { return backend_.name; }
    bool simulated() const override { return backend_.simulated; }
    std::string audioDescription() const override { return system_.description(); }
    bool stopRequested() override { return session_->stopRequested(); }

    std::string describeDevices(bool json) override {
        return json ? audio::deviceReportJson(system_, backend_.simulated) + "\n"
                    : audio::deviceReportText(system_, backend_.simulated);
    }

private:
    const audio::Backend& backend_;
    std::unique_ptr<audio::BackendSession> session_;
    audio::AudioSystem& system_;
};

// The names of the backends that --machine applies to.
std::string machineBackendNames() {
    std::string names;
    for (const audio::Backend& backend : audio::backends()) {
        if (backend.takesMachineFile) {
            names += (names.empty() ? "" : " or ") + std::string(backend.name);
        }
    }
    return names;
}

std::unique_ptr<DeviceSource> openAudioDevices(const Options& options) {
    OpenedBackend opened = openBackend(options);
    return std::make_unique<AudioDevices>(*opened.backend, std::move(opened.session));
}

}  // namespace

OpenedBackend openBackend(const Options& options) {
    const audio::Backend* backend =
        options.audio.empty() ? &audio::backends().front() : audio::findBackend(options.audio);
    if (backend == nullptr) {
        throw kvo::Exception(
            fmt::format("the {} audio system is not available in this build (available here: {})",
                        options.audio, audio::backendNames()));
    }
    if (!options.machine.empty() && !backend->takesMachineFile) {
        throw UsageError(fmt::format("--machine describes a simulated PC; it needs --audio {}",
                                     machineBackendNames()));
    }
    if (options.machine.empty()) {
        return {backend, backend->open(audio::BackendOptions{options.machine, options.realtime})};
    }
    try {
        return {backend, backend->open(audio::BackendOptions{options.machine, options.realtime})};
    } catch (const kvo::Exception& error) {
        // The machine file is part of the command line: one the simulated PC cannot be
        // built from is a usage error.
        throw UsageError(error.getMessage());
    }
}

DeviceSources audioDeviceSources() {
    DeviceSources sources;
    for (const audio::Backend& backend : audio::backends()) {
        sources.choices.push_back({backend.name, backend.description, backend.simulated});
    }
    sources.open = openAudioDevices;
    sources.meter = runMeter;
    audio::AudioSystem::declareSettings();
    return sources;
}

}  // namespace vesk5::host
