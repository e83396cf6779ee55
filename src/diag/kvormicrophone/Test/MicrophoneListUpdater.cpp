#include "MicrophoneListUpdater.hpp"

#include "MicrophoneTestWin7.hpp"

namespace kvormicrophone {

void EndpointListUpdater::onEndpointDeviceStateChanged(const std::string&, std::uint32_t) {
    if (engine_ != nullptr) {
        engine_->updateDeviceLists();
    }
}

void EndpointListUpdater::onEndpointDeviceAdded(const std::string& endpointId) {
    onEndpointDeviceStateChanged(endpointId, 0);
}

void EndpointListUpdater::onEndpointDeviceRemoved(const std::string& endpointId) {
    onEndpointDeviceStateChanged(endpointId, 0);
}

void EndpointListUpdater::onEndpointDevicePropertyChanged(const std::string& endpointId) {
    onEndpointDeviceStateChanged(endpointId, 0);
}

}  // namespace kvormicrophone
