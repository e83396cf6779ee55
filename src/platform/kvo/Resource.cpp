#include "Resource.hpp"

#include <mutex>

namespace kvo::Resource {
namespace {

std::mutex settingsMutex;

Settings& processSettings() {
    static Settings settings;
    return settings;
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
    processSettings().set(section, key, assignment.substr(equals + 1));
    return true;
}

}  // namespace kvo::Resource
