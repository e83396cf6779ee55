#include "PulseSystem.hpp"

#include <fmt/format.h>

#include "PulseDevices.hpp"
#include "PulseStreams.hpp"
#include "platform/audio/SharedStreams.hpp"

namespace audio::pulse {

PulseSystem::PulseSystem(std::shared_ptr<PulseServer> server)
    : server_(std::move(server)), streams_(makeStreamSource(server_)) {
    const auto info = server_->serverInfo();
    description_ = fmt::format("{} {} at {}", info ? info->name : "PulseAudio",
                               info ? info->version : "", server_->serverString());
}

std::uint32_t PulseSystem::soundCards(kvo::Array<SoundCardPtr>& cards) {
    cards.clear();
    for (SoundCardPtr& card : soundCardsOf(server_)) {
        cards.append(std::move(card));
    }
    return cards.size();
}

AudioDevicePtr PulseSystem::defaultEndpoint(EDataFlow flow) {
    if (flow == eAll) {
        return nullptr;
    }
    const auto info = server_->serverInfo();
    const std::string name =
        info ? (flow == eRender ? info->defaultSink : info->defaultSource) : std::string();
    const auto device = name.empty() ? std::nullopt : server_->device(flow, name);
    // A monitor as the default source is not a microphone: there is no default endpoint then.
    if (!device || device->monitor) {
        return nullptr;
    }
    return makeEndpoint(server_, *device);
}

std::unique_ptr<AudioCaptureEx> PulseSystem::createAudioCaptureEx(_AUDCLNT_SHAREMODE) {
    return makeCaptureEx(streams_, AUDCLNT_SHAREMODE_SHARED);
}

std::unique_ptr<AudioRendererEx> PulseSystem::createAudioRendererEx(_AUDCLNT_SHAREMODE) {
    return makeRendererEx(streams_, AUDCLNT_SHAREMODE_SHARED);
}

std::unique_ptr<WaveIn> PulseSystem::createWaveIn() {
    return makeWaveIn(streams_);
}

std::unique_ptr<WaveOut> PulseSystem::createWaveOut() {
    return makeWaveOut(streams_);
}

std::unique_ptr<PulseSystem> createPulseSystem() {
    return std::make_unique<PulseSystem>(PulseServer::connect("kvormicrophone"));
}

}  // namespace audio::pulse
