#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/audio/WaveLayout.hpp"
#include "platform/kvo/SafeFile.hpp"

namespace audio {

// A WAV file opened for reading parts of it: opening reads only the chunk
// headers and the format; read() converts the frames asked for, through a
// small buffer, so memory holds no more than the caller's samples. Formats
// and errors are WaveFile's.
class WaveFileReader {
public:
    // A regular file of at most `maxBytes`; a FIFO or device is refused unread.
    bool open(const kvo::String& path, std::size_t maxBytes);

    const kvo::String& error() const { return error_; }
    // The fmt chunk's fields as the file has them.
    const WAVEFORMATEX& fileFormat() const { return layout_.file; }
    std::uint16_t channels() const { return layout_.file.nChannels; }
    std::uint32_t sampleRate() const { return layout_.file.nSamplesPerSec; }
    // Whole frames in the data chunk.
    std::size_t frames() const { return layout_.frames; }

    // Converts frames [first, first + count) to interleaved 16-bit samples,
    // count x channels() of them at `to`. False when they are not all in the
    // file or cannot be read.
    bool read(std::size_t first, std::size_t count, std::int16_t* to);

private:
    // The file seen through a window of a few KiB.
    class FileBytes : public WaveBytes {
    public:
        explicit FileBytes(kvo::RegularFileReader& file) : file_(file) {}
        std::size_t size() const override { return file_.size(); }
        const unsigned char* at(std::size_t offset, std::size_t count) override;
        kvo::String error() const override { return file_.error(); }

    private:
        kvo::RegularFileReader& file_;
        unsigned char window_[4096] = {};
        std::size_t windowOffset_ = 0;
        std::size_t windowSize_ = 0;
    };

    bool fail(kvo::String message);

    kvo::RegularFileReader file_;
    WaveLayout layout_;
    bool open_ = false;
    kvo::String error_;
};

}  // namespace audio
