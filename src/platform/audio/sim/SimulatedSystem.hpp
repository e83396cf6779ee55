#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Machine.hpp"
#include "platform/audio/AudioSystem.hpp"
#include "platform/audio/RawStream.hpp"

namespace audio::sim {

class World;

// The "sim" backend: a PC described by a machine file. Its time starts when
// it is created and runs on the process clock, so install the clock (a
// kvo::VirtualClock, say) before creating it. Its objects stay usable after
// the system itself is destroyed.
class SimulatedSystem final : public AudioSystem {
public:
    explicit SimulatedSystem(Machine machine);
    ~SimulatedSystem() override;

    const Machine& machine() const;

    std::string backendName() const override { return "sim"; }
    std::string description() const override;
    std::uint32_t soundCards(kvo::Array<SoundCardPtr>& cards) override;
    AudioDevicePtr defaultEndpoint(EDataFlow flow) override;
    bool allowExternalMicTesting() const override;
    OsVersion osVersion() const override;
    // True from the machine's stopRequestAtMs on.
    bool stopRequested();
    std::optional<std::uint64_t> stopRequestAtMs() const;

private:
    std::shared_ptr<RawStreamSource> rawStreams() override { return streams_; }

    std::shared_ptr<World> world_;
    std::shared_ptr<RawStreamSource> streams_;
};

// The host's entry: the machine in `machineFile`, or the built-in typical
// laptop when it is empty. Throws MachineFileError for a file that cannot be
// read or is not a valid machine.
std::unique_ptr<SimulatedSystem> createSimulatedSystem(const std::string& machineFile);

}  // namespace audio::sim
