#include "AudioTypes.hpp"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "AudioStreams.hpp"

// The names the audio types are shown and logged with.

namespace audio {

std::string describeResult(HResult hr) {
    static constexpr std::array<std::pair<HResult, const char*>, 17> kNames{{
        {kOk, "S_OK"},
        {kFalse, "S_FALSE"},
        {kNotImplemented, "E_NOTIMPL"},
        {kNoInterface, "E_NOINTERFACE"},
        {kPointer, "E_POINTER"},
        {kFail, "E_FAIL"},
        {kInvalidArg, "E_INVALIDARG"},
        {kNotFound, "E_NOTFOUND"},
        {kNotInitialized, "AUDCLNT_E_NOT_INITIALIZED"},
        {kAlreadyInitialized, "AUDCLNT_E_ALREADY_INITIALIZED"},
        {kWrongEndpointType, "AUDCLNT_E_WRONG_ENDPOINT_TYPE"},
        {kDeviceInvalidated, "AUDCLNT_E_DEVICE_INVALIDATED"},
        {kUnsupportedFormat, "AUDCLNT_E_UNSUPPORTED_FORMAT"},
        {kDeviceInUse, "AUDCLNT_E_DEVICE_IN_USE"},
        {kNotStopped, "AUDCLNT_E_NOT_STOPPED"},
        {kServiceNotRunning, "AUDCLNT_E_SERVICE_NOT_RUNNING"},
        {kBufferError, "AUDCLNT_E_BUFFER_ERROR"},
    }};
    const std::string code = fmt::format("0x{:08X}", static_cast<std::uint32_t>(hr));
    for (const auto& [value, name] : kNames) {
        if (value == hr) {
            return code + " " + name;
        }
    }
    if (hr == kCaptureTimedOut) {
        return code + " ERROR_TIMEOUT";
    }
    return code;
}

std::string deviceStateText(std::uint32_t state) {
    switch (state) {
        case DEVICE_STATE_ACTIVE:
            return "active";
        case DEVICE_STATE_DISABLED:
            return "disabled";
        case DEVICE_STATE_NOTPRESENT:
            return "not present";
        case DEVICE_STATE_UNPLUGGED:
            return "unplugged";
        default:
            return "unknown";
    }
}

std::string dataFlowText(EDataFlow flow) {
    switch (flow) {
        case eRender:
            return "render";
        case eCapture:
            return "capture";
        default:
            return "all";
    }
}

std::string formFactorText(EndpointFormFactor formFactor) {
    static constexpr std::array<const char*, 11> kNames{"remote network device",
                                                        "speakers",
                                                        "line level",
                                                        "headphones",
                                                        "microphone",
                                                        "headset",
                                                        "handset",
                                                        "digital passthrough",
                                                        "S/PDIF",
                                                        "digital display",
                                                        "unknown"};
    const auto index = static_cast<std::size_t>(formFactor);
    return index < kNames.size() ? kNames[index] : "unknown";
}

std::string connectionTypeText(EPcxConnectionType type) {
    static constexpr std::array<const char*, 12> kNames{
        "unknown", "3.5 mm",        "6.3 mm",       "ATAPI internal",          "RCA",
        "optical", "other digital", "other analog", "multichannel analog DIN", "XLR",
        "RJ11",    "combination"};
    const auto index = static_cast<std::size_t>(type);
    return index < kNames.size() ? kNames[index] : "unknown";
}

std::string geoLocationText(EPcxGeoLocation location) {
    static constexpr std::array<const char*, 14> kNames{"none",
                                                        "rear panel",
                                                        "front panel",
                                                        "left panel",
                                                        "right panel",
                                                        "top panel",
                                                        "bottom panel",
                                                        "rear slide-open panel",
                                                        "riser card",
                                                        "mobile inside lid",
                                                        "drive bay",
                                                        "HDMI connector",
                                                        "mobile outside lid",
                                                        "ATAPI connector"};
    const auto index = static_cast<std::size_t>(location);
    return index < kNames.size() ? kNames[index] : "unknown";
}

std::string genLocationText(EPcxGenLocation location) {
    static constexpr std::array<const char*, 4> kNames{"primary box", "internal", "separate",
                                                       "other"};
    const auto index = static_cast<std::size_t>(location);
    return index < kNames.size() ? kNames[index] : "unknown";
}

std::string portConnectionText(EPxcPortConnection connection) {
    static constexpr std::array<const char*, 4> kNames{"jack", "integrated device",
                                                       "integrated device and jack", "unknown"};
    const auto index = static_cast<std::size_t>(connection);
    return index < kNames.size() ? kNames[index] : "unknown";
}

bool isVersionOrLater(const OsVersion& version, std::uint32_t major, std::uint32_t minor,
                      std::uint32_t servicePackMajor) {
    if (version.major != major) {
        return version.major > major;
    }
    if (version.minor != minor) {
        return version.minor > minor;
    }
    return version.servicePackMajor >= servicePackMajor;
}

}  // namespace audio
