#pragma once

#include "HResult.hpp"

namespace com {

// COM initialisation of the calling thread: the real thing on Windows; elsewhere
// a per-thread count that answers exactly as Windows does. initialize answers
// kOk the first time, kFalse when already initialised.
inline constexpr HRESULT kChangedMode = static_cast<HRESULT>(0x80010106);  // RPC_E_CHANGED_MODE

// CoInitialize(NULL): single-threaded apartment.
HRESULT initialize();
// CoInitializeEx(NULL, COINIT_MULTITHREADED).
HRESULT initializeMultithreaded();
// CoUninitialize().
void uninitialize();

}  // namespace com
