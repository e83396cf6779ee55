#include "SimStreams.hpp"

#include <algorithm>
#include <optional>
#include <utility>

#include "SimDevices.hpp"

namespace audio::sim {
namespace {

// Finds the sim device of an endpoint or a wave device number.
class SimStreamSource final : public RawStreamSource {
public:
    explicit SimStreamSource(std::shared_ptr<World> world) : world_(std::move(world)) {}

    std::string name() const override { return "sim"; }
    std::shared_ptr<RawDevice> device(const AudioDevice& endpoint) override;
    std::shared_ptr<RawDevice> waveDevice(EDataFlow flow, std::uint32_t deviceId) override;

private:
    std::shared_ptr<World> world_;
};

class SimCapture final : public RawCapture {
public:
    SimCapture(std::shared_ptr<World> world, std::size_t endpoint, const WAVEFORMATEX& format)
        : world_(std::move(world)),
          endpoint_(endpoint),
          signal_(world_->newCaptureSignal(endpoint, format)),
          startUs_(world_->nowUs()) {
        if (const auto ms = world_->takeInterruption(endpoint)) {
            interruptFrame_ = static_cast<std::int64_t>(*ms) * format.nSamplesPerSec / 1000;
        }
    }

    HResult read(std::span<unsigned char> free, std::size_t& written) override {
        const WAVEFORMATEX& format = signal_->format;
        const std::int64_t now = world_->nowUs();
        if (!world_->isActive(endpoint_)) {
            return kDeviceInvalidated;
        }
        const std::int64_t totalFrames =
            frames_ + static_cast<std::int64_t>(free.size() / format.nBlockAlign);
        std::int64_t due =
            std::min(totalFrames, (now - startUs_) * format.nSamplesPerSec / 1000000);
        const bool interrupted = interruptFrame_ && due >= *interruptFrame_;
        if (interrupted) {
            due = std::min(due, *interruptFrame_);
        }
        if (due > frames_) {
            world_->capture(*signal_, startUs_, frames_, due, free.data());
            written = static_cast<std::size_t>(due - frames_) * format.nBlockAlign;
            frames_ = due;
        }
        return interrupted ? kBufferError : kOk;
    }

private:
    std::shared_ptr<World> world_;
    std::size_t endpoint_;
    std::shared_ptr<CaptureSignal> signal_;
    std::optional<std::int64_t> interruptFrame_;
    std::int64_t startUs_;
    std::int64_t frames_ = 0;
};

// The samples are in the World from the start; the stream ends the session
// where the playback stopped.
class SimRender final : public RawRender {
public:
    SimRender(std::shared_ptr<World> world, std::size_t endpoint,
              std::shared_ptr<RenderSession> session)
        : world_(std::move(world)), endpoint_(endpoint), session_(std::move(session)) {}

    HResult render() override {
        if (world_->nowUs() >= session_->endUs) {
            return kFalse;
        }
        return world_->isActive(endpoint_) ? kOk : kDeviceInvalidated;
    }
    void end() override { world_->endRender(session_, world_->nowUs()); }

private:
    std::shared_ptr<World> world_;
    std::size_t endpoint_;
    std::shared_ptr<RenderSession> session_;
};

class SimDevice final : public RawDevice {
public:
    SimDevice(std::shared_ptr<World> world, std::size_t endpoint)
        : world_(std::move(world)), endpoint_(endpoint) {}

    HResult openCapture(const WAVEFORMATEX& format, std::unique_ptr<RawCapture>& stream) override {
        if (const HResult hr = world_->beginCapture(endpoint_); failed(hr)) {
            return hr;
        }
        stream = std::make_unique<SimCapture>(world_, endpoint_, format);
        return kOk;
    }
    HResult openRender(const WAVEFORMATEX& format, std::span<const unsigned char> samples,
                       std::uint32_t repetitions, std::unique_ptr<RawRender>& stream) override {
        if (const HResult hr = world_->beginPlayback(endpoint_); failed(hr)) {
            return hr;
        }
        stream = std::make_unique<SimRender>(
            world_, endpoint_,
            world_->startRender(endpoint_, format, samples.data(), samples.size(), repetitions));
        return kOk;
    }

private:
    std::shared_ptr<World> world_;
    std::size_t endpoint_;
};

std::shared_ptr<RawDevice> SimStreamSource::device(const AudioDevice& endpoint) {
    const auto* sim = dynamic_cast<const SimEndpoint*>(&endpoint);
    return sim != nullptr && sim->world() == world_
               ? std::make_shared<SimDevice>(world_, sim->index())
               : nullptr;
}

std::shared_ptr<RawDevice> SimStreamSource::waveDevice(EDataFlow flow, std::uint32_t deviceId) {
    const std::optional<std::size_t> endpoint = deviceId == WAVE_MAPPER_ID
                                                    ? world_->defaultEndpoint(flow)
                                                    : world_->endpointOfWaveDevice(flow, deviceId);
    return endpoint ? std::make_shared<SimDevice>(world_, *endpoint) : nullptr;
}

}  // namespace

std::shared_ptr<RawStreamSource> makeStreamSource(std::shared_ptr<World> world) {
    return std::make_shared<SimStreamSource>(std::move(world));
}

}  // namespace audio::sim
