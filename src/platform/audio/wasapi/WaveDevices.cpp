#include "WaveDevices.hpp"

#include <vector>

// The SDK after the layer's headers (see WindowsHeaders.hpp).
#include "WindowsHeaders.hpp"

namespace audio::wasapi {
namespace {

// From the driver development kit's mmddk.h.
constexpr UINT kQueryInstanceIdSize = DRV_RESERVED + 18;  // DRV_QUERYFUNCTIONINSTANCEIDSIZE
constexpr UINT kQueryInstanceId = DRV_RESERVED + 17;      // DRV_QUERYFUNCTIONINSTANCEID

template <typename Handle, typename Message>
std::wstring instanceIdOf(UINT number, Message message) {
    const auto handle = reinterpret_cast<Handle>(static_cast<UINT_PTR>(number));
    ULONG bytes = 0;
    if (message(handle, kQueryInstanceIdSize, reinterpret_cast<DWORD_PTR>(&bytes), 0) !=
            MMSYSERR_NOERROR ||
        bytes == 0 || bytes > 64 * 1024) {
        return {};
    }
    std::vector<wchar_t> id(bytes / sizeof(wchar_t) + 1, L'\0');
    if (message(handle, kQueryInstanceId, reinterpret_cast<DWORD_PTR>(id.data()), bytes) !=
        MMSYSERR_NOERROR) {
        return {};
    }
    return id.data();
}

}  // namespace

bool waveDeviceNumberOf(EDataFlow flow, const std::wstring& endpointId, std::uint32_t& number) {
    const UINT count = flow == eCapture ? waveInGetNumDevs() : waveOutGetNumDevs();
    for (UINT index = 0; index < count; ++index) {
        const std::wstring id =
            flow == eCapture
                ? instanceIdOf<HWAVEIN>(index,
                                        [](HWAVEIN h, UINT m, DWORD_PTR a, DWORD_PTR b) {
                                            return waveInMessage(h, m, a, b);
                                        })
                : instanceIdOf<HWAVEOUT>(index, [](HWAVEOUT h, UINT m, DWORD_PTR a, DWORD_PTR b) {
                      return waveOutMessage(h, m, a, b);
                  });
        if (id == endpointId) {
            number = index;
            return true;
        }
    }
    return false;
}

}  // namespace audio::wasapi
