#pragma once

#include <pulse/pulseaudio.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/audio/AudioDevice.hpp"
#include "platform/audio/ObserverRegistry.hpp"
#include "platform/kvo/Exception.hpp"

// The connection to a PulseAudio (or PipeWire) server: a threaded main loop
// and its context, with synchronous queries on top. Every call locks the main
// loop and waits for the server's answer; a call after the connection was
// lost fails at once instead of waiting.

namespace audio::pulse {

class PulseNotifier;

// Holds the threaded main loop's lock for its scope: the one way this backend
// locks it.
class MainloopLock {
public:
    explicit MainloopLock(pa_threaded_mainloop* mainloop) : mainloop_(mainloop) {
        pa_threaded_mainloop_lock(mainloop_);
    }
    ~MainloopLock() { pa_threaded_mainloop_unlock(mainloop_); }
    MainloopLock(const MainloopLock&) = delete;
    MainloopLock& operator=(const MainloopLock&) = delete;

private:
    pa_threaded_mainloop* mainloop_;
};

// Thrown by PulseServer::connect when no server answers.
class ConnectionError : public kvo::Exception {
public:
    using kvo::Exception::Exception;
};

struct PortInfo {
    std::string name;
    std::string description;
    std::uint32_t type = PA_DEVICE_PORT_TYPE_UNKNOWN;
    int available = PA_PORT_AVAILABLE_UNKNOWN;
};

// What the server says about one sink or source.
struct DeviceInfo {
    EDataFlow flow = eRender;
    std::uint32_t index = PA_INVALID_INDEX;
    std::string name;
    std::string description;
    std::string driver;  // "module-null-sink.c"
    std::uint32_t card = PA_INVALID_INDEX;
    std::uint32_t ownerModule = PA_INVALID_INDEX;
    bool monitor = false;
    std::string formFactor;  // device.form_factor
    pa_sample_spec sampleFormat{};
    pa_channel_map channelMap{};
    pa_cvolume volume{};
    pa_volume_t baseVolume = PA_VOLUME_NORM;
    std::uint32_t volumeSteps = PA_VOLUME_NORM + 1;
    bool decibelVolume = false;
    bool muted = false;
    std::vector<PortInfo> ports;
    std::string activePort;  // empty when the device has no ports
};

struct CardInfo {
    std::uint32_t index = PA_INVALID_INDEX;
    std::string name;
    std::string description;
    std::string driver;        // the server module: "module-alsa-card.c"
    std::string kernelDriver;  // alsa.driver_name, empty when not an ALSA card
    std::uint32_t ownerModule = PA_INVALID_INDEX;
};

struct ModuleInfo {
    std::uint32_t index = PA_INVALID_INDEX;
    std::string name;
};

struct ServerInfo {
    std::string name;
    std::string version;
    std::string defaultSink;
    std::string defaultSource;
};

class PulseServer {
public:
    // Connects to the server libpulse finds (PULSE_SERVER, then the user's
    // runtime directory); throws ConnectionError with one line for the user.
    static std::shared_ptr<PulseServer> connect(const std::string& applicationName);
    ~PulseServer();
    PulseServer(const PulseServer&) = delete;
    PulseServer& operator=(const PulseServer&) = delete;

    // False once the server went away; every query then fails.
    bool connected();
    // "unix:/run/user/1000/pulse/native".
    std::string serverString();

    std::optional<ServerInfo> serverInfo();
    // Sinks or sources in the server's order; monitor sources included.
    std::optional<std::vector<DeviceInfo>> devices(EDataFlow flow);
    std::optional<DeviceInfo> device(EDataFlow flow, const std::string& name);
    std::optional<DeviceInfo> device(EDataFlow flow, std::uint32_t index);
    std::optional<std::vector<CardInfo>> cards();
    std::optional<std::vector<ModuleInfo>> modules();

    // Sets a device's volume. The first change of a device in this process keeps
    // what it had (every channel, above 100 % too), for originalVolume().
    bool setVolume(EDataFlow flow, const std::string& name, const pa_cvolume& volume);
    std::optional<pa_cvolume> originalVolume(EDataFlow flow, const std::string& name);
    bool setMute(EDataFlow flow, const std::string& name, bool muted);

    // The main loop's lock and wait, for the stream objects. A stream's
    // callbacks run with the lock held and wake waiters through signal().
    pa_threaded_mainloop* mainloop() { return mainloop_; }
    pa_context* context() { return context_; }
    // Waits for `operation` (unreferenced here) under the lock; false when it
    // did not complete because the connection went away or the server stopped answering.
    bool waitLocked(pa_operation* operation);
    // One wait for a signal of the main loop, under the lock, until `deadline` at the
    // latest (an answerDeadline()). A server that has not answered by then is taken as
    // gone: the connection is closed, so that every later call fails at once, and the
    // user is told once. Returns false then.
    bool waitForAnswer(pa_usec_t deadline);
    static pa_usec_t answerDeadline();

    // How long one request may take before the server counts as stopped.
    static constexpr pa_usec_t kAnswerTimeoutUs = 3 * PA_USEC_PER_SEC;

    // Observers of the cards' endpoints; called on the notification thread,
    // never with the main loop locked.
    const std::shared_ptr<ObserverRegistry>& observers() const;

private:
    PulseServer() = default;

    static void onContextState(pa_context* context, void* self);
    static void onSubscription(pa_context* context, pa_subscription_event_type_t type,
                               std::uint32_t index, void* self);

    pa_threaded_mainloop* mainloop_ = nullptr;
    pa_context* context_ = nullptr;
    bool wasReady_ = false;          // main loop thread only
    bool stoppedAnswering_ = false;  // under the main loop's lock

    std::unique_ptr<PulseNotifier> notifier_;
    std::mutex originalMutex_;
    std::map<std::pair<EDataFlow, std::string>, pa_cvolume> originalVolumes_;
};

}  // namespace audio::pulse
