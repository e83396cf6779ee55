#pragma once

#include <pulse/pulseaudio.h>

#include <optional>
#include <string>
#include <vector>

#include "PulseServer.hpp"

// The server's replies to the queries, as the structs of PulseServer.hpp:
// the callbacks handed to libpulse, run on the main loop thread.

namespace audio::pulse {

// A C string of the server's, empty for null.
std::string text(const char* value);

// Collects the entries of one list query; a negative eol is the server's "no such entity".
template <typename T>
struct Collected {
    std::vector<T> items;
    bool failed = false;

    template <typename Info, typename Convert>
    void take(const Info* info, int eol, Convert convert) {
        if (eol < 0) {
            failed = true;
        } else if (eol == 0 && info != nullptr) {
            items.push_back(convert(*info));
        }
    }
};

template <typename T>
std::optional<std::vector<T>> collected(bool done, Collected<T>& result) {
    if (!done || result.failed) {
        return std::nullopt;
    }
    return std::move(result.items);
}

// `data` is a Collected<DeviceInfo>.
void onSinkInfo(pa_context*, const pa_sink_info* info, int eol, void* data);
void onSourceInfo(pa_context*, const pa_source_info* info, int eol, void* data);
// `data` is a Collected<CardInfo> / Collected<ModuleInfo>.
void onCardInfo(pa_context*, const pa_card_info* info, int eol, void* data);
void onModuleInfo(pa_context*, const pa_module_info* info, int eol, void* data);
// `data` is a std::optional<ServerInfo>.
void onServerInfo(pa_context*, const pa_server_info* info, void* data);
// `data` is an int set to the server's success flag.
void onSuccess(pa_context*, int success, void* data);

}  // namespace audio::pulse
