#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Device.hpp"
#include "Parameter.hpp"
#include "TestResult.hpp"

namespace vesk5 {

using TestFunction = TestResult (*)(const DiagDevice& device);

// A registered test. The setters return the same Test* so that calls chain.
class Test {
public:
    Test(std::string name, DeviceCapability capability, TestFunction function)
        : name_(std::move(name)), capability_(std::move(capability)), function_(function) {}

    Test* setEnumeratesOnlyOnce(bool value);
    Test* setInteractive(bool value);
    Test* setCreatesOwnGUI(bool value);
    Test* addDevicePropertyRequirement(const std::string& name, const std::string& value);
    Test* addOptionalDeviceCapabilities(const DeviceCapability& capability);
    void addParameter(Parameter* parameter);

    const std::string& name() const { return name_; }
    const DeviceCapability& capability() const { return capability_; }
    TestFunction function() const { return function_; }
    bool enumeratesOnlyOnce() const { return enumeratesOnlyOnce_; }
    bool interactive() const { return interactive_; }
    bool createsOwnGUI() const { return createsOwnGUI_; }
    const std::vector<DeviceProperty>& devicePropertyRequirements() const { return requirements_; }
    const std::vector<DeviceCapability>& optionalDeviceCapabilities() const {
        return optionalCapabilities_;
    }
    const std::vector<Parameter*>& parameters() const { return parameters_; }
    Parameter* findParameter(const std::string& name) const;
    // Whether the device has this test's capability and every required property value.
    bool accepts(const DiagDevice& device) const;

private:
    std::string name_;
    DeviceCapability capability_;
    TestFunction function_;
    bool enumeratesOnlyOnce_ = false;
    bool interactive_ = false;
    bool createsOwnGUI_ = false;
    std::vector<DeviceProperty> requirements_;
    std::vector<DeviceCapability> optionalCapabilities_;
    std::vector<Parameter*> parameters_;
};

}  // namespace vesk5
