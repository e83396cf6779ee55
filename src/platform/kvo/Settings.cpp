#include "Settings.hpp"

#include <fmt/format.h>

#include <cstdio>
#include <memory>

#include "Exception.hpp"
#include "System.hpp"

namespace kvo {

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
            fail(fmt::format("expected 'key = value' or '[section]', found '{}'", line));
        }
        const String key = trim(std::string_view(line).substr(0, equals));
        if (key.empty()) {
            fail("a value without a key");
        }
        if (!inSection) {
            fail(fmt::format("key '{}' before any [section]", key));
        }
        settings.set(section, key, std::string_view(line).substr(equals + 1));
    }
    return settings;
}

Settings Settings::load(const String& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(System::fopen(path, "rb"),
                                                               &std::fclose);
    if (!file) {
        throw Exception(fmt::format("cannot read the settings file {}", path));
    }
    String text;
    char chunk[4096];
    std::size_t read = 0;
    while ((read = std::fread(chunk, 1, sizeof chunk, file.get())) > 0) {
        text.append(chunk, read);
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
    return keyIt->second;
}

void Settings::set(std::string_view section, std::string_view key, std::string_view value) {
    sections_[normalise(section)][normalise(key)] = trim(value);
}

void Settings::merge(const Settings& other) {
    for (const auto& [section, values] : other.sections_) {
        for (const auto& [key, value] : values) {
            sections_[section][key] = value;
        }
    }
}

}  // namespace kvo
