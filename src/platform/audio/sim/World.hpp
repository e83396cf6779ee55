#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Acoustics.hpp"
#include "Machine.hpp"
#include "platform/audio/AudioDevice.hpp"
#include "platform/audio/ObserverRegistry.hpp"
#include "platform/audio/WaveFormat.hpp"
#include "platform/kvo/ManagedThread.hpp"

// The running simulated PC: endpoint states over time, the volume and gain
// settings, faults spent by use, what each speaker is playing, and the
// observers to tell about state changes; the sound itself is Acoustics'. Every object of the sim
// backend shares one World; its one mutex is never held while sleeping or
// while calling an observer.

namespace audio::sim {

class World {
public:
    explicit World(Machine machine);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    const Machine& machine() const { return machine_; }
    // Microseconds of the process clock since the machine was created.
    std::int64_t nowUs() const;

    std::optional<std::size_t> findEndpoint(const std::string& id) const;
    std::size_t cardOf(std::size_t endpoint) const { return cardOfEndpoint_[endpoint]; }
    std::uint32_t stateAt(std::size_t endpoint, std::int64_t us) const;
    std::uint32_t state(std::size_t endpoint) const { return stateAt(endpoint, nowUs()); }
    bool isActive(std::size_t endpoint) const { return state(endpoint) == DEVICE_STATE_ACTIVE; }
    // The flagged default if it is active, else the first active endpoint of that direction.
    std::optional<std::size_t> defaultEndpoint(EDataFlow flow) const;
    // Wave device numbers count the active endpoints of a direction in machine order.
    std::optional<std::uint32_t> waveDeviceId(std::size_t endpoint) const;
    std::optional<std::size_t> endpointOfWaveDevice(EDataFlow flow, std::uint32_t deviceId) const;
    std::vector<KSJACK_DESCRIPTION> jacks(std::size_t endpoint) const;
    bool stopRequested() const;

    // Volume controls; false for a channel out of range.
    std::uint32_t volumePercent(std::size_t endpoint);
    void setVolumeScalar(std::size_t endpoint, double scalar);
    bool channelScalar(std::size_t endpoint, std::uint32_t channel, double& scalar);
    bool setChannelScalar(std::size_t endpoint, std::uint32_t channel, double scalar);
    double masterDb(std::size_t endpoint);
    bool muted(std::size_t endpoint);
    void setMuted(std::size_t endpoint, bool muted);
    bool stageLevel(std::size_t endpoint, std::size_t stage, std::uint32_t channel, double& db);
    bool setStageLevel(std::size_t endpoint, std::size_t stage, std::uint32_t channel, double db);

    // Faults spent by use: kOk, or why this start is refused.
    HResult beginCapture(std::size_t endpoint);
    HResult beginPlayback(std::size_t endpoint);
    // Audio ms after which this capture is interrupted, if it is to be.
    std::optional<std::uint32_t> takeInterruption(std::size_t endpoint);

    std::shared_ptr<RenderSession> startRender(std::size_t endpoint, const WAVEFORMATEX& format,
                                               const unsigned char* data, std::size_t bytes,
                                               std::uint32_t repetitions);
    // Ends the session at `atUs` unless it ended earlier.
    void endRender(const std::shared_ptr<RenderSession>& session, std::int64_t atUs);

    std::unique_ptr<CaptureSignal> newCaptureSignal(std::size_t endpoint,
                                                    const WAVEFORMATEX& format);
    // Writes frames [firstFrame, endFrame) of a capture that began at
    // startUs into `out`, in the capture's format.
    void capture(CaptureSignal& signal, std::int64_t startUs, std::int64_t firstFrame,
                 std::int64_t endFrame, unsigned char* out);

    // The observers of the machine's cards, told of scheduled state changes.
    const std::shared_ptr<ObserverRegistry>& observers() const { return observers_; }

private:
    struct Controls {
        std::vector<double> channelScalars;
        bool muted = false;
        std::vector<std::vector<double>> stageLevels;  // [stage][channel]
        std::uint32_t startFailuresLeft = 0;
        std::uint32_t playFailuresLeft = 0;
        std::uint32_t interruptions = 0;
        std::uint64_t captures = 0;
    };
    struct StateEvent {
        std::int64_t us;
        std::size_t endpoint;
        std::uint32_t state;
    };

    double channelDbLocked(std::size_t endpoint, std::uint32_t channel) const;
    double stagesDbLocked(std::size_t endpoint, std::uint32_t channel) const;
    void startNotifier();
    int notify();

    const Machine machine_;
    const std::int64_t originUs_;
    std::vector<std::size_t> cardOfEndpoint_;
    std::vector<StateEvent> events_;  // time order

    std::mutex mutex_;
    std::vector<Controls> controls_;
    std::vector<std::shared_ptr<RenderSession>> sessions_;
    std::shared_ptr<ObserverRegistry> observers_;
    std::atomic<bool> stopping_{false};
    std::unique_ptr<kvo::ManagedThread> notifier_;
};

}  // namespace audio::sim
