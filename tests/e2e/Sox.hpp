#pragma once

#include <gmock/gmock.h>

#include <cstddef>
#include <string>
#include <vector>

namespace kvo::test {

// WAV files made and measured by sox, a tool independent of the program.

// Makes `path` with `sox -D -n <format> <path> <effects>`, e.g. format "-r 48000 -b 16 -c 2" and
// effects "synth 1 sine 1000 vol 0.25"; effect chains joined by " : " follow one another.
void soxMake(const std::string& path, const std::string& format, const std::string& effects);
// `soxi <option> <path>` as a number: -r the rate, -s the frames, -c the channels.
double soxInfo(const std::string& option, const std::string& path);
// One row of `sox <path> -n trim <firstFrame>s stats` ("RMS lev dB", "Pk lev dB"): the figure of
// the whole file, then of each channel; -infinity for digital silence.
std::vector<double> soxStats(const std::string& path, const std::string& row,
                             std::size_t firstFrame = 0);

// Matches the figures soxStats gives for a stereo file when each of the three matches `matcher`.
template <typename Matcher>
auto stereoFigures(Matcher matcher) {
    return testing::AllOf(testing::SizeIs(3), testing::Each(matcher));
}

}  // namespace kvo::test
