#include "Value.hpp"

namespace vesk5 {

std::string_view DataType::name() const {
    switch (id_) {
        case 0:
            return "UINT32";
        case 1:
            return "BOOLEAN";
        default:
            return "STRING";
    }
}

DataType Value::type() const {
    if (std::holds_alternative<std::uint32_t>(value_)) {
        return DataType::UINT32();
    }
    return std::holds_alternative<bool>(value_) ? DataType::BOOLEAN() : DataType::STRING();
}

std::uint32_t Value::valueUint32() const {
    const auto* value = std::get_if<std::uint32_t>(&value_);
    return value != nullptr ? *value : 0;
}

bool Value::valueBool() const {
    const auto* value = std::get_if<bool>(&value_);
    return value != nullptr && *value;
}

std::string Value::valueString() const {
    const auto* value = std::get_if<std::string>(&value_);
    return value != nullptr ? *value : std::string();
}

std::string Value::toString() const {
    if (const auto* number = std::get_if<std::uint32_t>(&value_)) {
        return std::to_string(*number);
    }
    if (const auto* flag = std::get_if<bool>(&value_)) {
        return *flag ? "true" : "false";
    }
    return std::get<std::string>(value_);
}

}  // namespace vesk5
