#pragma once

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

}  // namespace kvo::Resource
