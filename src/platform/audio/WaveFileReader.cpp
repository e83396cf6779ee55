#include "WaveFileReader.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

namespace audio {
namespace {

// Bytes converted at a time.
constexpr std::size_t kChunkBytes = 1 << 16;

}  // namespace

const unsigned char* WaveFileReader::FileBytes::at(std::size_t offset, std::size_t count) {
    if (count > sizeof window_) {
        return nullptr;
    }
    if (offset < windowOffset_ || offset + count > windowOffset_ + windowSize_) {
        // Chunk headers follow each other closely: read ahead as far as the window goes.
        const std::size_t ahead = std::min(sizeof window_, file_.size() - offset);
        if (ahead < count || !file_.readAt(offset, window_, ahead)) {
            windowSize_ = 0;
            return nullptr;
        }
        windowOffset_ = offset;
        windowSize_ = ahead;
    }
    return window_ + (offset - windowOffset_);
}

bool WaveFileReader::fail(kvo::String message) {
    open_ = false;
    error_ = std::move(message);
    layout_ = {};
    return false;
}

bool WaveFileReader::open(const kvo::String& path, std::size_t maxBytes) {
    if (!file_.open(path, maxBytes)) {
        return fail(fmt::format("cannot read '{}': {}", path, file_.error()));
    }
    FileBytes bytes(file_);
    kvo::String problem;
    if (!parseWaveLayout(bytes, layout_, problem)) {
        return fail(fmt::format("'{}': {}", path, problem));
    }
    open_ = true;
    error_.clear();
    return true;
}

bool WaveFileReader::read(std::size_t first, std::size_t count, std::int16_t* to) {
    if (!open_ || first > layout_.frames || count > layout_.frames - first) {
        error_ = fmt::format("frames {} to {} are not in the file", first, first + count);
        return false;
    }
    const std::size_t frameBytes = layout_.file.nBlockAlign;
    const std::size_t framesPerChunk = std::max<std::size_t>(1, kChunkBytes / frameBytes);
    std::vector<unsigned char> chunk(std::min(count, framesPerChunk) * frameBytes);
    while (count > 0) {
        const std::size_t frames = std::min(count, framesPerChunk);
        if (!file_.readAt(layout_.dataOffset + first * frameBytes, chunk.data(),
                          frames * frameBytes)) {
            error_ = fmt::format("cannot read the samples: {}", file_.error());
            return false;
        }
        convertFrames(layout_, chunk.data(), frames, to);
        to += frames * layout_.file.nChannels;
        first += frames;
        count -= frames;
    }
    return true;
}

}  // namespace audio
