#include "Endpoints.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "EndpointVolume.hpp"
#include "Formats.hpp"
#include "Topology.hpp"
#include "WaveDevices.hpp"

namespace audio::wasapi {
namespace {

std::string stringProperty(IPropertyStore& store, const PROPERTYKEY& key) {
    PROPVARIANT value;
    PropVariantInit(&value);
    std::string result;
    if (SUCCEEDED(store.GetValue(key, &value)) && value.vt == VT_LPWSTR) {
        result = toUtf8(value.pwszVal);
    }
    PropVariantClear(&value);
    return result;
}

EndpointFormFactor formFactorProperty(IPropertyStore& store) {
    PROPVARIANT value;
    PropVariantInit(&value);
    EndpointFormFactor result = UnknownFormFactor;
    if (SUCCEEDED(store.GetValue(PKEY_AudioEndpoint_FormFactor, &value)) && value.vt == VT_UI4 &&
        value.ulVal <= static_cast<ULONG>(UnknownFormFactor)) {
        result = static_cast<EndpointFormFactor>(value.ulVal);
    }
    PropVariantClear(&value);
    return result;
}

EDataFlow flowOf(IMMDevice& device) {
    ComPtr<IMMEndpoint> endpoint;
    ::EDataFlow flow = ::eRender;
    if (SUCCEEDED(device.QueryInterface(__uuidof(IMMEndpoint), endpoint.putVoid()))) {
        endpoint->GetDataFlow(&flow);
    }
    return flow == ::eCapture ? eCapture : eRender;
}

// The card from the device topology and Plug and Play; without a topology,
// the interface's name stands for the card and its driver is unknown.
void describeCard(Context& context, IMMDevice& device, EndpointRecord& record) {
    std::wstring adapterId;
    const HRESULT hr = adapterIdOf(device, adapterId);
    if (SUCCEEDED(hr) && describeAdapter(adapterId, record.card)) {
        record.place.cardId = toUtf8(adapterId.c_str());
        if (record.card.name.empty()) {
            record.card.name = record.property.interfaceName;
        }
        return;
    }
    record.place.cardId = "interface:" + record.property.interfaceName;
    record.card = AdapterInfo{record.property.interfaceName, "", ""};
    context.logOnce(
        "card " + record.utf8Id, kvo::kLogInfo,
        FAILED(hr)
            ? fmt::format("endpoint \"{}\" has no device topology ({}): its sound card is named "
                          "after its interface, \"{}\", without driver information",
                          record.property.friendlyName, describeResult(hr),
                          record.property.interfaceName)
            : fmt::format("the adapter of endpoint \"{}\" is unknown to Plug and Play: its sound "
                          "card is named after its interface, \"{}\", without driver information",
                          record.property.friendlyName, record.property.interfaceName));
}

class Endpoint final : public AudioDevice {
public:
    Endpoint(std::shared_ptr<Context> context, EndpointRecord record)
        : context_(std::move(context)), record_(std::move(record)) {}

    const std::wstring& wideId() const { return record_.id; }
    const Context* context() const { return context_.get(); }

    const std::string& id() const override { return record_.utf8Id; }
    EDataFlow dataFlow() const override { return record_.place.flow; }
    DeviceProperty deviceProperty() const override { return record_.property; }
    std::uint32_t state() const override { return record_.state; }

    bool refresh() override {
        const ComPtr<IMMDevice> device = context_->device(record_.id);
        DWORD state = 0;
        if (!device || FAILED(device->GetState(&state))) {
            return false;
        }
        record_.state = state;
        return true;
    }

    bool isDefaultEndpoint() override {
        ComPtr<IMMDevice> device;
        CoTaskString id;
        return SUCCEEDED(context_->enumerator().GetDefaultAudioEndpoint(
                   record_.place.flow == eCapture ? ::eCapture : ::eRender, ::eConsole,
                   device.put())) &&
               SUCCEEDED(device->GetId(id.put())) && record_.id == id.get();
    }

