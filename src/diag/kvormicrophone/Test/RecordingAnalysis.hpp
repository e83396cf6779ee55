#pragma once

#include <cstddef>
#include <cstdint>

#include "SignalTester.hpp"
#include "ToneMeter.hpp"
#include "common/libAudio-common/StaticPCMBuffer.hpp"
#include "platform/kvo/String.hpp"

namespace kvormicrophone {

// Frames at the start of a recording of `frames` at `rate` that the tone
// check skips: the first 60 %, where the speaker and the capture settle.
std::size_t settlingFrames(std::size_t frames, std::uint32_t rate);

// The tone a file was recorded with, from the name the tone test gives its
// recordings ("1000.wav": 1000 Hz): the whole number before the first dot.
bool frequencyFromFileName(const kvo::String& name, std::uint32_t& frequency);

// The tone check of a saved recording: only the part after the settling
// frames is read from the file, into one stereo 16-bit track (a mono file in
// both channels), and every channel is checked for the expected tone with the
// figures reported beside the verdict, as for a live recording.
class RecordingAnalysis : public RecordingSource {
public:
    RecordingAnalysis();
    RecordingAnalysis(const RecordingAnalysis&) = delete;
    RecordingAnalysis& operator=(const RecordingAnalysis&) = delete;

    // False with a one-line reason naming the file when it cannot be analysed.
    bool load(const kvo::String& path, kvo::String& problem);
    // Whether every channel heard `frequency`; each channel's figures are
    // reported as a measurement of file "<fileName>".
    bool heard(std::uint32_t frequency, const kvo::String& fileName);

    const libAudio::StaticPCMBuffer& recording() const override { return track_; }

private:
    libAudio::StaticPCMBuffer track_;
    CurrentTone tone_;
    ToneMeter meter_{tone_};
    SignalTester tester_;
};

}  // namespace kvormicrophone
