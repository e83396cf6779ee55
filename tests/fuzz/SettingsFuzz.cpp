// libFuzzer entry for the settings reader: any input either parses or is
// refused with "<source>:<line>: <problem>", and a refusal never repeats the
// file's text beyond a short printable key (the file may be anyone's).

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "platform/kvo/Exception.hpp"
#include "platform/kvo/Settings.hpp"

namespace {

void require(bool condition, const char* what, const std::string& message) {
    if (!condition) {
        std::fprintf(stderr, "Settings invariant broken: %s: %s\n", what, message.c_str());
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        const kvo::Settings settings = kvo::Settings::parse(text, "fuzz.ini");
        static_cast<void>(settings.get("kvormicrophone", "GenerateRecording.value"));
    } catch (const kvo::Exception& error) {
        const std::string& message = error.getMessage();
        require(message.rfind("fuzz.ini:", 0) == 0, "a refusal names the source", message);
        // The longest problem text is the key-before-section one with a 64-character key.
        require(message.size() <= 120, "a refusal quotes at most a short key", message);
        for (const char c : message) {
            require(c >= 0x20 && c < 0x7F, "a refusal is printable", message);
        }
    }
    return 0;
}
