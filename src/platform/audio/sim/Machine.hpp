#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/audio/AudioTypes.hpp"
#include "platform/audio/WaveFormat.hpp"
#include "platform/kvo/Exception.hpp"

// A simulated PC as its machine file describes it (docs/machine-file.md).
// Loading validates everything, so the rest of the simulation trusts it.

namespace audio::sim {

// A machine file that cannot be used; the message names the file and the
// path of the bad field, e.g. "endpoints[2].volume.minDb: expected a number".
class MachineFileError : public kvo::Exception {
public:
    using kvo::Exception::Exception;
};

struct VolumeConfig {
    double minDb = -65.25;
    double maxDb = 0.0;
    double stepDb = 0.75;
    std::uint32_t channels = 2;
    std::uint32_t percent = 50;
    bool muted = false;
    bool decibelInfo = true;  // false: the control answers no dB range
};

// A gain stage of the adapter's topology behind an endpoint.
struct GainStageConfig {
    std::string name;
    std::uint32_t channels = 2;
    double minDb = 0.0;
    double maxDb = 0.0;
    double stepDb = 1.0;
    double levelDb = 0.0;
};

struct StateChange {
    std::uint64_t atMs = 0;
    std::uint32_t state = DEVICE_STATE_ACTIVE;
};

struct HumConfig {
    double hz = 0.0;
    double dbfs = -200.0;  // RMS
};

struct FaultConfig {
    // Capture endpoints.
    bool dead = false;          // delivers digital silence
    bool disconnected = false;  // no sound reaches it, its noise remains; jacks report unconnected
    double weakDb = 0.0;        // the acoustic pickup is this much weaker
    std::optional<HumConfig> hum;
    std::uint32_t startFailures = 0;  // the first N capture starts are refused
    std::optional<std::uint32_t> interruptAfterMs;
    std::uint32_t interruptCount = 0;  // captures interrupted; 0 = every one
    // Render endpoints.
    bool silent = false;             // plays, but nothing comes out
    std::uint32_t playFailures = 0;  // the first N starts of playback are refused
    // Both.
    std::vector<StateChange> stateChanges;  // sorted by time
};

struct EndpointConfig {
    std::string id;
    std::string card;
    EDataFlow flow = eCapture;
    std::string name;          // device description
    std::string friendlyName;  // defaults to "<name> (<card name>)"
    EndpointFormFactor formFactor = UnknownFormFactor;
    std::uint32_t state = DEVICE_STATE_ACTIVE;
    bool isDefault = false;
    std::vector<WAVEFORMATEX> sharedFormats;
    std::vector<WAVEFORMATEX> exclusiveFormats;
    VolumeConfig volume;
    std::vector<KSJACK_DESCRIPTION> jacks;
    std::vector<GainStageConfig> stages;
    double noiseDbfs = -90.0;    // capture: RMS noise of the element, at 0 dB gain
    double sensitivityDb = 0.0;  // capture: gain of the acoustic pickup
    FaultConfig faults;
};

struct SoundCardConfig {
    std::string id;
    std::string name;
    std::string driver;
    std::string driverVersion;
};

// The acoustic path from one render endpoint to one capture endpoint.
struct PathConfig {
    std::string speaker;
    std::string microphone;
    double gainDb = -20.0;
    double delayMs = 0.0;
    double highPassHz = 0.0;  // 0 = none
    double lowPassHz = 0.0;   // 0 = none
};

struct Machine {
    std::string name;
    std::string origin;  // the file's path, or "built-in"
    std::uint64_t seed = 1;
    OsVersion windowsVersion;
    bool allowExternalMicTesting = false;
    std::optional<std::uint64_t> stopRequestAtMs;
    std::vector<SoundCardConfig> soundCards;
    std::vector<EndpointConfig> endpoints;
    std::vector<PathConfig> paths;
};

// Parses and validates machine JSON; throws MachineFileError whose message
// begins with `origin`.
Machine parseMachine(std::string_view json, const std::string& origin);
// A machine file describes a few devices; anything larger is refused unread.
inline constexpr std::size_t kMaxMachineFileBytes = 4u << 20;
// Reads and parses a regular file of at most that size; throws MachineFileError.
Machine loadMachineFile(const std::string& path);

// The built-in typical laptop, as machine JSON.
std::string_view defaultMachineJson();
Machine defaultMachine();

}  // namespace audio::sim
