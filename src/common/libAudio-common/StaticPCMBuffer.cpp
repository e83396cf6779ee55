#include "StaticPCMBuffer.hpp"

#include <cmath>
#include <cstring>

#include "platform/kvo/Assert.hpp"
#include "platform/kvo/Logger.hpp"
#include "platform/kvo/TraceLogger.hpp"

namespace libAudio {
namespace {

kvo::Logger& logger() {
    static kvo::Logger* const instance = &kvo::Logger::get("kvoraudio");
    return *instance;
}

}  // namespace

std::uint32_t StaticPCMBuffer::numBlocks() const {
    if (format.Format.nBlockAlign == 0) {
        return 0;
    }
    return static_cast<std::uint32_t>(pcmStorage.size() / format.Format.nBlockAlign);
}

double StaticPCMBuffer::duration() const {
    if (format.Format.nBlockAlign == 0 || format.Format.nSamplesPerSec == 0) {
        return 0.0;
    }
    return static_cast<double>(static_cast<std::uint64_t>(pcmStorage.size())) /
           format.Format.nBlockAlign / format.Format.nSamplesPerSec;
}

bool StaticPCMBuffer::getChannelData(int channel, kvo::ByteArray& out) const {
    kvo::TraceLogger trace(logger(), "StaticPCMBuffer::getChannelData", "StaticPCMBuffer");
    if (channel > 1) {
        KVO_LOG_TAG(logger(), kvo::kLogError, 202,
                    "This class is not ready for multi-channel PCM storage yet");
        return false;
    }
    if (format.Format.nChannels != 1) {
        const std::size_t blocks = numBlocks();
        const std::size_t bytesPerSample = format.Format.wBitsPerSample >> 3;
        const std::size_t blockAlign = format.Format.nBlockAlign;
        out.resize(bytesPerSample * blocks);
        if (blocks == 0 || bytesPerSample == 0) {
            return true;
        }
        // A negative channel, or a format whose samples do not fit its block,
        // would read outside the storage.
        KVO_ASSERT(channel >= 0);
        const std::size_t offset = bytesPerSample * static_cast<std::size_t>(channel);
        KVO_ASSERT(offset + bytesPerSample <= blockAlign);
        const unsigned char* source = pcmStorage.data() + offset;
        unsigned char* target = out.data();
        if (bytesPerSample == 2) {
            for (std::size_t i = 0; i < blocks; ++i) {
                std::memcpy(target + 2 * i, source + blockAlign * i, 2);
            }
        } else {
            for (std::size_t i = 0; i < blocks; ++i) {
                std::memcpy(target + bytesPerSample * i, source + blockAlign * i, bytesPerSample);
            }
        }
        return true;
    }
    if (&out != &pcmStorage) {
        out.assign(pcmStorage.data(), pcmStorage.size());
    }
    return true;
}

bool StaticPCMBuffer::truncateFront(double seconds) {
    kvo::TraceLogger trace(logger(), "StaticPCMBuffer::truncateFront", "StaticPCMBuffer");
    const double cut = std::trunc(format.Format.nSamplesPerSec * seconds);
    // A negative cut taken as 32-bit is larger than any block count; so is NaN.
    if (!(cut >= 0.0 && cut < static_cast<double>(numBlocks()))) {
        KVO_LOG_TAG(logger(), kvo::kLogError, 235,
                    "StaticPCMBuffer length is not long enough for the truncation. Check "
                    "numBlocks() and duration() and recalculate the truncation length");
        return false;
    }
    const std::size_t cutBytes =
        static_cast<std::size_t>(format.Format.nBlockAlign) * static_cast<std::size_t>(cut);
    // The source lies inside the storage that is replaced, so copy it out first.
    kvo::ByteArray remaining;
    remaining.assign(pcmStorage.data() + cutBytes, pcmStorage.size() - cutBytes);
    pcmStorage.swap(remaining);
    return true;
}

}  // namespace libAudio
