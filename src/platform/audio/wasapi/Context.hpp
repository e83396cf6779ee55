#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "Notifier.hpp"
#include "platform/kvo/Logger.hpp"
// The SDK after the layer's headers (see WindowsHeaders.hpp).
#include "ComSupport.hpp"

namespace audio::wasapi {

class NotificationClient;

// What every object of the backend shares: the device enumerator, the
// delivery of endpoint changes, and what was already said in the log.
// Core Audio's objects are free-threaded, so one enumerator serves every thread.
class Context {
public:
    // Throws kvo::Exception when the Windows audio service cannot be reached.
    static std::shared_ptr<Context> create();
    ~Context();
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    IMMDeviceEnumerator& enumerator() const { return *enumerator_.get(); }
    // The endpoint with that id, or null with the reason in `hr`.
    ComPtr<IMMDevice> device(const std::wstring& id, HRESULT* hr = nullptr) const;

    Notifier& notifier() { return *notifier_; }
    // Remembered at every enumeration, so that a change of an endpoint that
    // is gone still reaches its card's observers.
    void rememberPlace(const std::string& endpointId, const EndpointPlace& place);
    bool placeOf(const std::string& endpointId, EndpointPlace& place);

    static kvo::Logger& logger();
    // Logs `text` the first time `key` is seen in this process.
    void logOnce(const std::string& key, int priority, const std::string& text);

private:
    Context() = default;

    ComPtr<IMMDeviceEnumerator> enumerator_;
    std::unique_ptr<Notifier> notifier_;
    ComPtr<NotificationClient> client_;
    std::mutex mutex_;
    std::map<std::string, EndpointPlace> places_;
    std::set<std::string> logged_;
};

}  // namespace audio::wasapi
