#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "Value.hpp"

namespace vesk5 {

// A test parameter; the framework owns it. Unset, it reads as 0, false or "".
class Parameter {
public:
    Parameter(std::string name, DataType type, std::string description, bool required,
              bool userSettable);

    const std::string& name() const { return name_; }
    DataType type() const { return type_; }
    const std::string& description() const { return description_; }
    bool required() const { return required_; }
    bool userSettable() const { return userSettable_; }
    bool isSet() const { return set_; }

    const Value& value() const { return value_; }
    // Parses command-line text for the parameter's type; false leaves the value unchanged.
    bool setFromText(std::string_view text);

    // A value that works, shown to the user beside the parameter and its problems.
    const std::string& example() const { return example_; }
    void setExample(std::string example) { example_ = std::move(example); }
    // What the test found wrong with the value it was given, for the user; "" when nothing.
    const std::string& problem() const { return problem_; }
    void setProblem(std::string problem) { problem_ = std::move(problem); }

private:
    std::string name_;
    DataType type_;
    std::string description_;
    bool required_;
    bool userSettable_;
    bool set_ = false;
    Value value_;
    std::string example_;
    std::string problem_;
};

}  // namespace vesk5
