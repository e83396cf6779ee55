#pragma once

#include <cstdint>

namespace com {

// COM initialisation of the calling thread: the real thing on Windows; elsewhere
// a per-thread count that answers exactly as Windows does.
using HRESULT = std::int32_t;

inline constexpr HRESULT kOk = 0;                                   // S_OK: first initialisation
inline constexpr HRESULT kFalse = 1;                                // S_FALSE: already initialised
inline constexpr HRESULT kFail = static_cast<HRESULT>(0x80004005);  // E_FAIL
inline constexpr HRESULT kChangedMode = static_cast<HRESULT>(0x80010106);  // RPC_E_CHANGED_MODE

// CoInitialize(NULL): single-threaded apartment.
HRESULT initialize();
// CoInitializeEx(NULL, COINIT_MULTITHREADED).
HRESULT initializeMultithreaded();
// CoUninitialize().
void uninitialize();

}  // namespace com
