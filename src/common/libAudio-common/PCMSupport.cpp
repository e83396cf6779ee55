#include "PCMSupport.hpp"

#include <cmath>
#include <cstring>

#include "platform/audio/SampleCodec.hpp"
#include "platform/kvo/Assert.hpp"
#include "platform/kvo/Logger.hpp"
#include "platform/kvo/SafeFile.hpp"
#include "platform/kvo/TraceLogger.hpp"

namespace libAudio {
namespace {

constexpr double kTwoPi = 6.283185307179586;

kvo::Logger& logger() {
    static kvo::Logger* const instance = &kvo::Logger::get("libAudio.pcmsupport");
    return *instance;
}

// The low 16 bits of the value truncated towards zero. Values beyond 32 bits
// (an amplitude above 2^31) keep their low bits instead of being undefined.
std::int16_t toSample(double value) {
    if (!(std::fabs(value) < 9.2e18)) {
        return 0;
    }
    return static_cast<std::int16_t>(
        static_cast<std::uint16_t>(static_cast<std::uint64_t>(static_cast<std::int64_t>(value))));
}

void putLittleEndian(unsigned char*& out, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        *out++ = static_cast<unsigned char>(value >> (8 * i));
    }
}

void putTag(unsigned char*& out, const char (&tag)[5]) {
    std::memcpy(out, tag, 4);
    out += 4;
}

}  // namespace

bool createPCMBuffer(const audio::WAVEFORMATEX& format, double seconds, StaticPCMBuffer& buffer) {
    kvo::TraceLogger trace(logger(), "libAudio::createPCMBuffer", "PCMSupport");
    if (format.nAvgBytesPerSec == 0 || format.nBlockAlign == 0) {
        KVO_LOG_TAG(logger(), kvo::kLogError, 276, "Invalid wave format");
        return false;
    }
    const double exactBlocks = format.nAvgBytesPerSec * seconds / format.nBlockAlign + 0.5;
    if (!(exactBlocks >= 0.0 && exactBlocks < 4294967296.0)) {
        KVO_LOG(logger(), kvo::kLogError, "Invalid buffer duration {} s", seconds);
        return false;
    }
    const auto blocks = static_cast<std::uint32_t>(exactBlocks);
    // The byte count is 32-bit; a product that wraps shows as a block count mismatch.
    const std::uint32_t bytes = format.nBlockAlign * blocks;
    buffer.pcmStorage.clear();
    buffer.pcmStorage.resize(bytes);
    buffer.format = audio::WAVEFORMATEXTENSIBLE{};
    buffer.format.Format = format;
    buffer.position = 0;
    return blocks == buffer.numBlocks();
}

bool createSinusoid(int channel, unsigned amplitude, double frequency, StaticPCMBuffer& buffer) {
    kvo::TraceLogger trace(logger(), "libAudio::createSinusoid", "PCMSupport");
    const std::uint32_t blocks = buffer.numBlocks();
    if (blocks == 0) {
        KVO_LOG_TAG(logger(), kvo::kLogError, 295, "No pcm storage in the wave buffer");
        return false;
    }
    const audio::WAVEFORMATEX& format = buffer.format.Format;
    const bool mono = format.nChannels == 1;
    if (!mono) {
        KVO_ASSERT(channel >= 0 && channel < format.nChannels);
    }
    // Samples are 16-bit whatever the format says, so frames are channels x 2 bytes
    // apart; with narrower samples the tone stops where the storage ends.
    const std::size_t frameBytes = mono ? 2 : 2 * static_cast<std::size_t>(format.nChannels);
    const std::size_t offset = mono ? 0 : 2 * static_cast<std::size_t>(channel);
    const std::size_t size = buffer.pcmStorage.size();
    const double angularStep = frequency * kTwoPi;
    const double period = 1.0 / format.nSamplesPerSec;
    unsigned char* const storage = buffer.pcmStorage.data();
    for (std::uint32_t i = 0; i < blocks; ++i) {
        const std::size_t at = frameBytes * i + offset;
        if (at + 2 > size) {
            break;
        }
        const double value = std::sin(i * angularStep * period) * amplitude;
        audio::writeSample16(storage + at, audio::kPcm16, toSample(value));
    }
    return true;
}

