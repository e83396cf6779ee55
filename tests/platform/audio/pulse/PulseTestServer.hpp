#pragma once

#include <sys/types.h>

#include <string>

#include "support/TempDirectory.hpp"

namespace audio::pulse::test {

// A private PulseAudio daemon started by scripts/pulse-test-server.sh for the
// lifetime of the object; PULSE_SERVER points this process (and the programs
// it starts) at it meanwhile.
class PulseTestServer {
public:
    enum class Microphone { Hearing, Deaf };

    explicit PulseTestServer(Microphone microphone = Microphone::Hearing);
    ~PulseTestServer();
    PulseTestServer(const PulseTestServer&) = delete;
    PulseTestServer& operator=(const PulseTestServer&) = delete;

    bool running() const { return !address_.empty(); }
    const std::string& address() const { return address_; }
    // Runs pactl against this server and returns its output.
    std::string pactl(const std::string& arguments) const;
    // Every sink's and source's name, volume and mute as pactl prints them.
    std::string levels() const;
    // Ends the daemon at once, as a crash would.
    void kill();
    // Stops the daemon (SIGSTOP): it keeps its socket but answers nothing until destroyed.
    void freeze();

private:
    kvo::test::TempDirectory directory_;
    std::string address_;
    pid_t daemon_ = 0;
};

// Runs `command` through the shell and returns its standard output; `status`
// gets the exit status (-1 when it did not end normally).
std::string runCommand(const std::string& command, int* status = nullptr);

}  // namespace audio::pulse::test
