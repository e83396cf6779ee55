#include "Test.hpp"

#include <algorithm>

namespace vesk5 {

Test* Test::setEnumeratesOnlyOnce(bool value) {
    enumeratesOnlyOnce_ = value;
    return this;
}

Test* Test::setInteractive(bool value) {
    interactive_ = value;
    return this;
}

Test* Test::setCreatesOwnGUI(bool value) {
    createsOwnGUI_ = value;
    return this;
}

Test* Test::addDevicePropertyRequirement(const std::string& name, const std::string& value) {
    requirements_.push_back({name, value});
    return this;
}

Test* Test::addOptionalDeviceCapabilities(const DeviceCapability& capability) {
    optionalCapabilities_.push_back(capability);
    return this;
}

void Test::addParameter(Parameter* parameter) {
    if (parameter != nullptr) {
        parameters_.push_back(parameter);
    }
}

Parameter* Test::findParameter(const std::string& name) const {
    const auto it = std::find_if(parameters_.begin(), parameters_.end(),
                                 [&](Parameter* p) { return p->name() == name; });
    return it != parameters_.end() ? *it : nullptr;
}

bool Test::accepts(const DiagDevice& device) const {
    return device.type() == capability_ &&
           std::all_of(requirements_.begin(), requirements_.end(), [&](const auto& r) {
               const DeviceProperty* property = device.property(r.name);
               return property != nullptr && property->value == r.value;
           });
}

}  // namespace vesk5
