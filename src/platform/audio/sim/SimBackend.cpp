#include "SimBackend.hpp"

#include <optional>

#include "SimulatedSystem.hpp"
#include "platform/audio/CurrentSystem.hpp"
#include "platform/kvo/VirtualClock.hpp"
#include "platform/ui/sim/SimMciService.hpp"

namespace audio::sim {
namespace {

class SimulatedPcSession final : public BackendSession {
public:
    // Virtual time is in place, with this thread taking part, before the
    // simulated PC starts, so that its threads never run ahead unobserved.
    explicit SimulatedPcSession(const BackendOptions& options) {
        if (!options.realtime) {
            clock_ = std::make_unique<kvo::VirtualClock>();
            scopedClock_.emplace(*clock_);
            mainThread_.emplace(*clock_);
        }
        system_ = createSimulatedSystem(options.machineFile);
        installed_.emplace(*system_);
        mci_ = std::make_unique<ui::sim::SimMciService>(*system_);
        installedMci_.emplace(*mci_);
    }
    ~SimulatedPcSession() override {
        installedMci_.reset();
        mci_.reset();
        installed_.reset();
        system_.reset();
        mainThread_.reset();
        scopedClock_.reset();
    }

    AudioSystem& system() override { return *system_; }
    // The machine's scheduled stop request.
    bool stopRequested() override { return system_->stopRequested(); }

private:
    std::unique_ptr<kvo::VirtualClock> clock_;
    std::optional<kvo::ScopedClock> scopedClock_;
    std::optional<kvo::ClockParticipant> mainThread_;
    std::unique_ptr<SimulatedSystem> system_;
    std::optional<ScopedAudioSystem> installed_;
    std::unique_ptr<ui::MciService> mci_;
    std::optional<ui::ScopedMciService> installedMci_;
};

}  // namespace

std::unique_ptr<BackendSession> openSimulatedPc(const BackendOptions& options) {
    return std::make_unique<SimulatedPcSession>(options);
}

}  // namespace audio::sim
