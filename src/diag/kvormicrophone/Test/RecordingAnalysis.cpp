#include "RecordingAnalysis.hpp"

#include <fmt/format.h>

#include <cmath>

#include "platform/audio/WaveFile.hpp"
#include "platform/audio/WaveFileReader.hpp"

namespace kvormicrophone {
namespace {

// The fraction of a recording the tone check skips, as the live check takes it.
constexpr float kSettlingFraction = 0.6F;

// A mono track read into the second half of a stereo one spreads to both
// channels from the front: frame i is written at 2i and 2i + 1 only after the
// sample at frames + i, which is never before them, has been read.
void spreadMonoToStereo(std::int16_t* samples, std::size_t frames) {
    const std::int16_t* const mono = samples + frames;
    for (std::size_t i = 0; i < frames; ++i) {
        const std::int16_t sample = mono[i];
        samples[2 * i] = sample;
        samples[2 * i + 1] = sample;
    }
}

}  // namespace

std::size_t settlingFrames(std::size_t frames, std::uint32_t rate) {
    if (rate == 0) {
        return 0;
    }
    // The very operations of a live check, so that a saved recording gives its verdict again.
    const double seconds =
        static_cast<double>(frames) / rate * static_cast<double>(kSettlingFraction);
    const double cut = std::trunc(rate * seconds);
    return cut >= 0.0 && cut < static_cast<double>(frames) ? static_cast<std::size_t>(cut) : 0;
}

bool frequencyFromFileName(const kvo::String& name, std::uint32_t& frequency) {
    const std::vector<kvo::String> tokens = kvo::tokenize(name, '.');
    return tokens.size() > 1 && kvo::strToUInt(tokens[0], frequency);
}

RecordingAnalysis::RecordingAnalysis() {
    tester_.setRecordingSource(this);
    tester_.setChannelObserver(&meter_);
}

bool RecordingAnalysis::load(const kvo::String& path, kvo::String& problem) {
    track_ = {};
    audio::WaveFileReader reader;
    if (!reader.open(path, audio::WaveFile::kMaxFileBytes)) {
        problem = reader.error();
        return false;
    }
    const std::uint16_t channels = reader.channels();
    if (channels > 2) {
        problem =
            fmt::format("'{}': {} channels; a recording of one or two is analysed", path, channels);
        return false;
    }
    const std::size_t first = settlingFrames(reader.frames(), reader.sampleRate());
    const std::size_t frames = reader.frames() - first;
    if (frames == 0) {
        problem = fmt::format("'{}' holds no audio", path);
        return false;
    }
    track_.format.Format = audio::makePcmFormat(2, reader.sampleRate(), 16);
    track_.pcmStorage.resize(frames * 2 * sizeof(std::int16_t));
    auto* const samples = reinterpret_cast<std::int16_t*>(track_.pcmStorage.data());
    if (!reader.read(first, frames, channels == 1 ? samples + frames : samples)) {
        problem = fmt::format("'{}': {}", path, reader.error());
        track_ = {};
        return false;
    }
    if (channels == 1) {
        spreadMonoToStereo(samples, frames);
    }
    return true;
}

bool RecordingAnalysis::heard(std::uint32_t frequency, const kvo::String& fileName) {
    tone_.left = frequency;
    tone_.right = frequency;
    const bool valid = tester_.isSignalValid(&tone_);
    meter_.report("file \"" + fileName + "\"", {{"file", fileName}});
    return valid;
}

}  // namespace kvormicrophone
