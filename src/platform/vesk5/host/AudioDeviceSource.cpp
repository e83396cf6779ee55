#include "AudioDeviceSource.hpp"

#include <fmt/format.h>

#include <optional>

#include "platform/audio/CurrentSystem.hpp"
#include "platform/audio/DeviceReport.hpp"
#include "platform/audio/sim/SimulatedSystem.hpp"
#ifdef KVO_AUDIO_PULSE
#include "platform/audio/pulse/PulseSystem.hpp"
#endif
#include "platform/kvo/Exception.hpp"
#include "platform/kvo/VirtualClock.hpp"
#include "platform/ui/sim/SimMciService.hpp"

namespace vesk5::host {
namespace {

// The devices of one audio system as the framework hands them to tests: one
// device for the integrated audio as a whole, which the non-interactive tests
// run on, one per active microphone, and the sound cards as optional devices.
class AudioDevices : public DeviceSource {
public:
    // Virtual time is in place, with this thread taking part, before the
    // simulated PC starts, so that its threads never run ahead unobserved.
    AudioDevices(const std::string& machineFile, std::unique_ptr<kvo::VirtualClock> clock)
        : clock_(std::move(clock)) {
        if (clock_) {
            scopedClock_.emplace(*clock_);
            mainThread_.emplace(*clock_);
        }
        system_ = audio::sim::createSimulatedSystem(machineFile);
        installed_.emplace(*system_);
        mci_ = std::make_unique<ui::sim::SimMciService>(*system_);
        installedMci_.emplace(*mci_);
    }

    // A real audio system runs on the steady clock.
    explicit AudioDevices(std::unique_ptr<audio::AudioSystem> system) : system_(std::move(system)) {
        installed_.emplace(*system_);
    }

    ~AudioDevices() override {
        installedMci_.reset();
        mci_.reset();
        installed_.reset();
        system_.reset();
        mainThread_.reset();
        scopedClock_.reset();
    }

    std::vector<DiagDevice> testDevices() override {
        std::vector<DiagDevice> devices{DiagDevice(
            "Integrated audio", DeviceCapability::Microphone(),
            {{"EnumerateIntegratedMicTest", "true"}, {"EnumerateIntegratedAudioIOTest", "true"}})};
        kvo::Array<audio::AudioDevicePtr> microphones;
        system_->endpoints(audio::eCapture, audio::DEVICE_STATE_ACTIVE, microphones);
        for (const auto& microphone : microphones) {
            devices.emplace_back(microphone->friendlyName(), DeviceCapability::Microphone(),
                                 std::vector<DeviceProperty>{{"EndpointId", microphone->id()}});
        }
        return devices;
    }

    std::vector<DiagDevice> optionalDevices() override {
        std::vector<DiagDevice> devices;
        kvo::Array<audio::SoundCardPtr> cards;
        system_->soundCards(cards);
        for (const auto& card : cards) {
            devices.emplace_back(
                card->name(), DeviceCapability::SoundCard(),
                std::vector<DeviceProperty>{{"Driver", card->driver()},
                                            {"DriverVersion", card->driverVersion()}});
        }
        return devices;
    }

    std::string audioName() const override { return system_->backendName(); }
    bool simulated() const override { return system_->isSimulated(); }
    bool stopRequested() override { return system_->stopRequested(); }

    std::string describeDevices(bool json) override {
        return json ? audio::deviceReport(*system_).dump(2) + "\n"
                    : audio::deviceReportText(*system_);
    }

private:
    std::unique_ptr<kvo::VirtualClock> clock_;
    std::optional<kvo::ScopedClock> scopedClock_;
    std::optional<kvo::ClockParticipant> mainThread_;
    std::unique_ptr<audio::AudioSystem> system_;
    std::optional<audio::ScopedAudioSystem> installed_;
    std::unique_ptr<ui::MciService> mci_;
    std::optional<ui::ScopedMciService> installedMci_;
};

std::string defaultAudio() {
#ifdef _WIN32
    return "wasapi";
#else
    return "pulse";
#endif
}

}  // namespace

std::unique_ptr<DeviceSource> openAudioDevices(const Options& options) {
    const std::string audio = options.audio.empty() ? defaultAudio() : options.audio;
    if (audio != "sim") {
        if (!options.machine.empty()) {
            throw kvo::Exception("--machine describes a simulated PC; it needs --audio sim");
        }
#ifdef KVO_AUDIO_PULSE
        if (audio == "pulse") {
            return std::make_unique<AudioDevices>(audio::pulse::createPulseSystem());
        }
#endif
        throw kvo::Exception(
            fmt::format("the {} audio system is not available in this build; use --audio sim to "
                        "run on a simulated PC",
                        audio));
    }
    return std::make_unique<AudioDevices>(
        options.machine, options.realtime ? nullptr : std::make_unique<kvo::VirtualClock>());
}

}  // namespace vesk5::host
