#include "SimTestSupport.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

namespace audio::sim::test {

using nlohmann::json;

json benchMachine() {
    const json integrated =
        json::array({{{"port", "integrated"}, {"generalLocation", "internal"}}});
    const json stereo16 = json::array({{{"rate", 48000}, {"bits", 16}, {"channels", 2}}});
    return {
        {"name", "Bench"},
        {"seed", 7},
        {"soundCards", json::array({{{"id", "card"},
                                     {"name", "Bench Audio"},
                                     {"driver", "bench.sys"},
                                     {"driverVersion", "1.0.0.1"}}})},
        {"endpoints",
         json::array({
             {{"id", "spk"},
              {"card", "card"},
              {"direction", "render"},
              {"name", "Speakers"},
              {"default", true},
              {"formats", stereo16},
              {"volume", {{"minDb", -60}, {"maxDb", 0}, {"stepDb", 0.5}, {"percent", 100}}},
              {"jacks", integrated}},
             {{"id", "mic"},
              {"card", "card"},
              {"direction", "capture"},
              {"name", "Microphone"},
              {"default", true},
              {"formats", stereo16},
              {"volume", {{"minDb", -30}, {"maxDb", 10}, {"stepDb", 0.5}, {"percent", 100}}},
              {"jacks", integrated},
              {"stages", json::array({{{"name", "Boost"},
                                       {"minDb", 0},
                                       {"maxDb", 30},
                                       {"stepDb", 10},
                                       {"levelDb", 0}}})},
              {"noiseDbfs", -150}},
             {{"id", "mic2"},
              {"card", "card"},
              {"direction", "capture"},
              {"name", "Second Microphone"},
              {"formats", stereo16},
              {"volume", {{"minDb", -30}, {"maxDb", 10}, {"stepDb", 0.5}, {"percent", 100}}},
              {"jacks", integrated},
              {"noiseDbfs", -150}},
         })},
        {"paths",
         json::array(
             {{{"speaker", "spk"}, {"microphone", "mic"}, {"gainDb", -20}, {"delayMs", 0.5}},
              {{"speaker", "spk"}, {"microphone", "mic2"}, {"gainDb", -32}}})},
    };
}

std::unique_ptr<SimulatedSystem> makeSystem(const json& machine) {
    return std::make_unique<SimulatedSystem>(parseMachine(machine.dump(), "test machine"));
}

void fillTone(libAudio::StaticPCMBuffer& buffer, double frequency, double amplitude) {
    const WAVEFORMATEX& format = buffer.format.Format;
    auto* samples = reinterpret_cast<std::int16_t*>(buffer.pcmStorage.data());
    const std::size_t frames = buffer.pcmStorage.size() / format.nBlockAlign;
    for (std::size_t n = 0; n < frames; ++n) {
        const double value = amplitude * 32768.0 *
                             std::sin(2.0 * std::numbers::pi * frequency * static_cast<double>(n) /
                                      format.nSamplesPerSec);
        for (int c = 0; c < format.nChannels; ++c) {
            samples[n * format.nChannels + static_cast<std::size_t>(c)] =
                static_cast<std::int16_t>(std::lround(std::min(value, 32767.0)));
        }
    }
}

libAudio::StaticPCMBuffer captureTone(AudioSystem& system, const std::string& speaker,
                                      const std::string& microphone, double frequency,
                                      std::uint32_t ms) {
    const WAVEFORMATEX format = makePcmFormat(2, 48000, 16);
    libAudio::StaticPCMBuffer tone = makeBuffer(format, 1000);
    fillTone(tone, frequency, 0.5);
    libAudio::StaticPCMBuffer recording = makeBuffer(format, ms);
    std::unique_ptr<AudioRendererEx> renderer = system.createAudioRendererEx();
    std::unique_ptr<AudioCaptureEx> capture = system.createAudioCaptureEx();
    EXPECT_TRUE(renderer->initialize(endpointById(system, speaker), &tone));
    EXPECT_TRUE(capture->initialize(endpointById(system, microphone), &recording));
    EXPECT_TRUE(renderer->play(3, {}));
    EXPECT_TRUE(capture->start({}));
    waitWhile([&] { return capture->isStillRecording(); });
    EXPECT_EQ(capture->threadExitCode(), 0);
    renderer->stop();
    capture->stop();
    return recording;
}

libAudio::StaticPCMBuffer captureSilence(AudioSystem& system, const std::string& microphone,
                                         std::uint32_t ms) {
    libAudio::StaticPCMBuffer recording = makeBuffer(makePcmFormat(2, 48000, 16), ms);
    std::unique_ptr<AudioCaptureEx> capture = system.createAudioCaptureEx();
    EXPECT_TRUE(capture->initialize(endpointById(system, microphone), &recording));
    EXPECT_TRUE(capture->start({}));
    waitWhile([&] { return capture->isStillRecording(); });
    capture->stop();
    return recording;
}

std::int16_t sampleAt(const libAudio::StaticPCMBuffer& buffer, std::size_t frame, int channel) {
    const WAVEFORMATEX& format = buffer.format.Format;
    const unsigned char* p = buffer.pcmStorage.data() + frame * format.nBlockAlign +
                             static_cast<std::size_t>(channel) * 2;
    return static_cast<std::int16_t>(p[0] | (p[1] << 8));
}

double toneDb(const libAudio::StaticPCMBuffer& buffer, int channel, double frequency) {
    const WAVEFORMATEX& format = buffer.format.Format;
    const std::size_t frames = buffer.pcmStorage.size() / format.nBlockAlign;
    const double coefficient =
        2.0 * std::cos(2.0 * std::numbers::pi * frequency / format.nSamplesPerSec);
    double s1 = 0.0;
    double s2 = 0.0;
    for (std::size_t n = frames / 2; n < frames; ++n) {
        const double s0 = sampleAt(buffer, n, channel) / 32768.0 + coefficient * s1 - s2;
        s2 = s1;
        s1 = s0;
    }
    const double power = s1 * s1 + s2 * s2 - coefficient * s1 * s2;
    const double amplitude =
        2.0 * std::sqrt(std::max(power, 0.0)) / static_cast<double>(frames - frames / 2);
    return 20.0 * std::log10(amplitude);
}

double rmsDb(const libAudio::StaticPCMBuffer& buffer, int channel) {
    const std::size_t frames = buffer.pcmStorage.size() / buffer.format.Format.nBlockAlign;
    double sum = 0.0;
    for (std::size_t n = 0; n < frames; ++n) {
        const double x = sampleAt(buffer, n, channel) / 32768.0;
        sum += x * x;
    }
    return sum == 0.0 ? -std::numeric_limits<double>::infinity()
                      : 10.0 * std::log10(sum / static_cast<double>(frames));
}

bool isDigitalSilence(const libAudio::StaticPCMBuffer& buffer) {
    for (std::size_t i = 0; i < buffer.pcmStorage.size(); ++i) {
        if (buffer.pcmStorage[i] != 0) {
            return false;
        }
    }
    return true;
}

std::uint64_t nowMs() {
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(kvo::Clock::instance().now())
            .count());
}

}  // namespace audio::sim::test
