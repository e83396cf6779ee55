#pragma once

#include <cstdint>

// The one HRESULT type of the platform layer: COM's result code, used as such
// by the COM service and, as audio::HResult, by the audio layer, so a Windows
// failure passes through unchanged.

namespace com {

using HRESULT = std::int32_t;

inline constexpr HRESULT kOk = 0;                                   // S_OK
inline constexpr HRESULT kFalse = 1;                                // S_FALSE
inline constexpr HRESULT kFail = static_cast<HRESULT>(0x80004005);  // E_FAIL

constexpr bool succeeded(HRESULT hr) {
    return hr >= 0;
}
constexpr bool failed(HRESULT hr) {
    return hr < 0;
}

}  // namespace com
