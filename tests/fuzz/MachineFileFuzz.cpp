// libFuzzer entry for the machine-file loader: any input either becomes a
// machine or is refused with a MachineFileError naming the input; nothing else
// may escape, and the address sanitizer sees that nothing is read out of bounds.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "platform/audio/sim/Machine.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        const audio::sim::Machine machine = audio::sim::parseMachine(text, "fuzz.json");
        static_cast<void>(machine);
    } catch (const audio::sim::MachineFileError& error) {
        if (std::string_view(error.getMessage()).substr(0, 10) != "fuzz.json:") {
            std::fprintf(stderr, "a refusal that does not name the file: %s\n",
                         error.getMessage().c_str());
            std::abort();
        }
    }
    return 0;
}
