#pragma once

#include <map>
#include <optional>
#include <string_view>

#include "String.hpp"

namespace kvo {

// One value with the name it was given under and where it came from.
struct SettingEntry {
    String section;
    String key;
    String value;
    String origin;  // "<file>:<line>", or how else it was given
};

// Settings in INI form: "[section]" lines, "key = value" lines, comments
// starting with ';' or '#' at the start of a line or after a blank inside a
// value, blank lines; a UTF-8 byte order mark at the start is skipped.
// Section and key names compare without regard to letter case; names and
// values are trimmed.
class Settings {
public:
    // Throws kvo::Exception "<source>:<line>: <problem>" for a malformed line. The
    // problem names at most the offending key, never other text of the file.
    static Settings parse(std::string_view text, std::string_view sourceName);
    // A settings file is a few lines; anything larger is refused unread.
    static constexpr std::size_t kMaxFileBytes = 1 << 20;
    // Reads and parses a regular file; throws kvo::Exception when it cannot be read.
    static Settings load(const String& path);

    std::optional<String> get(std::string_view section, std::string_view key) const;
    void set(std::string_view section, std::string_view key, std::string_view value,
             std::string_view origin = {});
    template <typename Visit>
    void forEach(Visit visit) const {
        for (const auto& [section, entries] : sections_) {
            for (const auto& [key, entry] : entries) {
                visit(entry);
            }
        }
    }
    // Adds every value of `other`, replacing values of the same key.
    void merge(const Settings& other);

private:
    static String normalise(std::string_view name);

    std::map<String, std::map<String, SettingEntry>> sections_;
};

}  // namespace kvo
