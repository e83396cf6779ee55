#include "WavFiles.hpp"

#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <numbers>

namespace kvo::test {
namespace {

void put(std::string& out, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        out += static_cast<char>((value >> (8 * i)) & 0xFF);
    }
}

}  // namespace

double SavedRecording::levelDbfs(std::uint32_t channel, double from) const {
    const std::uint32_t first = static_cast<std::uint32_t>(frames() * from);
    const std::vector<std::int16_t>& samples = file_.samples();
    double sum = 0.0;
    double squares = 0.0;
    for (std::uint32_t frame = first; frame < frames(); ++frame) {
        const double value = samples[frame * channels() + channel] / 32768.0;
        sum += value;
        squares += value * value;
    }
    const double count = frames() - first;
    const double mean = sum / count;
    const double variance = squares / count - mean * mean;
    return variance > 0.0 ? 10.0 * std::log10(variance) : -std::numeric_limits<double>::infinity();
}

void writeWav(const std::string& path, std::uint16_t channels, std::uint32_t rate,
              std::uint16_t bits, bool isFloat, const std::vector<double>& samples) {
    std::string data;
    for (const double sample : samples) {
        if (isFloat) {
            const float value = static_cast<float>(sample);
            std::uint32_t raw = 0;
            std::memcpy(&raw, &value, sizeof raw);
            put(data, raw, 4);
        } else if (bits == 8) {
            data += static_cast<char>(std::lround(128.0 + sample * 127.0));
        } else {
            const double full = std::ldexp(1.0, bits - 1) - 1.0;
            put(data, static_cast<std::uint32_t>(std::lround(sample * full)), bits / 8);
        }
    }
    const std::uint16_t blockAlign = static_cast<std::uint16_t>(channels * bits / 8);
    std::string file = "RIFF";
    put(file, static_cast<std::uint32_t>(36 + data.size()), 4);
    file += "WAVEfmt ";
    put(file, 16, 4);
    put(file, isFloat ? 3 : 1, 2);
    put(file, channels, 2);
    put(file, rate, 4);
    put(file, rate * blockAlign, 4);
    put(file, blockAlign, 2);
    put(file, bits, 2);
    file += "data";
    put(file, static_cast<std::uint32_t>(data.size()), 4);
    std::ofstream(path, std::ios::binary) << file << data;
}

std::vector<double> sine(double frequency, double amplitude, double seconds, std::uint32_t rate,
                         std::uint16_t channels) {
    std::vector<double> samples;
    const auto frames = static_cast<std::size_t>(seconds * rate);
    for (std::size_t n = 0; n < frames; ++n) {
        const double value = amplitude * std::sin(2.0 * std::numbers::pi * frequency *
                                                  static_cast<double>(n) / rate);
        samples.insert(samples.end(), channels, value);
    }
    return samples;
}

}  // namespace kvo::test
