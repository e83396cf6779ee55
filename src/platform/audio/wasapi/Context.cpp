#include "Context.hpp"

#include <atomic>

#include "Endpoints.hpp"
#include "platform/audio/AudioTypes.hpp"
#include "platform/kvo/Exception.hpp"

namespace audio::wasapi {

// Windows' view of endpoint changes, queued for the notifier's thread.
class NotificationClient final : public IMMNotificationClient {
public:
    explicit NotificationClient(Notifier& notifier) : notifier_(notifier) {}

    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --references_;
        if (left == 0) {
            delete this;
        }
        return left;
    }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (object == nullptr) {
            return E_POINTER;
        }
        if (iid == __uuidof(IUnknown) || iid == __uuidof(IMMNotificationClient)) {
            AddRef();
            *object = static_cast<IMMNotificationClient*>(this);
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }

    HRESULT STDMETHODCALLTYPE OnDeviceStateChanged(LPCWSTR id, DWORD state) override {
        return post(EndpointChange::StateChanged, id, state);
    }
    HRESULT STDMETHODCALLTYPE OnDeviceAdded(LPCWSTR id) override {
        return post(EndpointChange::Added, id);
    }
    HRESULT STDMETHODCALLTYPE OnDeviceRemoved(LPCWSTR id) override {
        return post(EndpointChange::Removed, id);
    }
    // A new default is no change of the endpoints themselves.
    HRESULT STDMETHODCALLTYPE OnDefaultDeviceChanged(::EDataFlow, ERole, LPCWSTR) override {
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OnPropertyValueChanged(LPCWSTR id, const PROPERTYKEY) override {
        return post(EndpointChange::PropertyChanged, id);
    }

private:
    HRESULT post(EndpointChange change, LPCWSTR id, DWORD state = 0) {
        if (id != nullptr) {
            notifier_.post({change, toUtf8(id), state});
        }
        return S_OK;
    }

    Notifier& notifier_;
    std::atomic<ULONG> references_{1};
};

kvo::Logger& Context::logger() {
    static kvo::Logger& instance = kvo::Logger::get("audio.wasapi");
    return instance;
}

std::shared_ptr<Context> Context::create() {
    std::shared_ptr<Context> context(new Context);
    const HRESULT hr =
        CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL,
                         __uuidof(IMMDeviceEnumerator), context->enumerator_.putVoid());
    if (FAILED(hr)) {
        throw kvo::Exception(fmt::format(
            "the Windows audio endpoints cannot be enumerated ({}); use --audio sim to run on a "
            "simulated PC",
            describeResult(hr)));
    }
    Context* self = context.get();
    context->notifier_ = std::make_unique<Notifier>(
        [self](const std::string& id, EndpointPlace& place) { return self->placeOf(id, place); });
    context->client_ = ComPtr<NotificationClient>(new NotificationClient(*context->notifier_));
    if (const HRESULT registered =
            context->enumerator_->RegisterEndpointNotificationCallback(context->client_.get());
        FAILED(registered)) {
        KVO_LOG(logger(), kvo::kLogError,
                "IMMDeviceEnumerator::RegisterEndpointNotificationCallback failed ({}): endpoint "
                "changes will not be reported",
                describeResult(registered));
        context->client_.reset();
    }
    return context;
}

Context::~Context() {
    if (client_) {
        enumerator_->UnregisterEndpointNotificationCallback(client_.get());
    }
    // The notifier's thread ends before the client it serves goes.
    notifier_.reset();
}

ComPtr<IMMDevice> Context::device(const std::wstring& id, HRESULT* hr) const {
    ComPtr<IMMDevice> found;
    const HRESULT result = enumerator_->GetDevice(id.c_str(), found.put());
    if (hr != nullptr) {
        *hr = result;
    }
    return SUCCEEDED(result) ? found : ComPtr<IMMDevice>();
}

void Context::rememberPlace(const std::string& endpointId, const EndpointPlace& place) {
    const std::lock_guard lock(mutex_);
    places_[endpointId] = place;
}

bool Context::placeOf(const std::string& endpointId, EndpointPlace& place) {
    {
        const std::lock_guard lock(mutex_);
        const auto found = places_.find(endpointId);
        if (found != places_.end()) {
            place = found->second;
            return true;
        }
    }
    // An endpoint not enumerated yet, such as one just added.
    const ComPtr<IMMDevice> device = this->device(toWide(endpointId));
    if (!device) {
        return false;
    }
    place = describeEndpoint(*this, *device.get()).place;
    return true;
}

void Context::logOnce(const std::string& key, int priority, const std::string& text) {
    {
        const std::lock_guard lock(mutex_);
        if (!logged_.insert(key).second) {
            return;
        }
    }
    KVO_LOG(logger(), priority, "{}", text);
}

}  // namespace audio::wasapi
