#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "AudioStreams.hpp"
#include "common/libAudio-common/StaticPCMBuffer.hpp"

// WaveIn and WaveOut for backends whose wave devices are the streams of their
// endpoints. A backend supplies its context (what its streams are made from),
// its capture and render streams, and how a wave device number is found.

namespace audio {

// Block alignment and byte rate agree with channels, bits and rate.
inline bool isConsistentFormat(const WAVEFORMATEX& format) {
    return format.nChannels > 0 && format.wBitsPerSample > 0 && format.wBitsPerSample % 8 == 0 &&
           format.nBlockAlign == format.nChannels * format.wBitsPerSample / 8 &&
           format.nAvgBytesPerSec == format.nBlockAlign * format.nSamplesPerSec;
}

// What the wave mapper accepts: PCM of 8 or 16 bits, mono or stereo, 8 to 96 kHz.
inline bool isWaveFormat(const WAVEFORMATEX& format) {
    return format.wFormatTag == WAVE_FORMAT_PCM && isConsistentFormat(format) &&
           (format.wBitsPerSample == 8 || format.wBitsPerSample == 16) && format.nChannels <= 2 &&
           format.nSamplesPerSec >= 8000 && format.nSamplesPerSec <= 96000;
}

// Locate(context, flow, deviceId) -> std::optional<Device>; WAVE_MAPPER_ID is the default device.
template <typename Context, typename Device, typename Stream,
          std::optional<Device> (*Locate)(Context&, EDataFlow, std::uint32_t)>
class StreamWaveIn final : public WaveIn {
public:
    explicit StreamWaveIn(std::shared_ptr<Context> context)
        : context_(context), stream_(std::move(context)) {}

    bool open(std::uint32_t deviceId, libAudio::StaticPCMBuffer* buffer) override {
        close();
        const std::optional<Device> device = Locate(*context_, eCapture, deviceId);
        if (!device) {
            return fail(kNotFound);
        }
        if (buffer == nullptr) {
            return fail(kPointer);
        }
        if (!isWaveFormat(buffer->format.Format)) {
            return fail(kUnsupportedFormat);
        }
        if (buffer->pcmStorage.size() < buffer->format.Format.nBlockAlign) {
            return fail(kInvalidArg);
        }
        device_ = *device;
        buffer_ = buffer;
        error_ = 0;
        return true;
    }
    bool start() override {
        if (buffer_ == nullptr) {
            return fail(kNotInitialized);
        }
        if (const HResult hr = stream_.start(device_, buffer_, {}, 0); failed(hr)) {
            return fail(hr);
        }
        error_ = 0;
        return true;
    }
    bool stillRecording() override { return stream_.running(); }
    bool stop() override {
        stream_.stop();
        return buffer_ != nullptr;
    }
    void close() override {
        stream_.stop();
        buffer_ = nullptr;
    }
    int errorCode() override { return error_ != 0 ? error_ : stream_.exitCode(); }

private:
    bool fail(HResult hr) {
        error_ = hr;
        return false;
    }

    std::shared_ptr<Context> context_;
    Stream stream_;
    Device device_{};
    libAudio::StaticPCMBuffer* buffer_ = nullptr;
    int error_ = 0;
};

template <typename Context, typename Device, typename Stream,
          std::optional<Device> (*Locate)(Context&, EDataFlow, std::uint32_t)>
class StreamWaveOut final : public WaveOut {
public:
    explicit StreamWaveOut(std::shared_ptr<Context> context)
        : context_(context), stream_(std::move(context)) {}

    bool open(std::uint32_t deviceId, const libAudio::StaticPCMBuffer& track) override {
        close();
        const std::optional<Device> device = Locate(*context_, eRender, deviceId);
        if (!device) {
            return fail(kNotFound);
        }
        if (!isWaveFormat(track.format.Format)) {
            return fail(kUnsupportedFormat);
        }
        if (track.pcmStorage.size() < track.format.Format.nBlockAlign) {
            return fail(kInvalidArg);
        }
        device_ = *device;
        format_ = track.format.Format;
        samples_.assign(track.pcmStorage.data(), track.pcmStorage.data() + track.pcmStorage.size());
        opened_ = true;
        error_ = 0;
        return true;
    }
    bool start(std::uint32_t loops) override {
        if (!opened_) {
            return fail(kNotInitialized);
        }
        if (loops == 0) {
            return fail(kInvalidArg);
        }
        if (const HResult hr =
                stream_.start(device_, format_, samples_.data(), samples_.size(), loops, {});
            failed(hr)) {
            return fail(hr);
        }
        error_ = 0;
        return true;
    }
    bool stillPlaying() override { return stream_.running(); }
    bool stop() override {
        stream_.stop();
        return opened_;
    }
    void close() override {
        stream_.stop();
        opened_ = false;
    }
    int errorCode() override { return error_ != 0 ? error_ : stream_.exitCode(); }

private:
    bool fail(HResult hr) {
        error_ = hr;
        return false;
    }

    std::shared_ptr<Context> context_;
    Stream stream_;
    Device device_{};
    WAVEFORMATEX format_;
    std::vector<unsigned char> samples_;
    bool opened_ = false;
    int error_ = 0;
};

}  // namespace audio
