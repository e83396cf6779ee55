#include "Topology.hpp"

#include <memory>
#include <utility>

namespace audio::wasapi {
namespace {

HRESULT topologyOf(IMMDevice& device, ComPtr<IDeviceTopology>& topology) {
    return device.Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr, topology.putVoid());
}

HRESULT firstConnectorOf(IMMDevice& device, ComPtr<::IConnector>& connector) {
    ComPtr<IDeviceTopology> topology;
    if (const HRESULT hr = topologyOf(device, topology); FAILED(hr)) {
        return hr;
    }
    return topology->GetConnector(0, connector.put());
}

// `value`, which the call that gave `hr` filled, copied to `out` when it succeeded.
template <typename Out, typename Value>
HRESULT copyIfSucceeded(HRESULT hr, const Value& value, Out& out) {
    if (SUCCEEDED(hr)) {
        out = static_cast<Out>(value);
    }
    return hr;
}

// The object that the call that gave `hr` found, wrapped as the layer's
// `Wrapper` in `out` when it succeeded.
template <typename Wrapper, typename Out, typename Found>
HRESULT wrapIfSucceeded(HRESULT hr, Found& found, std::shared_ptr<Out>& out) {
    if (SUCCEEDED(hr)) {
        out = std::make_shared<Wrapper>(std::move(found));
    }
    return hr;
}

AudioPart describe(::IPart& part) {
    AudioPart description;
    CoTaskString name;
    if (SUCCEEDED(part.GetName(name.put()))) {
        description.name = toUtf8(name.get());
    }
    UINT localId = 0;
    if (SUCCEEDED(part.GetLocalId(&localId))) {
        description.localId = localId;
    }
    ::PartType type = ::Subunit;
    if (SUCCEEDED(part.GetPartType(&type))) {
        description.type = type == ::Connector ? audio::Connector : audio::Subunit;
    }
    return description;
}

class VolumeLevelObject final : public IAudioVolumeLevel {
public:
    explicit VolumeLevelObject(ComPtr<::IAudioVolumeLevel> level) : level_(std::move(level)) {}

    HResult GetChannelCount(std::uint32_t& count) override {
        UINT value = 0;
        return copyIfSucceeded(level_->GetChannelCount(&value), value, count);
    }
    HResult GetLevelRange(std::uint32_t channel, float& minDb, float& maxDb,
                          float& stepDb) override {
        float low = 0.0F;
        float high = 0.0F;
        float step = 0.0F;
        const HRESULT hr = level_->GetLevelRange(channel, &low, &high, &step);
        if (SUCCEEDED(hr)) {
            minDb = low;
            maxDb = high;
            stepDb = step;
        }
        return hr;
    }
    HResult GetLevel(std::uint32_t channel, float& levelDb) override {
        float value = 0.0F;
        return copyIfSucceeded(level_->GetLevel(channel, &value), value, levelDb);
    }
    HResult SetLevel(std::uint32_t channel, float levelDb) override {
        return level_->SetLevel(channel, levelDb, nullptr);
    }

private:
    ComPtr<::IAudioVolumeLevel> level_;
};

class PartsListObject;

class PartObject final : public IPart {
public:
    explicit PartObject(ComPtr<::IPart> part) : part_(std::move(part)) {}

    HResult GetName(std::string& name) override {
        CoTaskString text;
        const HRESULT hr = part_->GetName(text.put());
        if (SUCCEEDED(hr)) {
            name = toUtf8(text.get());
        }
        return hr;
    }
    HResult GetLocalId(std::uint32_t& localId) override {
        UINT value = 0;
        return copyIfSucceeded(part_->GetLocalId(&value), value, localId);
    }
    HResult GetPartType(PartType& type) override {
        ::PartType value = ::Subunit;
        const HRESULT hr = part_->GetPartType(&value);
        if (SUCCEEDED(hr)) {
            type = value == ::Connector ? audio::Connector : audio::Subunit;
        }
        return hr;
    }
    HResult EnumPartsOutgoing(std::shared_ptr<IPartsList>& parts) override;
    HResult EnumPartsIncoming(std::shared_ptr<IPartsList>& parts) override;
    HResult Activate(std::shared_ptr<IAudioVolumeLevel>& volumeLevel) override {
        ComPtr<::IAudioVolumeLevel> level;
        return wrapIfSucceeded<VolumeLevelObject>(
            part_->Activate(CLSCTX_ALL, __uuidof(::IAudioVolumeLevel), level.putVoid()), level,
            volumeLevel);
    }

private:
    ComPtr<::IPart> part_;
};

class PartsListObject final : public IPartsList {
public:
    explicit PartsListObject(ComPtr<::IPartsList> parts) : parts_(std::move(parts)) {}

    HResult GetCount(std::uint32_t& count) override {
        UINT value = 0;
        return copyIfSucceeded(parts_->GetCount(&value), value, count);
    }
    HResult GetPart(std::uint32_t index, std::shared_ptr<IPart>& part) override {
        ComPtr<::IPart> found;
        return wrapIfSucceeded<PartObject>(parts_->GetPart(index, found.put()), found, part);
    }

private:
    ComPtr<::IPartsList> parts_;
};

HResult PartObject::EnumPartsOutgoing(std::shared_ptr<IPartsList>& parts) {
    ComPtr<::IPartsList> list;
    return wrapIfSucceeded<PartsListObject>(part_->EnumPartsOutgoing(list.put()), list, parts);
}

HResult PartObject::EnumPartsIncoming(std::shared_ptr<IPartsList>& parts) {
    ComPtr<::IPartsList> list;
    return wrapIfSucceeded<PartsListObject>(part_->EnumPartsIncoming(list.put()), list, parts);
}

class ConnectorObject final : public IConnector {
public:
    explicit ConnectorObject(ComPtr<::IConnector> connector) : connector_(std::move(connector)) {}

