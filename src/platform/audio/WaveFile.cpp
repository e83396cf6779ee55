#include "WaveFile.hpp"

#include <fmt/format.h>

#include <cstring>

#include "platform/audio/SampleCodec.hpp"
#include "platform/kvo/SafeFile.hpp"

namespace audio {
namespace {

// The KSDATAFORMAT_SUBTYPE GUIDs of extensible formats share all but their
// first two bytes, which hold the plain format tag.
constexpr unsigned char kSubFormatTail[14] = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                              0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

std::uint16_t u16(const unsigned char* p) {
    return static_cast<std::uint16_t>(p[0] | p[1] << 8);
}

std::uint32_t u32(const unsigned char* p) {
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
           static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

// Chunk ids in messages, with anything unprintable shown as '?'.
kvo::String chunkName(const unsigned char* id) {
    kvo::String name(4, '?');
    for (int i = 0; i < 4; ++i) {
        if (id[i] >= 0x20 && id[i] < 0x7F) {
            name[i] = static_cast<char>(id[i]);
        }
    }
    return name;
}

}  // namespace

std::uint32_t WaveFile::numBlocks() const {
    return format_.nChannels == 0 ? 0
                                  : static_cast<std::uint32_t>(samples_.size() / format_.nChannels);
}

bool WaveFile::fail(kvo::String message) {
    loaded_ = false;
    error_ = std::move(message);
    format_ = {};
    fileFormat_ = {};
    samples_.clear();
    samples_.shrink_to_fit();
    return false;
}

bool WaveFile::loadFile(const kvo::String& path) {
    kvo::String bytes;
    kvo::String problem;
    if (!kvo::readRegularFile(path, kMaxFileBytes, bytes, problem)) {
        return fail(fmt::format("cannot read '{}': {}", path, problem));
    }
    if (!loadMemory(bytes.data(), bytes.size())) {
        error_ = fmt::format("'{}': {}", path, error_);
        return false;
    }
    return true;
}

bool WaveFile::loadMemory(const void* input, std::size_t size) {
    const auto* const bytes = static_cast<const unsigned char*>(input);
    if (size < 12) {
        return fail(fmt::format("{} bytes are too short for a RIFF/WAVE header", size));
    }
    if (std::memcmp(bytes, "RIFF", 4) != 0) {
        return fail(fmt::format("not a RIFF file (starts with '{}')", chunkName(bytes)));
    }
    if (std::memcmp(bytes + 8, "WAVE", 4) != 0) {
        return fail(fmt::format("RIFF form is '{}', not 'WAVE'", chunkName(bytes + 8)));
    }
    // Writers often get the RIFF size wrong (this system's writer puts it 4 too
    // large, streaming writers leave 0 or all ones), so chunks are read up to
    // the end of the input instead.
    const std::size_t end = size;

    const unsigned char* fmtChunk = nullptr;
    std::uint32_t fmtSize = 0;
    const unsigned char* dataChunk = nullptr;
    std::uint32_t dataSize = 0;
    std::size_t offset = 12;
    while (fmtChunk == nullptr || dataChunk == nullptr) {
        if (offset >= end) {
            return fail(fmtChunk == nullptr ? "no fmt chunk" : "no data chunk");
        }
        if (end - offset < 8) {
            return fail(fmt::format("file ends inside a chunk header at offset {}", offset));
        }
        const unsigned char* const header = bytes + offset;
        const std::uint32_t chunkSize = u32(header + 4);
        const std::size_t left = end - offset - 8;
        if (chunkSize > left) {
            return fail(fmt::format("'{}' chunk at offset {} declares {} bytes, but only {} follow",
                                    chunkName(header), offset, chunkSize, left));
        }
        if (std::memcmp(header, "fmt ", 4) == 0 && fmtChunk == nullptr) {
            fmtChunk = header + 8;
            fmtSize = chunkSize;
        } else if (std::memcmp(header, "data", 4) == 0 && dataChunk == nullptr) {
            dataChunk = header + 8;
            dataSize = chunkSize;
        }
        // Odd-sized chunks are followed by a pad byte, which the last chunk may lack.
        offset += 8 + std::size_t{chunkSize} + (chunkSize & 1u);
    }

    if (fmtSize < 16) {
        return fail(fmt::format("fmt chunk of {} bytes is shorter than 16", fmtSize));
    }
    WAVEFORMATEX file;
    file.wFormatTag = u16(fmtChunk);
    file.nChannels = u16(fmtChunk + 2);
    file.nSamplesPerSec = u32(fmtChunk + 4);
    file.nAvgBytesPerSec = u32(fmtChunk + 8);
    file.nBlockAlign = u16(fmtChunk + 12);
    file.wBitsPerSample = u16(fmtChunk + 14);
    file.cbSize = fmtSize >= 18 ? u16(fmtChunk + 16) : 0;

    std::uint16_t tag = file.wFormatTag;
    if (tag == WAVE_FORMAT_EXTENSIBLE) {
        if (fmtSize < 40 || file.cbSize < 22) {
            return fail(fmt::format(
                "extensible fmt chunk of {} bytes (cbSize {}) lacks the 22 extension bytes",
                fmtSize, file.cbSize));
        }
        const unsigned char* const subFormat = fmtChunk + 24;
        if (std::memcmp(subFormat + 2, kSubFormatTail, sizeof kSubFormatTail) != 0) {
            return fail("extensible format with an unknown sub-format GUID");
        }
        tag = u16(subFormat);
    }
    if (file.nChannels == 0) {
        return fail("zero channels");
    }
    if (file.nChannels > kMaxChannels) {
        return fail(fmt::format("{} channels, more than {}", file.nChannels, kMaxChannels));
    }
    if (file.nSamplesPerSec == 0) {
        return fail("sample rate of 0 Hz");
    }
    if (file.nSamplesPerSec > kMaxSampleRate) {
        return fail(
            fmt::format("sample rate of {} Hz, above {} Hz", file.nSamplesPerSec, kMaxSampleRate));
    }
    if (file.nBlockAlign == 0) {
        return fail("block alignment of 0");
    }
    const bool isFloat = tag == WAVE_FORMAT_IEEE_FLOAT;
    if (tag != WAVE_FORMAT_PCM && !isFloat) {
        return fail(fmt::format("unsupported format tag 0x{:04X}", tag));
    }
    const unsigned bits = file.wBitsPerSample;
    const bool supported =
        isFloat ? bits == 32 || bits == 64 : bits == 8 || bits == 16 || bits == 24 || bits == 32;
    if (!supported) {
        return fail(fmt::format("unsupported {}-bit {}", bits, isFloat ? "IEEE float" : "PCM"));
    }
    const unsigned sampleBytes = bits / 8;
    if (file.nBlockAlign != sampleBytes * file.nChannels) {
        return fail(fmt::format("block alignment {} does not fit {} channels of {} bits",
                                file.nBlockAlign, file.nChannels, bits));
    }

    // The data chunk lies inside the input, so this is at most twice its size.
    const std::size_t blocks = dataSize / file.nBlockAlign;
    const std::size_t count = blocks * file.nChannels;
    const SampleLayout layout{sampleBytes, isFloat};
    std::vector<std::int16_t> samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = readSample16(dataChunk + i * sampleBytes, layout);
    }

    loaded_ = true;
    error_.clear();
    fileFormat_ = file;
    format_ = makePcmFormat(file.nChannels, file.nSamplesPerSec, 16);
    samples_ = std::move(samples);
    return true;
}

}  // namespace audio
