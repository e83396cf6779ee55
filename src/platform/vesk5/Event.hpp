#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Value.hpp"

namespace vesk5 {

// A named message the module raises; its text lives in the framework's
// catalogue. The framework owns it; it keeps the last value of each variable.
class Event {
public:
    explicit Event(std::string key) : key_(std::move(key)) {}

    const std::string& key() const { return key_; }
    void setVariable(const std::string& name, const Value& value);
    const std::vector<std::pair<std::string, Value>>& variables() const { return variables_; }

private:
    std::string key_;
    std::vector<std::pair<std::string, Value>> variables_;
};

}  // namespace vesk5
