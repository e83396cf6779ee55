#include "AudioContract.hpp"
#include "platform/audio/pulse/PulseTestServer.hpp"

// The conformance suite on a private PulseAudio daemon (scripts/pulse-test-server.sh):
// int_mic hears int_speaker's monitor; the removable microphone is a null
// source loaded and unloaded with pactl.

namespace audio::contract {
namespace {

class PulseTarget : public ContractTarget {
public:
    PulseTarget() {
        EXPECT_TRUE(server_.running()) << "the private PulseAudio daemon did not start";
    }

    std::string backend() const override { return "pulse"; }
    std::string speaker() const override { return "sink:int_speaker"; }
    std::string microphone() const override { return "source:int_mic"; }
    std::string removableMicrophone() const override { return "source:contract_mic"; }
    void prepareRemovableDevice() override {
        removeDevice();
        module_ = server_.pactl("load-module module-null-source source_name=contract_mic");
    }
    void removeDevice() override {
        if (!module_.empty()) {
            server_.pactl("unload-module " + module_);
            module_.clear();
        }
    }

private:
    pulse::test::PulseTestServer server_;
    std::string module_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Pulse, AudioContract, PulseTarget);

}  // namespace audio::contract
