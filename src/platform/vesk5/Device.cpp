#include "Device.hpp"

namespace vesk5 {

const DeviceProperty* DiagDevice::property(std::string_view name) const {
    for (const DeviceProperty& property : properties_) {
        if (property.name == name) {
            return &property;
        }
    }
    return nullptr;
}

}  // namespace vesk5
