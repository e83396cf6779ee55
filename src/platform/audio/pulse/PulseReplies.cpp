#include "PulseReplies.hpp"

namespace audio::pulse {

std::string text(const char* value) {
    return value != nullptr ? value : "";
}

namespace {

std::string property(const pa_proplist* properties, const char* key) {
    return properties != nullptr ? text(pa_proplist_gets(properties, key)) : "";
}

template <typename PortInfoType>
void copyPorts(PortInfoType** ports, std::uint32_t count, const PortInfoType* active,
               DeviceInfo& device) {
    for (std::uint32_t p = 0; p < count; ++p) {
        device.ports.push_back({text(ports[p]->name), text(ports[p]->description), ports[p]->type,
                                ports[p]->available});
    }
    if (active != nullptr) {
        device.activePort = text(active->name);
    }
}

// What sinks and sources share, under the same field names.
template <typename Info>
DeviceInfo fromDevice(const Info& info, EDataFlow flow, bool decibelVolume) {
    DeviceInfo device;
    device.flow = flow;
    device.index = info.index;
    device.name = text(info.name);
    device.description = text(info.description);
    device.driver = text(info.driver);
    device.card = info.card;
    device.ownerModule = info.owner_module;
    device.formFactor = property(info.proplist, PA_PROP_DEVICE_FORM_FACTOR);
    device.sampleFormat = info.sample_spec;
    device.channelMap = info.channel_map;
    device.volume = info.volume;
    device.baseVolume = info.base_volume;
    device.volumeSteps = info.n_volume_steps;
    device.decibelVolume = decibelVolume;
    device.muted = info.mute != 0;
    copyPorts(info.ports, info.n_ports, info.active_port, device);
    return device;
}

DeviceInfo fromSink(const pa_sink_info& sink) {
    return fromDevice(sink, eRender, (sink.flags & PA_SINK_DECIBEL_VOLUME) != 0);
}

DeviceInfo fromSource(const pa_source_info& source) {
    DeviceInfo device =
        fromDevice(source, eCapture, (source.flags & PA_SOURCE_DECIBEL_VOLUME) != 0);
    device.monitor = source.monitor_of_sink != PA_INVALID_INDEX;
    return device;
}

}  // namespace

void onSinkInfo(pa_context*, const pa_sink_info* info, int eol, void* data) {
    static_cast<Collected<DeviceInfo>*>(data)->take(info, eol, fromSink);
}

void onSourceInfo(pa_context*, const pa_source_info* info, int eol, void* data) {
    static_cast<Collected<DeviceInfo>*>(data)->take(info, eol, fromSource);
}

void onCardInfo(pa_context*, const pa_card_info* info, int eol, void* data) {
    static_cast<Collected<CardInfo>*>(data)->take(info, eol, [](const pa_card_info& card) {
        return CardInfo{card.index,
                        text(card.name),
                        property(card.proplist, PA_PROP_DEVICE_DESCRIPTION),
                        text(card.driver),
                        property(card.proplist, "alsa.driver_name"),
                        card.owner_module};
    });
}

void onModuleInfo(pa_context*, const pa_module_info* info, int eol, void* data) {
    static_cast<Collected<ModuleInfo>*>(data)->take(info, eol, [](const pa_module_info& module) {
        return ModuleInfo{module.index, text(module.name)};
    });
}

void onServerInfo(pa_context*, const pa_server_info* info, void* data) {
    auto* result = static_cast<std::optional<ServerInfo>*>(data);
    if (info != nullptr) {
        *result = ServerInfo{text(info->server_name), text(info->server_version),
                             text(info->default_sink_name), text(info->default_source_name)};
    }
}

void onSuccess(pa_context*, int success, void* data) {
    *static_cast<int*>(data) = success;
}

}  // namespace audio::pulse
