#include "AudioContract.hpp"

// The conformance suite on the Windows backend under Wine, against the private
// PulseAudio daemon of scripts/wine-audio-bed.sh: "Built-in Microphone" hears
// "Built-in Speaker". What Wine does not do is skipped with the reason.

namespace audio::contract {
namespace {

// The id Wine gave the endpoint with this description in this prefix.
std::string endpointIdOf(EDataFlow flow, const std::string& description) {
    const std::unique_ptr<BackendSession> session = findBackend("wasapi")->open({});
    kvo::Array<AudioDevicePtr> endpoints;
    session->system().endpoints(flow, DEVICE_STATE_ACTIVE, endpoints);
    for (const AudioDevicePtr& endpoint : endpoints) {
        if (endpoint->deviceProperty().description == description) {
            return endpoint->id();
        }
    }
    ADD_FAILURE() << "Wine lists no \"" << description << "\": is the daemon running?";
    return {};
}

class WasapiTarget : public ContractTarget {
public:
    std::string backend() const override { return "wasapi"; }
    std::string lacks(Feature feature) const override {
        switch (feature) {
            case Feature::Notifications:
                return "Wine sends no endpoint notifications";
            case Feature::DeviceRemoval:
                return "Wine reads the server's devices once per process and does not see one "
                       "go away";
            case Feature::VolumeControl:
                return "Wine's IAudioEndpointVolume answers E_NOTIMPL to the scalar level and the "
                       "channel calls";
            default:
                return {};
        }
    }
    std::string speaker() const override { return speaker_; }
    std::string microphone() const override { return microphone_; }

private:
    std::string speaker_ = endpointIdOf(eRender, "Built-in Speaker");
    std::string microphone_ = endpointIdOf(eCapture, "Built-in Microphone");
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Wasapi, AudioContract, WasapiTarget);

}  // namespace audio::contract
