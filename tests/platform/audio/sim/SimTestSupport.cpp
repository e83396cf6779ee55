#include "SimTestSupport.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

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

libAudio::StaticPCMBuffer captureTone(AudioSystem& system, const std::string& speaker,
                                      const std::string& microphone, double frequency) {
    const WAVEFORMATEX format = makePcmFormat(2, 48000, 16);
    libAudio::StaticPCMBuffer tone = contract::makeTone(format, frequency, 1000);
    libAudio::StaticPCMBuffer recording = makeBuffer(format, 1000);
    std::unique_ptr<AudioRendererEx> renderer = system.createAudioRendererEx();
    EXPECT_TRUE(renderer->initialize(endpointById(system, speaker), &tone));
    EXPECT_TRUE(renderer->play(3, {}));
    EXPECT_EQ(contract::recordToEnd(*system.createAudioCaptureEx(),
                                    endpointById(system, microphone), recording),
              0);
    renderer->stop();
    return recording;
}

double toneDb(const libAudio::StaticPCMBuffer& buffer, int channel, double frequency) {
    return 20.0 * std::log10(contract::toneLevel(buffer, frequency, channel));
}

double rmsDb(const libAudio::StaticPCMBuffer& buffer, int channel) {
    const WAVEFORMATEX& format = buffer.format.Format;
    const std::size_t frames = buffer.pcmStorage.size() / format.nBlockAlign;
    double sum = 0.0;
    for (std::size_t n = 0; n < frames; ++n) {
        std::int16_t sample = 0;
        std::memcpy(&sample,
                    buffer.pcmStorage.data() + n * format.nBlockAlign +
                        static_cast<std::size_t>(channel) * sizeof sample,
                    sizeof sample);
        sum += (sample / 32768.0) * (sample / 32768.0);
    }
    return sum == 0.0 ? -std::numeric_limits<double>::infinity()
                      : 10.0 * std::log10(sum / static_cast<double>(frames));
}

bool isDigitalSilence(const libAudio::StaticPCMBuffer& buffer) {
    const unsigned char* bytes = buffer.pcmStorage.data();
    return std::all_of(bytes, bytes + buffer.pcmStorage.size(),
                       [](unsigned char b) { return b == 0; });
}

}  // namespace audio::sim::test
