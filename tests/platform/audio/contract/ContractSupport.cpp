#include "ContractSupport.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace audio::contract {

AudioDevicePtr endpointById(AudioSystem& system, const std::string& id) {
    kvo::Array<AudioDevicePtr> all;
    system.endpoints(eAll, DEVICE_STATEMASK_ALL, all);
    for (const AudioDevicePtr& endpoint : all) {
        if (endpoint->id() == id) {
            return endpoint;
        }
    }
    ADD_FAILURE() << "no endpoint " << id;
    return nullptr;
}

libAudio::StaticPCMBuffer makeBuffer(const WAVEFORMATEX& format, std::uint32_t milliseconds) {
    libAudio::StaticPCMBuffer buffer;
    buffer.format.Format = format;
    buffer.pcmStorage.resize(static_cast<std::size_t>(format.nSamplesPerSec) * milliseconds / 1000 *
                             format.nBlockAlign);
    return buffer;
}

libAudio::StaticPCMBuffer makeTone(const WAVEFORMATEX& format, double frequency,
                                   std::uint32_t milliseconds) {
    libAudio::StaticPCMBuffer tone = makeBuffer(format, milliseconds);
    auto* samples = reinterpret_cast<std::int16_t*>(tone.pcmStorage.data());
    const std::size_t frames = tone.pcmStorage.size() / format.nBlockAlign;
    for (std::size_t i = 0; i < frames; ++i) {
        const auto value = static_cast<std::int16_t>(
            16384.0 * std::sin(2.0 * std::numbers::pi * frequency * static_cast<double>(i) /
                               format.nSamplesPerSec));
        for (std::uint16_t c = 0; c < format.nChannels; ++c) {
            samples[i * format.nChannels + c] = value;
        }
    }
    return tone;
}

WAVEFORMATEX sixteenBitFormat(AudioDevice& endpoint) {
    kvo::Array<WAVEFORMATEX> formats;
    endpoint.compatibleFormats(formats, AUDCLNT_SHAREMODE_SHARED);
    for (const WAVEFORMATEX& format : formats) {
        if (format.wFormatTag == WAVE_FORMAT_PCM && format.wBitsPerSample == 16) {
            return format;
        }
    }
    ADD_FAILURE() << endpoint.id() << " offers no 16-bit PCM format";
    return makePcmFormat(2, 48000, 16);
}

double toneLevel(const libAudio::StaticPCMBuffer& buffer, double frequency, int channel) {
    const WAVEFORMATEX& format = buffer.format.Format;
    const auto* samples = reinterpret_cast<const std::int16_t*>(buffer.pcmStorage.data());
    const std::size_t frames = buffer.position / format.nBlockAlign;
    const double coefficient =
        2.0 * std::cos(2.0 * std::numbers::pi * frequency / format.nSamplesPerSec);
    double previous = 0.0;
    double beforePrevious = 0.0;
    for (std::size_t i = frames / 2; i < frames; ++i) {
        const double current =
            samples[i * format.nChannels + static_cast<std::size_t>(channel)] / 32768.0 +
            coefficient * previous - beforePrevious;
        beforePrevious = previous;
        previous = current;
    }
    const double power = previous * previous + beforePrevious * beforePrevious -
                         coefficient * previous * beforePrevious;
    const std::size_t count = frames - frames / 2;
    return count == 0 ? 0.0 : 2.0 * std::sqrt(std::max(power, 0.0)) / static_cast<double>(count);
}

int recordToEnd(AudioCapture& capture, const AudioDevicePtr& microphone,
                libAudio::StaticPCMBuffer& buffer, StopCallback stop) {
    if (!capture.initialize(microphone, &buffer) || !capture.start(std::move(stop))) {
        return -1;
    }
    EXPECT_TRUE(waitWhile([&] { return capture.isStillRecording(); }));
    return capture.threadExitCode();
}

}  // namespace audio::contract
