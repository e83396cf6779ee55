#include "Event.hpp"

#include <algorithm>

namespace vesk5 {

void Event::setVariable(const std::string& name, const Value& value) {
    const auto it = std::find_if(variables_.begin(), variables_.end(),
                                 [&](const auto& v) { return v.first == name; });
    if (it != variables_.end()) {
        it->second = value;
    } else {
        variables_.emplace_back(name, value);
    }
}

}  // namespace vesk5
