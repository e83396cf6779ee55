#include "EndpointVolume.hpp"

#include <algorithm>
#include <cmath>

namespace audio::wasapi {
namespace {

class EndpointVolume final : public VolumeControllerInterface {
public:
    EndpointVolume(std::shared_ptr<Context> context, ComPtr<IAudioEndpointVolume> volume)
        : context_(std::move(context)), volume_(std::move(volume)) {}

    bool getVolumeLevel(std::uint32_t& percent) override {
        float scalar = 0.0F;
        if (!succeeded("GetMasterVolumeLevelScalar",
                       volume_->GetMasterVolumeLevelScalar(&scalar))) {
            return false;
        }
        percent = static_cast<std::uint32_t>(std::lround(std::clamp(scalar, 0.0F, 1.0F) * 100.0F));
        return true;
    }
    bool setVolumeLevel(std::uint32_t percent) override {
        return percent <= 100 && succeeded("SetMasterVolumeLevelScalar",
                                           volume_->SetMasterVolumeLevelScalar(
                                               static_cast<float>(percent) / 100.0F, nullptr));
    }
    bool getMute(bool& muted) override {
        BOOL value = FALSE;
        if (!succeeded("GetMute", volume_->GetMute(&value))) {
            return false;
        }
        muted = value != FALSE;
        return true;
    }
    bool setMute(bool muted) override {
        return succeeded("SetMute", volume_->SetMute(muted ? TRUE : FALSE, nullptr));
    }
    bool channelCount(std::uint32_t& count) override {
        UINT value = 0;
        if (!succeeded("GetChannelCount", volume_->GetChannelCount(&value))) {
            return false;
        }
        count = value;
        return true;
    }
    // One range for every channel; a channel beyond the count has none, when
    // the count can be read at all.
    bool decibelRange(std::uint32_t channel, float& minDb, float& maxDb, float& stepDb) override {
        UINT count = 0;
        if (SUCCEEDED(volume_->GetChannelCount(&count)) && channel >= count) {
            return false;
        }
        float low = 0.0F;
        float high = 0.0F;
        float step = 0.0F;
        if (!succeeded("GetVolumeRange", volume_->GetVolumeRange(&low, &high, &step))) {
            return false;
        }
        minDb = low;
        maxDb = high;
        stepDb = step;
        return true;
    }
    bool decibelLevel(float& levelDb) override {
        return succeeded("GetMasterVolumeLevel", volume_->GetMasterVolumeLevel(&levelDb));
    }
    bool channelDecibelLevel(std::uint32_t channel, float& levelDb) override {
        return succeeded("GetChannelVolumeLevel",
                         volume_->GetChannelVolumeLevel(channel, &levelDb));
    }
    bool setChannelDecibelLevel(std::uint32_t channel, float levelDb) override {
        return succeeded("SetChannelVolumeLevel",
                         volume_->SetChannelVolumeLevel(channel, levelDb, nullptr));
    }
    bool channelVolumeLevel(std::uint32_t channel, float& scalar) override {
        return succeeded("GetChannelVolumeLevelScalar",
                         volume_->GetChannelVolumeLevelScalar(channel, &scalar));
    }
    bool setChannelVolumeLevel(std::uint32_t channel, float scalar) override {
        return succeeded("SetChannelVolumeLevelScalar",
                         volume_->SetChannelVolumeLevelScalar(channel, scalar, nullptr));
    }

private:
    // A call this system does not implement is said once in the log; the
    // caller gets false like for any other failure.
    bool succeeded(const char* call, HRESULT hr) {
        if (hr == E_NOTIMPL) {
            context_->logOnce(std::string("volume ") + call, kvo::kLogInfo,
                              fmt::format("IAudioEndpointVolume::{} is not implemented here "
                                          "(E_NOTIMPL): that part of the volume is left alone",
                                          call));
        }
        return SUCCEEDED(hr);
    }

    std::shared_ptr<Context> context_;
    ComPtr<IAudioEndpointVolume> volume_;
};

}  // namespace

std::shared_ptr<VolumeControllerInterface> makeEndpointVolume(std::shared_ptr<Context> context,
                                                              ComPtr<IAudioEndpointVolume> volume) {
    return std::make_shared<EndpointVolume>(std::move(context), std::move(volume));
}

}  // namespace audio::wasapi