double mean(const void* samples, unsigned count, int strideBytes) {
    kvo::TraceLogger trace(logger(), "libAudio::mean", "PCMSupport");
    const auto* bytes = static_cast<const unsigned char*>(samples);
    double sum = 0.0;
    for (unsigned i = 0; i < count; ++i) {
        sum += audio::readSample16(bytes + static_cast<std::ptrdiff_t>(i) * strideBytes,
                                   audio::kPcm16);
    }
    const double result = sum / static_cast<double>(count);
    KVO_LOG_TAG(logger(), kvo::kLogDetail, 232, "Signal mean = {}", result);
    return result;
}

double stdDev(const void* samples, unsigned count, unsigned strideBytes) {
    kvo::TraceLogger trace(logger(), "libAudio::stdDev", "PCMSupport");
    const double average = mean(samples, count, static_cast<int>(strideBytes));
    const auto* bytes = static_cast<const unsigned char*>(samples);
    double sum = 0.0;
    for (unsigned i = 0; i < count; ++i) {
        const double deviation =
            audio::readSample16(bytes + static_cast<std::size_t>(i) * strideBytes, audio::kPcm16) -
            average;
        sum += deviation * deviation;
    }
    const double result = std::sqrt(sum / static_cast<double>(count));
    KVO_LOG_TAG(logger(), kvo::kLogDetail, 259, "Signal Std Dev = {}", result);
    return result;
}

bool createPCMWaveFile(const kvo::String& path, const audio::WAVEFORMATEX& format, const void* data,
                       std::uint64_t dataBytes) {
    kvo::TraceLogger trace(logger(), "createPCMWaveFile", "PCMSupport");
    kvo::FileWriter file(path);
    // The fmt size counts cbSize and any extra bytes although neither is written,
    // and the riff size counts 4 bytes more than follow it; files written before
    // must compare equal byte for byte, so both stay.
    const std::uint32_t fmtSize = format.cbSize + 16u;
    const std::uint32_t headerSize = fmtSize + 24u;
    KVO_LOG_TAG(logger(), kvo::kLogInfo, 128, "Header Size {}", headerSize);
    KVO_LOG_TAG(logger(), kvo::kLogInfo, 129, "Data size {}", dataBytes);

    unsigned char header[44];
    unsigned char* out = header;
    putTag(out, "RIFF");
    putLittleEndian(out, static_cast<std::uint32_t>(headerSize + dataBytes), 4);
    putTag(out, "WAVE");
    putTag(out, "fmt ");
    putLittleEndian(out, fmtSize, 4);
    putLittleEndian(out, format.wFormatTag, 2);
    putLittleEndian(out, format.nChannels, 2);
    putLittleEndian(out, format.nSamplesPerSec, 4);
    putLittleEndian(out, format.nAvgBytesPerSec, 4);
    putLittleEndian(out, format.nBlockAlign, 2);
    putLittleEndian(out, format.wBitsPerSample, 2);
    putTag(out, "data");
    putLittleEndian(out, static_cast<std::uint32_t>(dataBytes), 4);

    if (!file.write(header, sizeof header) ||
        (dataBytes > 0 && !file.write(data, static_cast<std::size_t>(dataBytes))) ||
        !file.commit()) {
        KVO_LOG(logger(), kvo::kLogError, "Cannot write {}: {}", path, file.error());
        return false;
    }
    KVO_LOG_TAG(logger(), kvo::kLogInfo, 161, "Raw Wave File written: {}", path);
    return true;
}

}  // namespace libAudio