    std::uint32_t compatibleFormats(kvo::Array<tWAVEFORMATEX>& formats,
                                    _AUDCLNT_SHAREMODE shareMode) override {
        formats.clear();
        ComPtr<IAudioClient> client;
        if (FAILED(activateClient(client))) {
            return 0;
        }
        for (const WAVEFORMATEX& format : acceptedFormats(*client.get(), shareMode)) {
            formats.append(format);
        }
        return formats.size();
    }

    HResult isFormatSupported(const WAVEFORMATEX& format, _AUDCLNT_SHAREMODE shareMode) override {
        ComPtr<IAudioClient> client;
        if (const HRESULT hr = activateClient(client); FAILED(hr)) {
            return hr;
        }
        return supportsFormat(*client.get(), format, shareMode);
    }

    std::shared_ptr<VolumeControllerInterface> volumeControl() override {
        const ComPtr<IMMDevice> device = context_->device(record_.id);
        ComPtr<IAudioEndpointVolume> volume;
        if (!device || FAILED(device->Activate(__uuidof(IAudioEndpointVolume), CLSCTX_ALL, nullptr,
                                               volume.putVoid()))) {
            return nullptr;
        }
        return makeEndpointVolume(context_, std::move(volume));
    }

    std::uint32_t jackInfo(kvo::Array<KSJACK_DESCRIPTION>& jacks) override {
        jacks.clear();
        const ComPtr<IMMDevice> device = context_->device(record_.id);
        if (!device) {
            return 0;
        }
        std::vector<KSJACK_DESCRIPTION> found;
        const HRESULT hr = jackDescriptionsOf(*device.get(), found);
        if (hr == E_NOINTERFACE) {
            context_->logOnce("jacks " + record_.utf8Id, kvo::kLogInfo,
                              fmt::format("endpoint \"{}\" has no device topology: its jack is "
                                          "taken from its form factor, {}",
                                          record_.property.friendlyName,
                                          formFactorText(record_.property.formFactor)));
            found = jacksFromFormFactor(record_.place.flow, record_.property.formFactor,
                                        record_.state == DEVICE_STATE_ACTIVE);
        } else if (FAILED(hr)) {
            context_->logOnce("jacks " + record_.utf8Id, kvo::kLogInfo,
                              fmt::format("endpoint \"{}\" describes no jack ({})",
                                          record_.property.friendlyName, describeResult(hr)));
        }
        for (const KSJACK_DESCRIPTION& jack : found) {
            jacks.append(jack);
        }
        return jacks.size();
    }

    std::uint32_t connector(kvo::Array<AudioComponent<IConnector>>& connectors) override {
        connectors.clear();
        const ComPtr<IMMDevice> device = context_->device(record_.id);
        if (!device || FAILED(connectorsOf(*device.get(), connectors))) {
            connectors.clear();
        }
        return connectors.size();
    }

    bool waveLegacyDeviceID(std::uint32_t& deviceId) override {
        return waveDeviceNumberOf(record_.place.flow, record_.id, deviceId);
    }

private:
    HRESULT activateClient(ComPtr<IAudioClient>& client) {
        HRESULT hr = S_OK;
        const ComPtr<IMMDevice> device = context_->device(record_.id, &hr);
        if (!device) {
            return kDeviceInvalidated;
        }
        return device->Activate(__uuidof(IAudioClient), CLSCTX_ALL, nullptr, client.putVoid());
    }

    std::shared_ptr<Context> context_;
    EndpointRecord record_;
};

class SoundCardObject final : public ObservedSoundCard {
public:
    SoundCardObject(std::shared_ptr<Context> context, std::string id, AdapterInfo info)
        : ObservedSoundCard(context->notifier().observers()),
          id_(std::move(id)),
          info_(std::move(info)),
          context_(std::move(context)) {}

    const std::string& id() const override { return id_; }
    const std::string& name() const override { return info_.name; }
    const std::string& driver() const override { return info_.driver; }
    const std::string& driverVersion() const override { return info_.driverVersion; }

