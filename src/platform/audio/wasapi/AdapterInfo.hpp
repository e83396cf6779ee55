#pragma once

#include <string>

// The sound card behind an adapter's device id, as Plug and Play knows it.

namespace audio::wasapi {

struct AdapterInfo {
    std::string name;           // the device's friendly name or description
    std::string driver;         // the driver's file, "rtkvhd64.sys"
    std::string driverVersion;  // its version resource, else the installed driver's version
};

// False when Plug and Play has no device under that id; the fields found are
// filled in either way.
bool describeAdapter(const std::wstring& adapterId, AdapterInfo& info);

// "a.b.c.d" from the version resource of `path`; empty when it has none.
std::string fileVersionOf(const std::wstring& path);

}  // namespace audio::wasapi
