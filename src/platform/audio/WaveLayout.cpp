#include "WaveLayout.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "platform/audio/SampleCodec.hpp"

namespace audio {
namespace {

// The KSDATAFORMAT_SUBTYPE GUIDs of extensible formats share all but their
// first two bytes, which hold the plain format tag.
constexpr unsigned char kSubFormatTail[14] = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                              0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
// The part of a fmt chunk that is read: the extensible one's 40 bytes.
constexpr std::size_t kFmtBytesRead = 40;

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

bool fail(kvo::String& error, kvo::String message) {
    error = std::move(message);
    return false;
}

// Checks the fmt chunk's fields and fills the layout's format part.
bool readFormat(const unsigned char* fmtChunk, std::uint32_t fmtSize, WaveLayout& layout,
                kvo::String& error) {
    if (fmtSize < 16) {
        return fail(error, fmt::format("fmt chunk of {} bytes is shorter than 16", fmtSize));
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
            return fail(error, fmt::format("extensible fmt chunk of {} bytes (cbSize {}) lacks "
                                           "the 22 extension bytes",
                                           fmtSize, file.cbSize));
        }
        const unsigned char* const subFormat = fmtChunk + 24;
        if (std::memcmp(subFormat + 2, kSubFormatTail, sizeof kSubFormatTail) != 0) {
            return fail(error, "extensible format with an unknown sub-format GUID");
        }
        tag = u16(subFormat);
    }
    if (file.nChannels == 0) {
        return fail(error, "zero channels");
    }
    if (file.nChannels > kMaxWaveChannels) {
        return fail(error,
                    fmt::format("{} channels, more than {}", file.nChannels, kMaxWaveChannels));
    }
    if (file.nSamplesPerSec == 0) {
        return fail(error, "sample rate of 0 Hz");
    }
    if (file.nSamplesPerSec > kMaxWaveSampleRate) {
        return fail(error, fmt::format("sample rate of {} Hz, above {} Hz", file.nSamplesPerSec,
                                       kMaxWaveSampleRate));
    }
    if (file.nBlockAlign == 0) {
        return fail(error, "block alignment of 0");
    }
    const bool isFloat = tag == WAVE_FORMAT_IEEE_FLOAT;
    if (tag != WAVE_FORMAT_PCM && !isFloat) {
        return fail(error, fmt::format("unsupported format tag 0x{:04X}", tag));
    }
    const unsigned bits = file.wBitsPerSample;
    const bool supported =
        isFloat ? bits == 32 || bits == 64 : bits == 8 || bits == 16 || bits == 24 || bits == 32;
    if (!supported) {
        return fail(error,
                    fmt::format("unsupported {}-bit {}", bits, isFloat ? "IEEE float" : "PCM"));
    }
    const unsigned sampleBytes = bits / 8;
    if (file.nBlockAlign != sampleBytes * file.nChannels) {
        return fail(error, fmt::format("block alignment {} does not fit {} channels of {} bits",
                                       file.nBlockAlign, file.nChannels, bits));
    }
    layout.file = file;
    layout.isFloat = isFloat;
    layout.sampleBytes = sampleBytes;
    return true;
}

}  // namespace

bool parseWaveLayout(WaveBytes& bytes, WaveLayout& layout, kvo::String& error) {
    const std::size_t end = bytes.size();
    if (end < 12) {
        return fail(error, fmt::format("{} bytes are too short for a RIFF/WAVE header", end));
    }
    const unsigned char* const riff = bytes.at(0, 12);
    if (riff == nullptr) {
        return fail(error, bytes.error());
    }
    if (std::memcmp(riff, "RIFF", 4) != 0) {
        return fail(error, fmt::format("not a RIFF file (starts with '{}')", chunkName(riff)));
    }
    if (std::memcmp(riff + 8, "WAVE", 4) != 0) {
        return fail(error, fmt::format("RIFF form is '{}', not 'WAVE'", chunkName(riff + 8)));
    }
    // Writers often get the RIFF size wrong (this system's writer puts it 4 too
    // large, streaming writers leave 0 or all ones), so chunks are read up to
    // the end of the input instead.
    unsigned char fmtChunk[kFmtBytesRead] = {};
    std::uint32_t fmtSize = 0;
    bool fmtFound = false;
    bool dataFound = false;
    std::uint32_t dataSize = 0;
    std::size_t offset = 12;
    while (!fmtFound || !dataFound) {
        if (offset >= end) {
            return fail(error, !fmtFound ? "no fmt chunk" : "no data chunk");
        }
        if (end - offset < 8) {
            return fail(error, fmt::format("file ends inside a chunk header at offset {}", offset));
        }
        const unsigned char* const header = bytes.at(offset, 8);
        if (header == nullptr) {
            return fail(error, bytes.error());
        }
        const std::uint32_t chunkSize = u32(header + 4);
        const std::size_t left = end - offset - 8;
        if (chunkSize > left) {
            return fail(error,
                        fmt::format("'{}' chunk at offset {} declares {} bytes, but only {} follow",
                                    chunkName(header), offset, chunkSize, left));
        }
        if (std::memcmp(header, "fmt ", 4) == 0 && !fmtFound) {
            fmtFound = true;
            fmtSize = chunkSize;
            const std::size_t kept = std::min<std::size_t>(chunkSize, kFmtBytesRead);
            const unsigned char* const body = bytes.at(offset + 8, kept);
            if (body == nullptr) {
                return fail(error, bytes.error());
            }
            std::memcpy(fmtChunk, body, kept);
        } else if (std::memcmp(header, "data", 4) == 0 && !dataFound) {
            dataFound = true;
            dataSize = chunkSize;
            layout.dataOffset = offset + 8;
        }
        // Odd-sized chunks are followed by a pad byte, which the last chunk may lack.
        offset += 8 + std::size_t{chunkSize} + (chunkSize & 1u);
    }
    if (!readFormat(fmtChunk, fmtSize, layout, error)) {
        return false;
    }
    layout.frames = dataSize / layout.file.nBlockAlign;
    return true;
}

void convertFrames(const WaveLayout& layout, const unsigned char* from, std::size_t frames,
                   std::int16_t* to) {
    const std::size_t count = frames * layout.file.nChannels;
    const SampleLayout samples{layout.sampleBytes, layout.isFloat};
    for (std::size_t i = 0; i < count; ++i) {
        to[i] = readSample16(from + i * layout.sampleBytes, samples);
    }
}

}  // namespace audio
