#include "AdapterInfo.hpp"

#include <fmt/format.h>

#include <vector>

// The SDK after the layer's headers (see WindowsHeaders.hpp).
#include "ComSupport.hpp"

namespace audio::wasapi {
namespace {

// A device information set, destroyed with the object.
class DeviceInfoSet {
public:
    DeviceInfoSet() : set_(SetupDiCreateDeviceInfoList(nullptr, nullptr)) {}
    ~DeviceInfoSet() {
        if (valid()) {
            SetupDiDestroyDeviceInfoList(set_);
        }
    }
    DeviceInfoSet(const DeviceInfoSet&) = delete;
    DeviceInfoSet& operator=(const DeviceInfoSet&) = delete;
    bool valid() const { return set_ != INVALID_HANDLE_VALUE; }
    HDEVINFO get() const { return set_; }

private:
    HDEVINFO set_;
};

std::wstring registryProperty(HDEVINFO set, SP_DEVINFO_DATA& device, DWORD property) {
    DWORD type = 0;
    DWORD bytes = 0;
    SetupDiGetDeviceRegistryPropertyW(set, &device, property, &type, nullptr, 0, &bytes);
    if (bytes == 0 || bytes > 64 * 1024) {
        return {};
    }
    std::vector<wchar_t> value(bytes / sizeof(wchar_t) + 1, L'\0');
    if (!SetupDiGetDeviceRegistryPropertyW(set, &device, property, &type,
                                           reinterpret_cast<BYTE*>(value.data()), bytes, nullptr) ||
        (type != REG_SZ && type != REG_EXPAND_SZ)) {
        return {};
    }
    return value.data();
}

std::wstring stringValue(HKEY key, const wchar_t* subKey, const wchar_t* name) {
    wchar_t value[1024] = {};
    DWORD bytes = sizeof(value) - sizeof(wchar_t);
    if (RegGetValueW(key, subKey, name, RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND,
                     nullptr, value, &bytes) != ERROR_SUCCESS) {
        return {};
    }
    return value;
}

std::wstring fileNameOf(const std::wstring& path) {
    const std::size_t slash = path.find_last_of(L"\\/");
    return slash == std::wstring::npos ? path : path.substr(slash + 1);
}

// Where the service's image lives: "\SystemRoot\System32\drivers\x.sys",
// "System32\drivers\x.sys" or a full path.
std::wstring imagePathOnDisk(const std::wstring& imagePath) {
    wchar_t windows[MAX_PATH] = {};
    if (GetWindowsDirectoryW(windows, MAX_PATH) == 0) {
        return imagePath;
    }
    const std::wstring systemRoot = L"\\SystemRoot\\";
    if (imagePath.rfind(systemRoot, 0) == 0) {
        return std::wstring(windows) + L"\\" + imagePath.substr(systemRoot.size());
    }
    if (imagePath.find(L':') == std::wstring::npos && !imagePath.empty() && imagePath[0] != L'\\') {
        return std::wstring(windows) + L"\\" + imagePath;
    }
    return imagePath;
}

}  // namespace

std::string fileVersionOf(const std::wstring& path) {
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
    if (size == 0 || size > 1024 * 1024) {
        return {};
    }
    std::vector<unsigned char> block(size);
    VS_FIXEDFILEINFO* info = nullptr;
    UINT length = 0;
    if (!GetFileVersionInfoW(path.c_str(), 0, size, block.data()) ||
        !VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &length) ||
        info == nullptr || length < sizeof(VS_FIXEDFILEINFO)) {
        return {};
    }
    return fmt::format("{}.{}.{}.{}", HIWORD(info->dwFileVersionMS), LOWORD(info->dwFileVersionMS),
                       HIWORD(info->dwFileVersionLS), LOWORD(info->dwFileVersionLS));
}

bool describeAdapter(const std::wstring& adapterId, AdapterInfo& info) {
    const DeviceInfoSet set;
    if (!set.valid()) {
        return false;
    }
    SP_DEVICE_INTERFACE_DATA deviceInterface{};
    deviceInterface.cbSize = sizeof(deviceInterface);
    if (!SetupDiOpenDeviceInterfaceW(set.get(), adapterId.c_str(), 0, &deviceInterface)) {
        return false;
    }
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof(device);
    DWORD needed = 0;
    // Asked without room for the path: it fails for that, but names the device.
    SetupDiGetDeviceInterfaceDetailW(set.get(), &deviceInterface, nullptr, 0, &needed, &device);
    if (device.DevInst == 0) {
        return false;
    }
    std::wstring name = registryProperty(set.get(), device, SPDRP_FRIENDLYNAME);
    if (name.empty()) {
        name = registryProperty(set.get(), device, SPDRP_DEVICEDESC);
    }
    info.name = toUtf8(name.c_str());

    const std::wstring service = registryProperty(set.get(), device, SPDRP_SERVICE);
    std::wstring imagePath;
    if (!service.empty()) {
        imagePath =
            stringValue(HKEY_LOCAL_MACHINE,
                        (L"SYSTEM\\CurrentControlSet\\Services\\" + service).c_str(), L"ImagePath");
        if (imagePath.empty()) {
            imagePath = L"System32\\drivers\\" + service + L".sys";
        }
        info.driver = toUtf8(fileNameOf(imagePath).c_str());
        info.driverVersion = fileVersionOf(imagePathOnDisk(imagePath));
    }
    if (info.driverVersion.empty()) {
        // No version resource to read: the version of the installed driver package.
        const HKEY key =
            SetupDiOpenDevRegKey(set.get(), &device, DICS_FLAG_GLOBAL, 0, DIREG_DRV, KEY_READ);
        if (key != INVALID_HANDLE_VALUE) {
            info.driverVersion = toUtf8(stringValue(key, nullptr, L"DriverVersion").c_str());
            RegCloseKey(key);
        }
    }
    return true;
}

}  // namespace audio::wasapi
