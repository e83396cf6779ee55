#include "Parameter.hpp"

#include "platform/kvo/String.hpp"

namespace vesk5 {
namespace {
Value neutralValue(DataType type) {
    if (type == DataType::UINT32()) {
        return Value(std::uint32_t{0});
    }
    if (type == DataType::BOOLEAN()) {
        return Value(false);
    }
    return Value(std::string());
}
}  // namespace

Parameter::Parameter(std::string name, DataType type, std::string description, bool required,
                     bool userSettable)
    : name_(std::move(name)),
      type_(type),
      description_(std::move(description)),
      required_(required),
      userSettable_(userSettable),
      value_(neutralValue(type)) {}

bool Parameter::setFromText(std::string_view text) {
    if (type_ == DataType::UINT32()) {
        std::uint32_t number = 0;
        if (!kvo::strToUInt(text, number)) {
            return false;
        }
        value_ = Value(number);
    } else if (type_ == DataType::BOOLEAN()) {
        bool flag = false;
        if (!kvo::strToBoolean(text, flag)) {
            return false;
        }
        value_ = Value(flag);
    } else {
        value_ = Value(std::string(text));
    }
    set_ = true;
    return true;
}

}  // namespace vesk5
