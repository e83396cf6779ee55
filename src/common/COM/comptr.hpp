#pragma once

#include "platform/com/Com.hpp"

namespace kvormicrophone {

// Initialises COM on the current thread for the lifetime of the object and
// balances it on destruction, also when COM was already initialised (S_FALSE).
// Must be destroyed on the thread that created it.
class COMInitializer {
public:
    COMInitializer();
    ~COMInitializer();
    COMInitializer(const COMInitializer&) = delete;
    COMInitializer& operator=(const COMInitializer&) = delete;

    com::HRESULT result() const { return m_hr; }

private:
    com::HRESULT m_hr;
};

}  // namespace kvormicrophone
