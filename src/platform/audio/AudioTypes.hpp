#pragma once

#include <cstdint>
#include <string>

#include "platform/com/HResult.hpp"

// Value types of the audio device layer. Names and values follow Core Audio so
// that the Windows backend converts by copying; the other backends produce the
// same values from what their audio system reports.

namespace audio {

// ---------------------------------------------------------------------------
// Result codes: HRESULT values, so a Windows failure passes through unchanged.

using HResult = com::HRESULT;
using com::failed;
using com::kFail;
using com::kFalse;
using com::kOk;
using com::succeeded;

inline constexpr HResult kNotImplemented = static_cast<HResult>(0x80004001u);
inline constexpr HResult kNoInterface = static_cast<HResult>(0x80004002u);
inline constexpr HResult kPointer = static_cast<HResult>(0x80004003u);
inline constexpr HResult kInvalidArg = static_cast<HResult>(0x80070057u);
inline constexpr HResult kNotFound = static_cast<HResult>(0x80070490u);
inline constexpr HResult kNotInitialized = static_cast<HResult>(0x88890001u);
inline constexpr HResult kAlreadyInitialized = static_cast<HResult>(0x88890002u);
inline constexpr HResult kWrongEndpointType = static_cast<HResult>(0x88890003u);
inline constexpr HResult kDeviceInvalidated = static_cast<HResult>(0x88890004u);
inline constexpr HResult kUnsupportedFormat = static_cast<HResult>(0x88890008u);
inline constexpr HResult kDeviceInUse = static_cast<HResult>(0x8889000Au);
inline constexpr HResult kNotStopped = static_cast<HResult>(0x88890005u);
inline constexpr HResult kServiceNotRunning = static_cast<HResult>(0x88890010u);
inline constexpr HResult kBufferError = static_cast<HResult>(0x88890018u);

// "0x88890004" and, for the codes above, their Core Audio name.
std::string describeResult(HResult hr);

// ---------------------------------------------------------------------------
// Endpoint state bits. The Windows SDK defines the same names as macros with
// the same values; a Windows backend includes the SDK headers first and its
// code then uses the macros.

#ifndef DEVICE_STATE_ACTIVE
inline constexpr std::uint32_t DEVICE_STATE_ACTIVE = 0x1;
inline constexpr std::uint32_t DEVICE_STATE_DISABLED = 0x2;
inline constexpr std::uint32_t DEVICE_STATE_NOTPRESENT = 0x4;
inline constexpr std::uint32_t DEVICE_STATE_UNPLUGGED = 0x8;
inline constexpr std::uint32_t DEVICE_STATEMASK_ALL = 0xF;
#endif

// "active", "disabled", "not present", "unplugged", or "unknown".
std::string deviceStateText(std::uint32_t state);

// Direction of an endpoint.
enum EDataFlow : int { eRender = 0, eCapture = 1, eAll = 2 };

// "render" / "capture" / "all".
std::string dataFlowText(EDataFlow flow);

// Stream share mode, as IAudioClient knows it.
enum _AUDCLNT_SHAREMODE : int { AUDCLNT_SHAREMODE_SHARED = 0, AUDCLNT_SHAREMODE_EXCLUSIVE = 1 };
using AUDCLNT_SHAREMODE = _AUDCLNT_SHAREMODE;

// PKEY_AudioEndpoint_FormFactor values.
enum EndpointFormFactor : int {
    RemoteNetworkDevice = 0,
    Speakers = 1,
    LineLevel = 2,
    Headphones = 3,
    Microphone = 4,
    Headset = 5,
    Handset = 6,
    UnknownDigitalPassthrough = 7,
    SPDIF = 8,
    DigitalAudioDisplayDevice = 9,
    UnknownFormFactor = 10,
};

std::string formFactorText(EndpointFormFactor formFactor);

// ---------------------------------------------------------------------------
// Jack descriptions (IKsJackDescription).

enum EPcxConnectionType : int {
    eConnTypeUnknown = 0,
    eConnType3Point5mm = 1,
    eConnTypeQuarter = 2,
    eConnTypeAtapiInternal = 3,
    eConnTypeRCA = 4,
    eConnTypeOptical = 5,
    eConnTypeOtherDigital = 6,
    eConnTypeOtherAnalog = 7,
    eConnTypeMultichannelAnalogDIN = 8,
    eConnTypeXlrProfessional = 9,
    eConnTypeRJ11Modem = 10,
    eConnTypeCombination = 11,
};

enum EPcxGeoLocation : int {
    eGeoLocNone = 0,  // not a Windows value: a jack that reports no location
    eGeoLocRear = 1,
    eGeoLocFront = 2,
    eGeoLocLeft = 3,
    eGeoLocRight = 4,
    eGeoLocTop = 5,
    eGeoLocBottom = 6,
    eGeoLocRearPanel = 7,
    eGeoLocRiser = 8,
    eGeoLocInsideMobileLid = 9,
    eGeoLocDrivebay = 10,
    eGeoLocHDMI = 11,
    eGeoLocOutsideMobileLid = 12,
    eGeoLocATAPI = 13,
};

enum EPcxGenLocation : int {
    eGenLocPrimaryBox = 0,
    eGenLocInternal = 1,
    eGenLocSeparate = 2,
    eGenLocOther = 3,
};

enum EPxcPortConnection : int {
    ePortConnJack = 0,
    ePortConnIntegratedDevice = 1,
    ePortConnBothIntegratedAndJack = 2,
    ePortConnUnknown = 3,
};

struct KSJACK_DESCRIPTION {
    std::uint32_t ChannelMapping = 0;  // speaker position bits, e.g. 0x3 = front left + right
    std::uint32_t Color = 0;           // 0x00RRGGBB
    EPcxConnectionType ConnectionType = eConnTypeUnknown;
    EPcxGeoLocation GeoLocation = eGeoLocNone;
    EPcxGenLocation GenLocation = eGenLocPrimaryBox;
    EPxcPortConnection PortConnection = ePortConnJack;
    bool IsConnected = false;

    bool operator==(const KSJACK_DESCRIPTION&) const = default;
};

// Readable names for reports ("3.5 mm", "Mobile inside lid", "Internal", "Integrated device").
std::string connectionTypeText(EPcxConnectionType type);
std::string geoLocationText(EPcxGeoLocation location);
std::string genLocationText(EPcxGenLocation location);
std::string portConnectionText(EPxcPortConnection connection);

// ---------------------------------------------------------------------------
// Property store of an endpoint.

struct DeviceProperty {
    std::string friendlyName;   // PKEY_Device_FriendlyName: "Microphone Array (Realtek Audio)"
    std::string description;    // PKEY_Device_DeviceDesc: "Microphone Array"
    std::string interfaceName;  // PKEY_DeviceInterface_FriendlyName: the adapter, "Realtek Audio"
    EndpointFormFactor formFactor = UnknownFormFactor;  // PKEY_AudioEndpoint_FormFactor
};

// ---------------------------------------------------------------------------
// Operating-system version, compared the way VerifyVersionInfoW compares
// major, minor and service-pack major together.

struct OsVersion {
    std::uint32_t major = 10;
    std::uint32_t minor = 0;
    std::uint32_t servicePackMajor = 0;
};

// True when `version` is major.minor with service pack `servicePackMajor`, or later.
bool isVersionOrLater(const OsVersion& version, std::uint32_t major, std::uint32_t minor,
                      std::uint32_t servicePackMajor = 0);

}  // namespace audio
