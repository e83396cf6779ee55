#pragma once

#include <vector>

#include "Settings.hpp"
#include "String.hpp"

namespace kvo::Resource {

// Looks a setting up in the process settings: the settings file the host
// loaded, with command-line overrides on top. `value` is written only when found.
bool getSetting(const String& section, const String& key, String& value);

// Replaces the process settings (the host does this once at start-up).
void setSettings(Settings settings);

// Applies one "SECTION.KEY=VALUE" override; the section ends at the first '.'.
// Returns false, changing nothing, when the text has no section, key or '='.
bool applyOverride(std::string_view assignment);

// What a setting that some part of the program reads holds.
enum class SettingKind { Boolean, Text };
// Makes a setting known, so that checkSettings() can check its value and
// tell a misspelt name from it.
void declareSetting(std::string_view section, std::string_view key, SettingKind kind);

struct SettingsProblems {
    std::vector<String> errors;    // a known setting with a value it cannot take
    std::vector<String> warnings;  // a setting nothing reads, with the nearest known one
};
// Checks the process settings against the declared ones.
SettingsProblems checkSettings();

}  // namespace kvo::Resource
