#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>

#include "PulseDevices.hpp"

// How the server's descriptions of its sinks, sources and ports map onto the
// layer's endpoints, jacks, form factors and volume levels.

namespace audio::pulse {
namespace {

std::string lower(std::string value) {
    std::transform(value.begin(), value.end(), value.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return value;
}

bool contains(const std::string& haystack, const char* needle) {
    return haystack.find(needle) != std::string::npos;
}

// Speaker position bits of the channels in a map (front left 0x1, front right 0x2, ...).
std::uint32_t channelMask(const pa_channel_map& map) {
    std::uint32_t mask = 0;
    for (std::uint8_t c = 0; c < map.channels; ++c) {
        switch (map.map[c]) {
            case PA_CHANNEL_POSITION_FRONT_LEFT:
                mask |= 0x1;
                break;
            case PA_CHANNEL_POSITION_FRONT_RIGHT:
                mask |= 0x2;
                break;
            case PA_CHANNEL_POSITION_MONO:
            case PA_CHANNEL_POSITION_FRONT_CENTER:
                mask |= 0x4;
                break;
            case PA_CHANNEL_POSITION_LFE:
                mask |= 0x8;
                break;
            case PA_CHANNEL_POSITION_REAR_LEFT:
                mask |= 0x10;
                break;
            case PA_CHANNEL_POSITION_REAR_RIGHT:
                mask |= 0x20;
                break;
            case PA_CHANNEL_POSITION_SIDE_LEFT:
                mask |= 0x200;
                break;
            case PA_CHANNEL_POSITION_SIDE_RIGHT:
                mask |= 0x400;
                break;
            default:
                break;
        }
    }
    return mask;
}

KSJACK_DESCRIPTION describePort(const PortInfo& port, EDataFlow flow, bool integrated,
                                std::uint32_t channels) {
    KSJACK_DESCRIPTION jack;
    jack.ChannelMapping = channels;
    jack.IsConnected = port.available != PA_PORT_AVAILABLE_NO;
    const std::string name = lower(port.name + " " + port.description);
    switch (port.type) {
        case PA_DEVICE_PORT_TYPE_HEADPHONES:
        case PA_DEVICE_PORT_TYPE_HEADSET:
        case PA_DEVICE_PORT_TYPE_MIC:
        case PA_DEVICE_PORT_TYPE_LINE:
        case PA_DEVICE_PORT_TYPE_ANALOG:
            jack.ConnectionType = eConnType3Point5mm;
            break;
        case PA_DEVICE_PORT_TYPE_SPDIF:
            jack.ConnectionType = eConnTypeOptical;
            break;
        case PA_DEVICE_PORT_TYPE_HDMI:
            jack.ConnectionType = eConnTypeOtherDigital;
            jack.GeoLocation = eGeoLocHDMI;
            break;
        case PA_DEVICE_PORT_TYPE_USB:
        case PA_DEVICE_PORT_TYPE_BLUETOOTH:
        case PA_DEVICE_PORT_TYPE_NETWORK:
            jack.ConnectionType = eConnTypeOtherDigital;
            jack.GenLocation = eGenLocSeparate;
            break;
        default:
            break;
    }
    if (contains(name, "front")) {
        jack.GeoLocation = eGeoLocFront;
    } else if (contains(name, "rear")) {
        jack.GeoLocation = eGeoLocRear;
    }
    if (integrated) {
        jack.ConnectionType = eConnTypeUnknown;
        jack.GeoLocation = flow == eCapture ? eGeoLocInsideMobileLid : eGeoLocNone;
        jack.GenLocation = eGenLocInternal;
        jack.PortConnection = ePortConnIntegratedDevice;
        jack.IsConnected = true;
    }
    return jack;
}

}  // namespace

std::string cardIdOf(const DeviceInfo& device) {
    if (device.card != PA_INVALID_INDEX) {
        return fmt::format("card:{}", device.card);
    }
    if (device.ownerModule != PA_INVALID_INDEX) {
        return fmt::format("module:{}", device.ownerModule);
    }
    return "module:none";
}

std::string endpointId(const DeviceInfo& device) {
    return (device.flow == eRender ? "sink:" : "source:") + device.name;
}

std::uint32_t endpointState(const DeviceInfo& device) {
    for (const PortInfo& port : device.ports) {
        if (port.name == device.activePort && port.available == PA_PORT_AVAILABLE_NO) {
            return DEVICE_STATE_UNPLUGGED;
        }
    }
    return DEVICE_STATE_ACTIVE;
}

bool isBuiltInPort(const PortInfo& port, EDataFlow flow) {
    const std::string name = lower(port.name + " " + port.description);
    if (flow == eCapture) {
        return contains(name, "internal-mic") || contains(name, "internal mic") ||
               contains(name, "built-in mic");
    }
    return port.type == PA_DEVICE_PORT_TYPE_SPEAKER || contains(name, "analog-output-speaker") ||
           contains(name, "built-in speaker");
}

EndpointFormFactor formFactorOf(const DeviceInfo& device) {
    const std::string& factor = device.formFactor;
    if (factor == "internal") {
        return device.flow == eCapture ? Microphone : Speakers;
    }
    if (factor == "speaker" || factor == "hifi" || factor == "portable" || factor == "car") {
        return Speakers;
    }
    if (factor == "headphone") {
        return Headphones;
    }
    if (factor == "headset" || factor == "hands-free") {
        return Headset;
    }
    if (factor == "handset") {
        return Handset;
    }
    if (factor == "microphone" || factor == "webcam") {
        return Microphone;
    }
    if (factor == "tv") {
        return DigitalAudioDisplayDevice;
    }
    for (const PortInfo& port : device.ports) {
        if (port.name != device.activePort) {
            continue;
        }
        switch (port.type) {
            case PA_DEVICE_PORT_TYPE_SPEAKER:
                return Speakers;
            case PA_DEVICE_PORT_TYPE_HEADPHONES:
                return Headphones;
            case PA_DEVICE_PORT_TYPE_MIC:
                return Microphone;
            case PA_DEVICE_PORT_TYPE_HEADSET:
                return Headset;
            case PA_DEVICE_PORT_TYPE_HANDSET:
                return Handset;
            case PA_DEVICE_PORT_TYPE_LINE:
                return LineLevel;
            case PA_DEVICE_PORT_TYPE_SPDIF:
                return SPDIF;
            case PA_DEVICE_PORT_TYPE_HDMI:
                return DigitalAudioDisplayDevice;
            default:
                break;
        }
    }
    return UnknownFormFactor;
}

std::vector<KSJACK_DESCRIPTION> jacksOf(const DeviceInfo& device) {
    const bool internal = device.formFactor == "internal";
    const std::uint32_t channels = channelMask(device.channelMap);
    std::vector<KSJACK_DESCRIPTION> jacks;
    for (const PortInfo& port : device.ports) {
        const bool integrated =
            internal || (port.name == device.activePort && isBuiltInPort(port, device.flow));
        jacks.push_back(describePort(port, device.flow, integrated, channels));
    }
    if (jacks.empty() && internal) {
        jacks.push_back(describePort(PortInfo{}, device.flow, true, channels));
    }
    return jacks;
}

std::uint32_t percentOf(const pa_cvolume& volume) {
    const pa_volume_t loudest = std::min<pa_volume_t>(pa_cvolume_max(&volume), PA_VOLUME_NORM);
    return static_cast<std::uint32_t>(
        std::lround(static_cast<double>(loudest) * 100.0 / PA_VOLUME_NORM));
}

bool decibelRangeOf(const DeviceInfo& device, DecibelRange& range) {
    if (!device.decibelVolume) {
        return false;
    }
    range.minDb = decibelsOf(device, PA_VOLUME_NORM / 100);
    range.maxDb = decibelsOf(device, PA_VOLUME_NORM);
    const std::uint32_t intervals = device.volumeSteps > 1 ? device.volumeSteps - 1 : 1;
    range.stepDb = (range.maxDb - range.minDb) / static_cast<float>(intervals);
    return true;
}

float decibelsOf(const DeviceInfo& device, pa_volume_t volume) {
    const pa_volume_t base = device.baseVolume != 0 ? device.baseVolume : PA_VOLUME_NORM;
    // Silence has no finite level: it reads as the bottom of the range.
    const pa_volume_t floor = PA_VOLUME_NORM / 100;
    return static_cast<float>(pa_sw_volume_to_dB(std::max(volume, floor)) -
                              pa_sw_volume_to_dB(base));
}

pa_volume_t volumeForDecibels(const DeviceInfo& device, float levelDb) {
    const pa_volume_t base = device.baseVolume != 0 ? device.baseVolume : PA_VOLUME_NORM;
    const pa_volume_t volume =
        pa_sw_volume_from_dB(static_cast<double>(levelDb) + pa_sw_volume_to_dB(base));
    return std::clamp<pa_volume_t>(volume, PA_VOLUME_MUTED, PA_VOLUME_NORM);
}

std::vector<WAVEFORMATEX> sharedFormatsOf(const DeviceInfo& device) {
    return {makePcmFormat(1, device.sampleFormat.rate, 16),
            makePcmFormat(2, device.sampleFormat.rate, 16)};
}

}  // namespace audio::pulse
