#include "WaveFile.hpp"

#include <fmt/format.h>

#include "platform/audio/WaveFileReader.hpp"

namespace audio {
namespace {

// A WAV file already in memory.
class MemoryBytes : public WaveBytes {
public:
    MemoryBytes(const unsigned char* bytes, std::size_t size) : bytes_(bytes), size_(size) {}
    std::size_t size() const override { return size_; }
    const unsigned char* at(std::size_t offset, std::size_t count) override {
        return offset <= size_ && count <= size_ - offset ? bytes_ + offset : nullptr;
    }
    kvo::String error() const override { return "read outside the input"; }

private:
    const unsigned char* bytes_;
    std::size_t size_;
};

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
    WaveFileReader reader;
    if (!reader.open(path, kMaxFileBytes)) {
        return fail(reader.error());
    }
    std::vector<std::int16_t> samples(reader.frames() * reader.channels());
    if (!reader.read(0, reader.frames(), samples.data())) {
        return fail(fmt::format("'{}': {}", path, reader.error()));
    }
    loaded_ = true;
    error_.clear();
    fileFormat_ = reader.fileFormat();
    format_ = makePcmFormat(reader.channels(), reader.sampleRate(), 16);
    samples_ = std::move(samples);
    return true;
}

bool WaveFile::loadMemory(const void* input, std::size_t size) {
    const auto* const bytes = static_cast<const unsigned char*>(input);
    MemoryBytes source(bytes, size);
    WaveLayout layout;
    kvo::String problem;
    if (!parseWaveLayout(source, layout, problem)) {
        return fail(std::move(problem));
    }
    // The data chunk lies inside the input, so this is at most twice its size.
    std::vector<std::int16_t> samples(layout.frames * layout.file.nChannels);
    convertFrames(layout, bytes + layout.dataOffset, layout.frames, samples.data());

    loaded_ = true;
    error_.clear();
    fileFormat_ = layout.file;
    format_ = makePcmFormat(layout.file.nChannels, layout.file.nSamplesPerSec, 16);
    samples_ = std::move(samples);
    return true;
}

}  // namespace audio
