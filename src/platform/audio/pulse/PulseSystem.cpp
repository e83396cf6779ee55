#include "PulseSystem.hpp"

#include <fmt/format.h>

#include "PulseDevices.hpp"
#include "PulseServer.hpp"
#include "PulseStreams.hpp"

namespace audio::pulse {
namespace {

class PulseSystem final : public AudioSystem {
public:
    explicit PulseSystem(std::shared_ptr<PulseServer> server);

    std::string backendName() const override { return "pulse"; }
    std::string description() const override { return description_; }
    std::uint32_t soundCards(kvo::Array<SoundCardPtr>& cards) override;
    AudioDevicePtr defaultEndpoint(EDataFlow flow) override;
    OsVersion osVersion() const override { return OsVersion{}; }

private:
    std::shared_ptr<RawStreamSource> rawStreams() override { return streams_; }

    std::shared_ptr<PulseServer> server_;
    std::shared_ptr<RawStreamSource> streams_;
    std::string description_;
};

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

}  // namespace

std::unique_ptr<AudioSystem> createPulseSystem() {
    return std::make_unique<PulseSystem>(PulseServer::connect("kvormicrophone"));
}

}  // namespace audio::pulse
