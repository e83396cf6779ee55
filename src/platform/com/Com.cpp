#include "Com.hpp"

#ifdef _WIN32
#include <objbase.h>
#endif

namespace com {

#ifdef _WIN32

HRESULT initialize() {
    return ::CoInitialize(nullptr);
}
HRESULT initializeMultithreaded() {
    return ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
}
void uninitialize() {
    ::CoUninitialize();
}

#else

namespace {

enum class Apartment { None, SingleThreaded, Multithreaded };

struct ThreadState {
    int count = 0;
    Apartment apartment = Apartment::None;
};
thread_local ThreadState state;

HRESULT enter(Apartment apartment) {
    if (state.count > 0 && state.apartment != apartment) {
        return kChangedMode;
    }
    state.apartment = apartment;
    return state.count++ == 0 ? kOk : kFalse;
}

}  // namespace

HRESULT initialize() {
    return enter(Apartment::SingleThreaded);
}
HRESULT initializeMultithreaded() {
    return enter(Apartment::Multithreaded);
}

void uninitialize() {
    if (state.count > 0 && --state.count == 0) {
        state.apartment = Apartment::None;
    }
}

#endif

}  // namespace com
