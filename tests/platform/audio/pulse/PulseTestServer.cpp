#include "PulseTestServer.hpp"

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>

namespace audio::pulse::test {
namespace {

std::string trimmed(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) {
        text.pop_back();
    }
    return text;
}

bool isAlive(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string pidField;
    std::string name;
    std::string state;
    return stat >> pidField >> name >> state && state != "Z";
}

}  // namespace

std::string runCommand(const std::string& command, int* status) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        if (status != nullptr) {
            *status = -1;
        }
        return output;
    }
    char chunk[4096];
    std::size_t read = 0;
    while ((read = std::fread(chunk, 1, sizeof chunk, pipe)) > 0) {
        output.append(chunk, read);
    }
    const int raw = pclose(pipe);
    if (status != nullptr) {
        *status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    }
    return output;
}

PulseTestServer::PulseTestServer(Microphone microphone) {
    const std::string server = directory_.path() + "/server";
    int status = 0;
    const std::string address =
        trimmed(runCommand(std::string(KVO_PULSE_SERVER_SCRIPT) + " start " + server +
                               (microphone == Microphone::Deaf ? " deaf" : ""),
                           &status));
    if (status != 0 || address.empty()) {
        return;
    }
    address_ = address;
    setenv("PULSE_SERVER", address_.c_str(), 1);
    std::ifstream pidFile(server + "/run/pulse/pid");
    pidFile >> daemon_;
}

PulseTestServer::~PulseTestServer() {
    if (daemon_ > 0) {
        ::kill(daemon_, SIGCONT);  // a frozen daemon could not be stopped
    }
    if (running()) {
        runCommand(std::string(KVO_PULSE_SERVER_SCRIPT) + " stop " + directory_.path() + "/server");
        unsetenv("PULSE_SERVER");
    }
}

std::string PulseTestServer::pactl(const std::string& arguments) const {
    return trimmed(runCommand("PULSE_SERVER=" + address_ + " pactl " + arguments + " 2>&1"));
}

std::string PulseTestServer::levels() const {
    std::string result;
    for (const char* kind : {"sinks", "sources"}) {
        const std::string listing = pactl(std::string("list ") + kind);
        static const std::regex line(R"(\n\s*(Name|Mute|Volume): ([^\n]*))");
        for (auto it = std::sregex_iterator(listing.begin(), listing.end(), line);
             it != std::sregex_iterator(); ++it) {
            result += (*it)[1].str() + ": " + (*it)[2].str() + "\n";
        }
    }
    return result;
}

void PulseTestServer::kill() {
    if (daemon_ > 0) {
        ::kill(daemon_, SIGKILL);
        // Not our child (the daemon detached): wait until it is gone or a zombie.
        for (int tries = 0; tries < 500 && isAlive(daemon_); ++tries) {
            usleep(10000);
        }
    }
}

void PulseTestServer::freeze() {
    if (daemon_ > 0) {
        ::kill(daemon_, SIGSTOP);
    }
}

}  // namespace audio::pulse::test
