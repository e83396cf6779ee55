#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace vesk5::host {

// JSON text of a document whose strings may hold bytes that are not UTF-8 (a
// folder's or a device's name): those are written as U+FFFD instead of failing.
inline std::string jsonText(const nlohmann::json& document, int indent = -1) {
    return document.dump(indent, ' ', false, nlohmann::json::error_handler_t::replace);
}

// The text with every byte that is not part of valid UTF-8 replaced by U+FFFD,
// for documents (XML) that must be UTF-8 throughout.
inline std::string validUtf8(const std::string& text) {
    return nlohmann::json::parse(jsonText(nlohmann::json(text))).get<std::string>();
}

}  // namespace vesk5::host
