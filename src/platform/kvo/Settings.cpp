#include "Settings.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "Exception.hpp"
#include "SafeFile.hpp"

namespace kvo {
namespace {

// A key named in a message: short and printable, else left out, so that a
// message never shows more of a file than the key it complains about.
String quotedKey(std::string_view key) {
    constexpr std::size_t kLongest = 64;
    const bool printable = std::all_of(key.begin(), key.end(),
                                       [](char c) { return c >= 0x20 && c < 0x7F && c != '\''; });
    return printable && key.size() <= kLongest ? fmt::format(" '{}'", key) : String();
}

// "true ; all of them" is "true": a comment inside a value starts after a blank.
std::string_view withoutComment(std::string_view value) {
    for (std::size_t i = 1; i < value.size(); ++i) {
        if ((value[i] == ';' || value[i] == '#') && (value[i - 1] == ' ' || value[i - 1] == '\t')) {
            return value.substr(0, i);
        }
    }
    return value;
}

}  // namespace

String Settings::normalise(std::string_view name) {
    String lower = trim(name);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return lower;
}

Settings Settings::parse(std::string_view text, std::string_view sourceName) {
    Settings settings;
    String section;
    bool inSection = false;
    int lineNumber = 0;
    const auto fail = [&](std::string_view problem) {
        throw Exception(fmt::format("{}:{}: {}", sourceName, lineNumber, problem));
    };
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(kByteOrderMark)) {
        text.remove_prefix(kByteOrderMark.size());
    }
    for (std::size_t pos = 0; pos <= text.size();) {
        const std::size_t end = std::min(text.find('\n', pos), text.size());
        const String line = trim(text.substr(pos, end - pos));
        pos = end + 1;
        ++lineNumber;
        if (line.empty() || line[0] == ';' || line[0] == '#') {
            continue;
        }
        if (line[0] == '[') {
            if (line.back() != ']') {
                fail("section header without a closing ']'");
            }
            section = trim(std::string_view(line).substr(1, line.size() - 2));
            if (section.empty()) {
                fail("empty section name");
            }
            inSection = true;
            continue;
        }
        const std::size_t equals = line.find('=');
        if (equals == String::npos) {
            fail("expected 'key = value' or '[section]'");
        }
        const String key = trim(std::string_view(line).substr(0, equals));
        if (key.empty()) {
            fail("a value without a key");
        }
        if (!inSection) {
            fail(fmt::format("key{} before any [section]", quotedKey(key)));
        }
        settings.set(section, key, withoutComment(std::string_view(line).substr(equals + 1)),
                     fmt::format("{}:{}", sourceName, lineNumber));
    }
    return settings;
}

Settings Settings::load(const String& path) {
    String text;
    String problem;
    if (!readRegularFile(path, kMaxFileBytes, text, problem)) {
        throw Exception(fmt::format("cannot read the settings file {}: {}", path, problem));
    }
    return parse(text, path);
}

std::optional<String> Settings::get(std::string_view section, std::string_view key) const {
    const auto sectionIt = sections_.find(normalise(section));
    if (sectionIt == sections_.end()) {
        return std::nullopt;
    }
    const auto keyIt = sectionIt->second.find(normalise(key));
    if (keyIt == sectionIt->second.end()) {
        return std::nullopt;
    }
    return keyIt->second.value;
}

void Settings::set(std::string_view section, std::string_view key, std::string_view value,
                   std::string_view origin) {
    sections_[normalise(section)][normalise(key)] =
        SettingEntry{trim(section), trim(key), trim(value), String(origin)};
}

void Settings::merge(const Settings& other) {
    for (const auto& [section, values] : other.sections_) {
        for (const auto& [key, value] : values) {
            sections_[section][key] = value;
        }
    }
}

}  // namespace kvo
