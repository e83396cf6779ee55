#include "AudioContract.hpp"

// The conformance suite on the simulated PC of a scenario in which the
// integrated microphone array, which hears the speakers, is unplugged 2.5 s
// after the machine starts.

namespace audio::contract {
namespace {

struct SimTarget : ContractTarget {
    std::string backend() const override { return "sim"; }
    BackendOptions options() const override {
        return {std::string(KVO_SCENARIO_DIR) + "/unplug-during-run.json", false};
    }
    std::string speaker() const override { return "speakers"; }
    std::string microphone() const override { return "mic-array"; }
    std::string removableMicrophone() const override { return "mic-array"; }
    // The machine unplugs it by itself: wait, on virtual time, until it has.
    void removeDevice() override { kvo::System::mssleep(2600); }
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Sim, AudioContract, SimTarget);

}  // namespace audio::contract
