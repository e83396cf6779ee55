#include "SignalAnalyzer.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "platform/kvo/Logger.hpp"
#include "platform/kvo/TraceLogger.hpp"

namespace kvormicrophone {
namespace {

kvo::Logger& logger() {
    static kvo::Logger* const instance = &kvo::Logger::get("kvormicrophone.signalAnalyzer");
    return *instance;
}

}  // namespace

bool SignalAnalyzer::copyChannel(const libAudio::StaticPCMBuffer& signal, int channel,
                                 std::uint32_t blocks) {
    if (!signal.getChannelData(channel, channel_)) {
        return false;
    }
    // Samples are read as 16-bit whatever the format says; a channel of
    // narrower samples has fewer bytes than that, and the rest reads as zero.
    const std::size_t available =
        std::min(channel_.size(), static_cast<std::size_t>(blocks) * sizeof(std::int16_t));
    if (available > 0) {
        std::memcpy(samples_.data(), channel_.data(), available);
    }
    if (available < samples_.size() * sizeof(std::int16_t)) {
        std::memset(reinterpret_cast<unsigned char*>(samples_.data()) + available, 0,
                    samples_.size() * sizeof(std::int16_t) - available);
    }
    return true;
}

bool SignalAnalyzer::signalProperty(const libAudio::StaticPCMBuffer& signal,
                                    kvo::Array<SignalProperty>& properties) {
    kvo::TraceLogger trace(logger(), "SignalAnalyzer::signalProperty", "SignalAnalyzer");
    // Less than 100 ns of audio counts as none.
    if (std::trunc(signal.duration() * 10000000.0) == 0.0) {
        KVO_LOG_TAG(logger(), kvo::kLogError, 194, "Input signal has no data");
        return false;
    }
    const audio::WAVEFORMATEX& format = signal.format.Format;
    if (format.nChannels != 1 && format.nChannels != 2) {
        KVO_LOG_TAG(logger(), kvo::kLogError, 201,
                    "signalProperty is currently limited up to stereo only. Sorry I am still "
                    "working on expanding the analysis coverage.");
        return false;
    }
    const std::uint32_t blocks = signal.numBlocks();
    // 16-bit samples go straight to the transform's input; a long recording has no room for
    // a second copy of its channel.
    const bool plain16 = format.wBitsPerSample == 16 && format.nBlockAlign == 2 * format.nChannels;
    for (int channel = 0; channel < format.nChannels; ++channel) {
        samples_.resize(blocks);
        if (plain16) {
            const unsigned char* source = signal.pcmStorage.data() + 2 * channel;
            for (std::uint32_t i = 0; i < blocks; ++i, source += format.nBlockAlign) {
                std::memcpy(&samples_[i], source, sizeof(std::int16_t));
            }
        } else if (!copyChannel(signal, channel, blocks)) {
            KVO_LOG_TAG(logger(), kvo::kLogError, 212,
                        "Failed to retrieve channel data from channel {}", channel);
            return false;
        }
        if (!fft_.Transform(samples_.data(), blocks, format.nSamplesPerSec)) {
            KVO_LOG_TAG(logger(), kvo::kLogError, 219, "FFT transform has failed.");
            return false;
        }
        properties.append({fft_.dominantFrequency(), fft_.size() / fft_.sampleRate(), 0.0});
        if (observer_ != nullptr) {
            observer_->channelAnalysed(static_cast<std::uint32_t>(channel), samples_.data(), blocks,
                                       fft_, properties[properties.size() - 1]);
        }
    }
    return true;
}

}  // namespace kvormicrophone
