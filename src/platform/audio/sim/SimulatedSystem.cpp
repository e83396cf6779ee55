#include "SimulatedSystem.hpp"

#include <fmt/format.h>

#include "SimDevices.hpp"
#include "SimStreams.hpp"
#include "World.hpp"

namespace audio::sim {

SimulatedSystem::SimulatedSystem(Machine machine)
    : world_(std::make_shared<World>(std::move(machine))), streams_(makeStreamSource(world_)) {}

SimulatedSystem::~SimulatedSystem() = default;

const Machine& SimulatedSystem::machine() const {
    return world_->machine();
}

std::string SimulatedSystem::description() const {
    const Machine& machine = world_->machine();
    return fmt::format("simulated PC \"{}\" ({}), seed {}", machine.name,
                       machine.origin == "built-in" ? "built-in" : "machine file " + machine.origin,
                       machine.seed);
}

std::uint32_t SimulatedSystem::soundCards(kvo::Array<SoundCardPtr>& cards) {
    cards.clear();
    for (std::size_t c = 0; c < world_->machine().soundCards.size(); ++c) {
        cards.append(std::make_shared<SimSoundCard>(world_, c));
    }
    return cards.size();
}

AudioDevicePtr SimulatedSystem::defaultEndpoint(EDataFlow flow) {
    const std::optional<std::size_t> endpoint = world_->defaultEndpoint(flow);
    return endpoint ? std::make_shared<SimEndpoint>(world_, *endpoint) : nullptr;
}

bool SimulatedSystem::allowExternalMicTesting() const {
    return world_->machine().allowExternalMicTesting || externalMicTestingAllowedBySettings();
}

OsVersion SimulatedSystem::osVersion() const {
    return world_->machine().windowsVersion;
}

bool SimulatedSystem::stopRequested() {
    return world_->stopRequested();
}

std::optional<std::uint64_t> SimulatedSystem::stopRequestAtMs() const {
    return world_->machine().stopRequestAtMs;
}

std::unique_ptr<SimulatedSystem> createSimulatedSystem(const std::string& machineFile) {
    return std::make_unique<SimulatedSystem>(machineFile.empty() ? defaultMachine()
                                                                 : loadMachineFile(machineFile));
}

}  // namespace audio::sim
