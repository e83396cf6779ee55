#pragma once

#include <cstdint>

#include "common/libMath/FFT.hpp"
#include "platform/kvo/String.hpp"

namespace kvormicrophone {

// What a technician needs beside a tone check's verdict, taken from the very
// samples and spectrum the verdict was drawn from. Levels are in dB relative to
// full scale with a full-scale square wave at 0 dB (a full-scale sine reads
// -3.01 dB RMS), as sox's `stats` shows them; digital silence reads kFloorDb.
struct ToneFigures {
    static constexpr double kFloorDb = -150.0;
    // The band the analysis looks for tones in (both ends excluded), and a
    // 16-bit sample's full scale.
    static constexpr double kLowestHz = 20.0;
    static constexpr double kHighestHz = 22000.0;
    static constexpr double kFullScale = 32768.0;

    double expectedHz = 0.0;
    double foundHz = 0.0;
    double toleranceHz = 0.0;
    double binWidthHz = 0.0;
    double peakDbfs = kFloorDb;
    double rmsDbfs = kFloorDb;
    // The expected tone alone (its bins), and everything but the tone and its
    // harmonics, both as levels.
    double toneDbfs = kFloorDb;
    double noiseFloorDbfs = kFloorDb;
    double snrDb = 0.0;
    // Noise and harmonics against the tone; the lower the cleaner.
    double thdnDb = 0.0;
    // How far the strongest bin stands above the average bin of the noise: a
    // real tone stands out, the top of plain noise does not.
    double peakProminenceDb = 0.0;
    std::uint32_t clippedSamples = 0;
    // The verdict's own rule, for this channel.
    bool heard = false;

    // Below this RMS level a channel carries no signal: nothing was captured.
    static constexpr double kNoSignalDbfs = -90.0;
    bool silent() const { return rmsDbfs < kNoSignalDbfs; }

    // Why the channel failed or looks doubtful ("no signal", "clipping",
    // "wrong frequency found", "tone not heard above the noise", "low SNR",
    // joined by ", "); empty when nothing stands out.
    kvo::String diagnosis() const;
};

// Figures of one channel: `samples` are the ones `fft` was last transformed
// from; `expectedHz` the tone played, `foundHz` and `toleranceHz` what the
// analysis found and allowed.
ToneFigures measureTone(const std::int16_t* samples, std::uint32_t count, const libMath::FFT& fft,
                        double expectedHz, double foundHz, double toleranceHz);

}  // namespace kvormicrophone
