#include "Resource.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <mutex>

namespace kvo::Resource {
namespace {

std::mutex settingsMutex;

Settings& processSettings() {
    static Settings settings;
    return settings;
}

struct DeclaredSetting {
    String name;  // "section.key" as the program spells it
    SettingKind kind;
};

std::map<String, DeclaredSetting>& declaredSettings() {
    static std::map<String, DeclaredSetting> declared;
    return declared;
}

String lowerCase(std::string_view text) {
    String lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

// A name or value of the user's, quoted; control characters and the like are
// shown as '?' so that a message never carries them to the terminal.
String printableName(std::string_view text) {
    constexpr std::size_t kLongest = 80;
    String shown;
    for (const char c : text.substr(0, kLongest)) {
        shown += (c >= 0x20 && c < 0x7F) ? c : '?';
    }
    return "'" + shown + (text.size() > kLongest ? "...'" : "'");
}

std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t above = row[j];
            row[j] =
                std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
            diagonal = above;
        }
    }
    return row[b.size()];
}

String nearestKnown(const String& name, const std::map<String, DeclaredSetting>& declared) {
    const DeclaredSetting* nearest = nullptr;
    std::size_t best = 0;
    for (const auto& [lower, setting] : declared) {
        const std::size_t distance = editDistance(name, lower);
        if (nearest == nullptr || distance < best) {
            nearest = &setting;
            best = distance;
        }
    }
    return nearest != nullptr ? fmt::format(" (did you mean {}?)", nearest->name) : String();
}

}  // namespace

bool getSetting(const String& section, const String& key, String& value) {
    std::lock_guard lock(settingsMutex);
    const std::optional<String> found = processSettings().get(section, key);
    if (found) {
        value = *found;
    }
    return found.has_value();
}

void setSettings(Settings settings) {
    std::lock_guard lock(settingsMutex);
    processSettings() = std::move(settings);
}

bool applyOverride(std::string_view assignment) {
    const std::size_t dot = assignment.find('.');
    const std::size_t equals = assignment.find('=');
    if (dot == std::string_view::npos || equals == std::string_view::npos || dot == 0 ||
        equals < dot + 2) {
        return false;
    }
    const std::string_view section = assignment.substr(0, dot);
    const std::string_view key = assignment.substr(dot + 1, equals - dot - 1);
    if (trim(section).empty() || trim(key).empty()) {
        return false;
    }
    std::lock_guard lock(settingsMutex);
    processSettings().set(section, key, assignment.substr(equals + 1),
                          fmt::format("--setting {}", assignment.substr(0, equals)));
    return true;
}

void declareSetting(std::string_view section, std::string_view key, SettingKind kind) {
    std::lock_guard lock(settingsMutex);
    declaredSettings().emplace(lowerCase(fmt::format("{}.{}", section, key)),
                               DeclaredSetting{fmt::format("{}.{}", section, key), kind});
}

SettingsProblems checkSettings() {
    std::lock_guard lock(settingsMutex);
    SettingsProblems problems;
    const auto& declared = declaredSettings();
    processSettings().forEach([&](const SettingEntry& entry) {
        const String name = fmt::format("{}.{}", entry.section, entry.key);
        const auto known = declared.find(lowerCase(name));
        if (known == declared.end()) {
            problems.warnings.push_back(fmt::format("{}: no setting {} is known{}", entry.origin,
                                                    printableName(name),
                                                    nearestKnown(lowerCase(name), declared)));
            return;
        }
        bool ignored = false;
        if (known->second.kind == SettingKind::Boolean && !strToBoolean(entry.value, ignored)) {
            problems.errors.push_back(
                fmt::format("{}: {} takes true or false (or yes/no, on/off, 1/0), not {}",
                            entry.origin, known->second.name, printableName(entry.value)));
        }
    });
    return problems;
}

}  // namespace kvo::Resource
