#include "WasapiSystem.hpp"

#include <fmt/format.h>

#include "ClientStreams.hpp"
#include "Endpoints.hpp"
#include "common/COM/comptr.hpp"
#include "platform/audio/SharedStreams.hpp"

namespace audio::wasapi {
namespace {

using RtlGetVersionFunction = LONG(WINAPI*)(OSVERSIONINFOEXW*);
using WineGetVersionFunction = const char*(CDECL*)();

// An export of ntdll, or null. Cast through void(*)(): FARPROC is a generic
// function pointer, not the export's type.
template <typename Function>
Function ntdllExport(const char* name) {
    const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    const FARPROC address = ntdll != nullptr ? GetProcAddress(ntdll, name) : nullptr;
    return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(address));
}

// The version the kernel reports: GetVersionEx answers what the program's
// manifest declares it was tested on, not what runs.
OsVersion kernelVersion() {
    OsVersion version;
    const auto rtlGetVersion = ntdllExport<RtlGetVersionFunction>("RtlGetVersion");
    OSVERSIONINFOEXW info{};
    info.dwOSVersionInfoSize = sizeof(info);
    if (rtlGetVersion != nullptr && rtlGetVersion(&info) == 0) {
        version.major = info.dwMajorVersion;
        version.minor = info.dwMinorVersion;
        version.servicePackMajor = info.wServicePackMajor;
    }
    return version;
}

std::string describeSystem(const OsVersion& version) {
    const auto wineVersion = ntdllExport<WineGetVersionFunction>("wine_get_version");
    const std::string windows = fmt::format("Windows {}.{}", version.major, version.minor);
    return wineVersion != nullptr
               ? fmt::format("Windows Core Audio under Wine {} ({})", wineVersion(), windows)
               : "Windows Core Audio on " + windows;
}

class WasapiSystem final : public AudioSystem {
public:
    WasapiSystem()
        : context_(Context::create()),
          shared_(makeStreamSource(context_, AUDCLNT_SHAREMODE_SHARED)),
          exclusive_(makeStreamSource(context_, AUDCLNT_SHAREMODE_EXCLUSIVE)),
          version_(kernelVersion()),
          description_(describeSystem(version_)) {}

    std::string backendName() const override { return "wasapi"; }
    std::string description() const override { return description_; }

    std::uint32_t soundCards(kvo::Array<SoundCardPtr>& cards) override {
        cards.clear();
        for (SoundCardPtr& card : soundCardsOf(context_)) {
            cards.append(std::move(card));
        }
        return cards.size();
    }

    AudioDevicePtr defaultEndpoint(EDataFlow flow) override {
        ComPtr<IMMDevice> device;
        if (flow == eAll ||
            FAILED(context_->enumerator().GetDefaultAudioEndpoint(
                flow == eCapture ? ::eCapture : ::eRender, ::eConsole, device.put()))) {
            return nullptr;
        }
        return makeEndpoint(context_, describeEndpoint(*context_, *device.get()));
    }

    std::unique_ptr<AudioCaptureEx> createAudioCaptureEx(_AUDCLNT_SHAREMODE shareMode) override {
        return makeCaptureEx(source(shareMode), shareMode);
    }
    std::unique_ptr<AudioRendererEx> createAudioRendererEx(_AUDCLNT_SHAREMODE shareMode) override {
        return makeRendererEx(source(shareMode), shareMode);
    }
    std::unique_ptr<WaveIn> createWaveIn() override { return makeWaveIn(shared_); }
    std::unique_ptr<WaveOut> createWaveOut() override { return makeWaveOut(shared_); }

    OsVersion osVersion() const override { return version_; }

protected:
    std::shared_ptr<RawStreamSource> rawStreams() override { return shared_; }

private:
    const std::shared_ptr<RawStreamSource>& source(_AUDCLNT_SHAREMODE shareMode) const {
        return shareMode == AUDCLNT_SHAREMODE_EXCLUSIVE ? exclusive_ : shared_;
    }

    // COM for the thread that opens the system, balanced when it closes.
    kvormicrophone::COMInitializer com_;
    std::shared_ptr<Context> context_;
    std::shared_ptr<RawStreamSource> shared_;
    std::shared_ptr<RawStreamSource> exclusive_;
    OsVersion version_;
    std::string description_;
};

}  // namespace

std::unique_ptr<AudioSystem> createWasapiSystem() {
    return std::make_unique<WasapiSystem>();
}

}  // namespace audio::wasapi
