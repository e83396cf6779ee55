#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/audio/WaveFile.hpp"

namespace kvo::test {

// A WAV file the program saved, read back for its figures.
class SavedRecording {
public:
    explicit SavedRecording(const std::string& path) { loaded_ = file_.loadFile(path); }

    bool loaded() const { return loaded_; }
    std::uint32_t rate() const { return file_.format().nSamplesPerSec; }
    std::uint32_t channels() const { return file_.format().nChannels; }
    std::uint32_t frames() const { return file_.numBlocks(); }
    // RMS level of one channel in dB of full scale (a full-scale sine is -3 dBFS), over the
    // part that starts at `from` (a fraction of the length); -infinity for digital silence.
    double levelDbfs(std::uint32_t channel, double from = 0.0) const;

private:
    audio::WaveFile file_;
    bool loaded_ = false;
};

// Writes interleaved samples in -1..1 as a WAV file of 8, 16 or 24-bit PCM or 32-bit float.
void writeWav(const std::string& path, std::uint16_t channels, std::uint32_t rate,
              std::uint16_t bits, bool isFloat, const std::vector<double>& samples);

// `seconds` of a sine of `amplitude` (of full scale) in every one of `channels`, interleaved.
std::vector<double> sine(double frequency, double amplitude, double seconds, std::uint32_t rate,
                         std::uint16_t channels);

}  // namespace kvo::test
