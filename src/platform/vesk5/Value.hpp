#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace vesk5 {

class DataType {
public:
    static constexpr DataType UINT32() { return DataType(0); }
    static constexpr DataType BOOLEAN() { return DataType(1); }
    static constexpr DataType STRING() { return DataType(2); }

    std::string_view name() const;
    constexpr bool operator==(const DataType&) const = default;

private:
    constexpr explicit DataType(int id) : id_(id) {}
    int id_;
};

// A typed value of a parameter or an event variable.
class Value {
public:
    Value() : value_(std::string()) {}
    Value(std::uint32_t value) : value_(value) {}
    Value(bool value) : value_(value) {}
    Value(std::string value) : value_(std::move(value)) {}
    Value(const char* value) : value_(std::string(value)) {}

    DataType type() const;
    // Each reader answers the neutral value (0, false, "") for a value of another type.
    std::uint32_t valueUint32() const;
    bool valueBool() const;
    std::string valueString() const;
    // The value as text: decimal, "true"/"false", or the string itself.
    std::string toString() const;

    bool operator==(const Value&) const = default;

private:
    std::variant<std::uint32_t, bool, std::string> value_;
};

}  // namespace vesk5
