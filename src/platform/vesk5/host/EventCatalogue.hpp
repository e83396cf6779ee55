#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/vesk5/Value.hpp"

namespace vesk5::host {

// The English text of an event key, "{name}" placeholders replaced by the
// event's variables. An unknown key yields the key itself, so nothing is lost.
std::string eventText(std::string_view key,
                      const std::vector<std::pair<std::string, Value>>& variables = {});

// Whether the catalogue has a text for the key.
bool hasEventText(std::string_view key);

}  // namespace vesk5::host