    std::uint32_t endpoints(EDataFlow flow, std::uint32_t stateMask,
                            kvo::Array<AudioDevicePtr>& list) override {
        std::uint32_t appended = 0;
        for (const EndpointRecord& record : enumerateEndpoints(*context_, flow, stateMask)) {
            if (record.place.cardId == id_) {
                list.append(makeEndpoint(context_, record));
                ++appended;
            }
        }
        return appended;
    }

private:
    std::string id_;
    AdapterInfo info_;
    std::shared_ptr<Context> context_;
};

}  // namespace

EndpointRecord describeEndpoint(Context& context, IMMDevice& device) {
    EndpointRecord record;
    CoTaskString id;
    if (SUCCEEDED(device.GetId(id.put()))) {
        record.id = id.get();
        record.utf8Id = toUtf8(id.get());
    }
    record.place.flow = flowOf(device);
    DWORD state = 0;
    if (SUCCEEDED(device.GetState(&state))) {
        record.state = state;
    }
    ComPtr<IPropertyStore> store;
    if (SUCCEEDED(device.OpenPropertyStore(STGM_READ, store.put()))) {
        record.property.friendlyName = stringProperty(*store.get(), PKEY_Device_FriendlyName);
        record.property.description = stringProperty(*store.get(), PKEY_Device_DeviceDesc);
        record.property.interfaceName =
            stringProperty(*store.get(), PKEY_DeviceInterface_FriendlyName);
        record.property.formFactor = formFactorProperty(*store.get());
    }
    describeCard(context, device, record);
    context.rememberPlace(record.utf8Id, record.place);
    return record;
}

std::vector<EndpointRecord> enumerateEndpoints(Context& context, EDataFlow flow,
                                               std::uint32_t stateMask) {
    std::vector<EndpointRecord> records;
    ComPtr<IMMDeviceCollection> collection;
    const ::EDataFlow windowsFlow =
        flow == eAll ? ::eAll : (flow == eCapture ? ::eCapture : ::eRender);
    if (FAILED(context.enumerator().EnumAudioEndpoints(
            windowsFlow, stateMask & DEVICE_STATEMASK_ALL, collection.put()))) {
        return records;
    }
    UINT count = 0;
    collection->GetCount(&count);
    for (UINT index = 0; index < count; ++index) {
        ComPtr<IMMDevice> device;
        if (SUCCEEDED(collection->Item(index, device.put()))) {
            records.push_back(describeEndpoint(context, *device.get()));
        }
    }
    return records;
}

AudioDevicePtr makeEndpoint(const std::shared_ptr<Context>& context, const EndpointRecord& record) {
    return std::make_shared<Endpoint>(context, record);
}

std::vector<SoundCardPtr> soundCardsOf(const std::shared_ptr<Context>& context) {
    std::vector<SoundCardPtr> cards;
    for (const EndpointRecord& record : enumerateEndpoints(*context, eAll, DEVICE_STATEMASK_ALL)) {
        const bool known = std::any_of(cards.begin(), cards.end(), [&](const SoundCardPtr& card) {
            return card->id() == record.place.cardId;
        });
        if (!known) {
            cards.push_back(
                std::make_shared<SoundCardObject>(context, record.place.cardId, record.card));
        }
    }
    return cards;
}

std::vector<KSJACK_DESCRIPTION> jacksFromFormFactor(EDataFlow flow, EndpointFormFactor formFactor,
                                                    bool active) {
    KSJACK_DESCRIPTION jack;
    jack.IsConnected = active;
    const bool builtIn = (flow == eRender && formFactor == Speakers) ||
                         (flow == eCapture && formFactor == Microphone);
    if (builtIn) {
        jack.GenLocation = eGenLocInternal;
        jack.PortConnection = ePortConnIntegratedDevice;
    }
    return {jack};
}

const std::wstring* endpointIdOf(const AudioDevice& device, const Context& context) {
    const auto* endpoint = dynamic_cast<const Endpoint*>(&device);
    return endpoint != nullptr && endpoint->context() == &context ? &endpoint->wideId() : nullptr;
}

}  // namespace audio::wasapi