    HResult GetConnectedTo(std::shared_ptr<IConnector>& other) override {
        ComPtr<::IConnector> found;
        return wrapIfSucceeded<ConnectorObject>(connector_->GetConnectedTo(found.put()), found,
                                                other);
    }
    HResult QueryInterface(std::shared_ptr<IPart>& part) override {
        ComPtr<::IPart> found;
        return wrapIfSucceeded<PartObject>(connector_.as(found), found, part);
    }

private:
    ComPtr<::IConnector> connector_;
};

// Windows' EPcxGeoLocation goes one past the layer's (eGeoLocNotApplicable).
EPcxGeoLocation geoLocationOf(int location) {
    return location >= eGeoLocRear && location <= eGeoLocATAPI
               ? static_cast<EPcxGeoLocation>(location)
               : eGeoLocNone;
}

}  // namespace

HRESULT adapterIdOf(IMMDevice& device, std::wstring& adapterId) {
    ComPtr<::IConnector> connector;
    if (const HRESULT hr = firstConnectorOf(device, connector); FAILED(hr)) {
        return hr;
    }
    CoTaskString id;
    const HRESULT hr = connector->GetDeviceIdConnectedTo(id.put());
    if (SUCCEEDED(hr)) {
        adapterId = id.get();
    }
    return hr;
}

KSJACK_DESCRIPTION fromWindows(const ::KSJACK_DESCRIPTION& jack) {
    KSJACK_DESCRIPTION result;
    result.ChannelMapping = jack.ChannelMapping;
    result.Color =
        (GetRValue(jack.Color) << 16) | (GetGValue(jack.Color) << 8) | GetBValue(jack.Color);
    result.ConnectionType =
        jack.ConnectionType >= ::eConnTypeUnknown && jack.ConnectionType <= ::eConnTypeCombination
            ? static_cast<EPcxConnectionType>(jack.ConnectionType)
            : eConnTypeUnknown;
    result.GeoLocation = geoLocationOf(jack.GeoLocation);
    result.GenLocation =
        jack.GenLocation >= ::eGenLocPrimaryBox && jack.GenLocation <= ::eGenLocOther
            ? static_cast<EPcxGenLocation>(jack.GenLocation)
            : eGenLocOther;
    result.PortConnection =
        jack.PortConnection >= ::ePortConnJack && jack.PortConnection <= ::ePortConnUnknown
            ? static_cast<EPxcPortConnection>(jack.PortConnection)
            : ePortConnUnknown;
    result.IsConnected = jack.IsConnected != FALSE;
    return result;
}

HRESULT jackDescriptionsOf(IMMDevice& device, std::vector<KSJACK_DESCRIPTION>& jacks) {
    ComPtr<::IConnector> connector;
    if (const HRESULT hr = firstConnectorOf(device, connector); FAILED(hr)) {
        return hr;
    }
    ComPtr<::IConnector> adapter;
    if (const HRESULT hr = connector->GetConnectedTo(adapter.put()); FAILED(hr)) {
        return hr;
    }
    ComPtr<::IPart> part;
    if (const HRESULT hr = adapter.as(part); FAILED(hr)) {
        return hr;
    }
    ComPtr<IKsJackDescription> description;
    if (const HRESULT hr = part->Activate(CLSCTX_INPROC_SERVER, __uuidof(IKsJackDescription),
                                          description.putVoid());
        FAILED(hr)) {
        return hr;
    }
    UINT count = 0;
    if (const HRESULT hr = description->GetJackCount(&count); FAILED(hr)) {
        return hr;
    }
    jacks.clear();
    for (UINT index = 0; index < count; ++index) {
        ::KSJACK_DESCRIPTION jack{};
        if (const HRESULT hr = description->GetJackDescription(index, &jack); FAILED(hr)) {
            return hr;
        }
        jacks.push_back(fromWindows(jack));
    }
    return S_OK;
}

HRESULT connectorsOf(IMMDevice& device, kvo::Array<AudioComponent<IConnector>>& connectors) {
    connectors.clear();
    ComPtr<IDeviceTopology> topology;
    if (const HRESULT hr = topologyOf(device, topology); FAILED(hr)) {
        return hr;
    }
    UINT count = 0;
    if (const HRESULT hr = topology->GetConnectorCount(&count); FAILED(hr)) {
        return hr;
    }
    for (UINT index = 0; index < count; ++index) {
        ComPtr<::IConnector> connector;
        if (FAILED(topology->GetConnector(index, connector.put()))) {
            continue;
        }
        AudioComponent<IConnector> component;
        ComPtr<::IPart> part;
        if (SUCCEEDED(connector.as(part))) {
            component.part = describe(*part.get());
        }
        component.component = std::make_shared<ConnectorObject>(std::move(connector));
        connectors.append(std::move(component));
    }
    return S_OK;
}

}  // namespace audio::wasapi
