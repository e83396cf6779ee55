#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kvo {

// Every name, path and message is UTF-8 text in a std::string.
using String = std::string;

// Splits on `delimiter` the way a tokenizer does: runs of delimiters separate
// tokens, and no empty token is ever returned ("" and ",," give none).
std::vector<String> tokenize(std::string_view text, char delimiter);

// Strict base-10 conversion: one or more ASCII digits and nothing else.
// A sign, a blank anywhere, an empty text or a value above 4294967295 fail;
// `value` is only written on success.
bool strToUInt(std::string_view text, std::uint32_t& value);

// Accepts "true"/"false", "yes"/"no", "on"/"off" and "1"/"0" in any letter
// case; anything else fails and leaves `value` untouched. No trimming.
bool strToBoolean(std::string_view text, bool& value);

// Removes blanks, tabs, carriage returns and line feeds at both ends.
String trim(std::string_view text);

bool equalsIgnoreCase(std::string_view a, std::string_view b);

}  // namespace kvo
