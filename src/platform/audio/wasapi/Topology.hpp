#pragma once

#include <string>
#include <vector>

#include "platform/audio/AudioDevice.hpp"
#include "platform/audio/DeviceTopology.hpp"
// The SDK after the layer's headers (see WindowsHeaders.hpp).
#include "ComSupport.hpp"

// The device topology behind an endpoint (IDeviceTopology): the adapter it
// belongs to, the jacks of its connector, and the parts that the boost walk
// goes through, wrapped in the layer's topology interfaces.

namespace audio::wasapi {

// The device id of the adapter that the endpoint's first connector is
// connected to (IConnector::GetDeviceIdConnectedTo).
HRESULT adapterIdOf(IMMDevice& device, std::wstring& adapterId);

// The jack descriptions (IKsJackDescription) of the adapter's part behind the
// endpoint's first connector. E_NOINTERFACE when the endpoint has no device
// topology at all; a part without jack information answers its own failure.
HRESULT jackDescriptionsOf(IMMDevice& device, std::vector<KSJACK_DESCRIPTION>& jacks);

// The layer's copy of one Windows jack description (colour 0x00BBGGRR to 0x00RRGGBB).
KSJACK_DESCRIPTION fromWindows(const ::KSJACK_DESCRIPTION& jack);

// The endpoint's connectors as layer objects; their parts keep the COM
// objects alive. An HRESULT of the topology when it cannot be read.
HRESULT connectorsOf(IMMDevice& device, kvo::Array<AudioComponent<IConnector>>& connectors);

}  // namespace audio::wasapi
