#pragma once

#include <cstdint>

#include "platform/kvo/Array.hpp"
#include "platform/kvo/String.hpp"

namespace kvormicrophone {

// A microphone as the tests address it: its display name and its position in
// the engine's microphone endpoint list.
struct Device {
    kvo::String name;
    std::uint32_t index = 0;

    bool operator==(const Device&) const = default;
};

using DeviceList = kvo::Array<Device>;

}  // namespace kvormicrophone
