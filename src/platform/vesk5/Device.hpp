#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vesk5 {

class DeviceCapability {
public:
    static DeviceCapability Microphone() { return DeviceCapability("Microphone"); }
    static DeviceCapability SoundCard() { return DeviceCapability("SoundCard"); }

    const std::string& name() const { return name_; }
    bool operator==(const DeviceCapability&) const = default;

private:
    explicit DeviceCapability(std::string name) : name_(std::move(name)) {}
    std::string name_;
};

struct DeviceProperty {
    std::string name;
    std::string value;
};

// A device the framework hands to a test function, or lists as an optional device.
class DiagDevice {
public:
    DiagDevice(std::string name, DeviceCapability type, std::vector<DeviceProperty> properties = {})
        : name_(std::move(name)), type_(std::move(type)), properties_(std::move(properties)) {}

    const std::string& name() const { return name_; }
    const DeviceCapability& type() const { return type_; }
    // The property of that name, or null when the device has none.
    const DeviceProperty* property(std::string_view name) const;
    const std::vector<DeviceProperty>& properties() const { return properties_; }

private:
    std::string name_;
    DeviceCapability type_;
    std::vector<DeviceProperty> properties_;
};

}  // namespace vesk5
