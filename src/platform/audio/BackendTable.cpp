#include <array>
#include <optional>
#include <utility>

#include "Backends.hpp"
#include "CurrentSystem.hpp"
#include "platform/ui/Mci.hpp"
#include "sim/SimBackend.hpp"
#ifdef KVO_AUDIO_PULSE
#include "pulse/PulseSystem.hpp"
#endif
#ifdef KVO_UI_WIN32
#include "platform/ui/win32/WinMciService.hpp"
#endif
#ifdef KVO_AUDIO_WASAPI
#include "wasapi/WasapiSystem.hpp"
#endif

namespace audio {
namespace {

// The MCI that goes with a real audio system: the operating system's, where the build has one.
std::unique_ptr<ui::MciService> systemMciService() {
#ifdef KVO_UI_WIN32
    return std::make_unique<ui::win32::WinMciService>();
#else
    return nullptr;
#endif
}

// A backend that is its audio system, with the operating system's MCI beside it.
class SystemSession final : public BackendSession {
public:
    explicit SystemSession(std::unique_ptr<AudioSystem> system)
        : system_(std::move(system)), mci_(systemMciService()) {
        installed_.emplace(*system_);
        if (mci_) {
            installedMci_.emplace(*mci_);
        }
    }
    ~SystemSession() override {
        installedMci_.reset();
        installed_.reset();
        system_.reset();
    }
    AudioSystem& system() override { return *system_; }

private:
    std::unique_ptr<AudioSystem> system_;
    std::optional<ScopedAudioSystem> installed_;
    std::unique_ptr<ui::MciService> mci_;
    std::optional<ui::ScopedMciService> installedMci_;
};

#ifdef KVO_AUDIO_PULSE
std::unique_ptr<BackendSession> openPulse(const BackendOptions&) {
    return std::make_unique<SystemSession>(pulse::createPulseSystem());
}
#endif

#ifdef KVO_AUDIO_WASAPI
std::unique_ptr<BackendSession> openWasapi(const BackendOptions&) {
    return std::make_unique<SystemSession>(wasapi::createWasapiSystem());
}
#endif

constexpr std::array kBackends{
#ifdef KVO_AUDIO_WASAPI
    Backend{"wasapi", "Windows Core Audio endpoints and the winmm wave devices", false, false,
            openWasapi},
#endif
#ifdef KVO_AUDIO_PULSE
    Backend{"pulse", "the PulseAudio (or PipeWire) server of this session", false, false,
            openPulse},
#endif
    Backend{"sim", "a simulated PC, built in or described by --machine FILE.json", true, true,
            sim::openSimulatedPc},
};

}  // namespace

std::span<const Backend> backends() {
    return kBackends;
}

const Backend* findBackend(std::string_view name) {
    for (const Backend& backend : kBackends) {
        if (name == backend.name) {
            return &backend;
        }
    }
    return nullptr;
}

std::string backendNames() {
    std::string names;
    for (const Backend& backend : kBackends) {
        names += (names.empty() ? "" : ", ") + std::string(backend.name);
    }
    return names;
}

}  // namespace audio
