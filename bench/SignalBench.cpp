// Analysis speed against FFTW3 in one run.
//
// Compared: SignalAnalyzer::signalProperty on a stereo capture, divided by its
// two channels (so: channel copy, window, padded radix-2 transform and band
// scan of one channel), against one execution of an FFTW3 plan of the same
// length (complex double, out of place, planned once with FFTW_MEASURE). The
// capture is one second of a 1 kHz tone, stereo 48 kHz 16-bit, cut as the tone
// test cuts it: the front 60% dropped, leaving 19200 frames, padded to 32768.
//
// Also: the same analysis with the figures reported beside each check (levels,
// clipping, SNR, THD+N, peak prominence) taken per channel from the analysis's
// own samples and spectrum, to show what they add per check.

#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>

#include "common/libAudio-common/PCMSupport.hpp"
#include "common/libMath/FFT.hpp"
#include "diag/kvormicrophone/Test/SignalAnalyzer.hpp"
#include "diag/kvormicrophone/Test/ToneFigures.hpp"

namespace {

constexpr double kToneHz = 1000.0;

libAudio::StaticPCMBuffer makeCutCapture() {
    libAudio::StaticPCMBuffer capture;
    const audio::WAVEFORMATEX format = audio::makePcmFormat(2, 48000, 16);
    libAudio::createPCMBuffer(format, 1.0, capture);
    libAudio::createSinusoid(0, 16383, kToneHz, capture);
    libAudio::createSinusoid(1, 16383, kToneHz, capture);
    // As the tone test does: duration from the storage, times the single-precision 0.6.
    const double duration =
        static_cast<double>(capture.pcmStorage.size()) / format.nBlockAlign / format.nSamplesPerSec;
    capture.truncateFront(duration * 0.6f);
    return capture;
}

const libAudio::StaticPCMBuffer& cutCapture() {
    static const libAudio::StaticPCMBuffer capture = makeCutCapture();
    return capture;
}

void signalProperty(benchmark::State& state, bool twoLanesOnly) {
    libMath::FFT::useBaselineVectorsOnly(twoLanesOnly);
    kvormicrophone::SignalAnalyzer analyzer;
    const libAudio::StaticPCMBuffer& capture = cutCapture();
    for (auto _ : state) {
        kvo::Array<kvormicrophone::SignalProperty> properties;
        if (!analyzer.signalProperty(capture, properties)) {
            state.SkipWithError("signalProperty failed");
            break;
        }
        benchmark::DoNotOptimize(properties.data());
    }
    libMath::FFT::useBaselineVectorsOnly(false);
}

// Takes each channel's figures as the tone test's meter does.
class FigureTaker : public kvormicrophone::ChannelObserver {
public:
    void channelAnalysed(std::uint32_t, const std::int16_t* samples, std::uint32_t count,
                         const libMath::FFT& fft,
                         const kvormicrophone::SignalProperty& property) override {
        last = kvormicrophone::measureTone(samples, count, fft, kToneHz, property.dominantFrequency,
                                           property.tolerance);
    }
    kvormicrophone::ToneFigures last;
};

void signalPropertyWithFigures(benchmark::State& state) {
    kvormicrophone::SignalAnalyzer analyzer;
    FigureTaker figures;
    analyzer.setObserver(&figures);
    const libAudio::StaticPCMBuffer& capture = cutCapture();
    for (auto _ : state) {
        kvo::Array<kvormicrophone::SignalProperty> properties;
        if (!analyzer.signalProperty(capture, properties)) {
            state.SkipWithError("signalProperty failed");
            break;
        }
        benchmark::DoNotOptimize(figures.last.snrDb);
    }
}

void fftwExecute(benchmark::State& state) {
    kvormicrophone::SignalAnalyzer analyzer;
    kvo::Array<kvormicrophone::SignalProperty> properties;
    analyzer.signalProperty(cutCapture(), properties);
    const int n = static_cast<int>(analyzer.fft().size());
    fftw_complex* const in = fftw_alloc_complex(n);
    fftw_complex* const out = fftw_alloc_complex(n);
    const fftw_plan plan = fftw_plan_dft_1d(n, in, out, FFTW_FORWARD, FFTW_MEASURE);
    // Planning with FFTW_MEASURE overwrites the input, so fill it afterwards.
    const libAudio::StaticPCMBuffer& capture = cutCapture();
    for (int i = 0; i < n; ++i) {
        std::int16_t left = 0;
        if (static_cast<std::uint32_t>(i) < capture.numBlocks()) {
            std::memcpy(&left, capture.pcmStorage.data() + 4 * i, sizeof left);
        }
        in[i][0] = left * (0.5 - 0.5 * std::cos(i * 6.283185307179586 / (n - 1)));
        in[i][1] = 0.0;
    }
    for (auto _ : state) {
        fftw_execute(plan);
        benchmark::DoNotOptimize(out);
    }
    fftw_destroy_plan(plan);
    fftw_free(in);
    fftw_free(out);
}

// Keeps the median CPU time of each benchmark, in nanoseconds.
class RecordingReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.aggregate_name == "median") {
                const double toNanoseconds = 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
                medians[run.run_name.function_name] = run.GetAdjustedCPUTime() * toNanoseconds;
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> medians;
};

}  // namespace

int main(int argc, char** argv) {
    // The processor's widest vectors, and the two-lane code every x86-64 runs.
    benchmark::RegisterBenchmark("signalProperty/stereo", signalProperty, false)
        ->Unit(benchmark::kMicrosecond)
        ->Repetitions(7)
        ->ReportAggregatesOnly(true);
    benchmark::RegisterBenchmark("signalProperty/stereo/two-lanes", signalProperty, true)
        ->Unit(benchmark::kMicrosecond)
        ->Repetitions(7)
        ->ReportAggregatesOnly(true);
    benchmark::RegisterBenchmark("signalProperty/stereo/with-figures", signalPropertyWithFigures)
        ->Unit(benchmark::kMicrosecond)
        ->Repetitions(7)
        ->ReportAggregatesOnly(true);
    benchmark::RegisterBenchmark("fftw/execute", fftwExecute)
        ->Unit(benchmark::kMicrosecond)
        ->Repetitions(7)
        ->ReportAggregatesOnly(true);
    benchmark::Initialize(&argc, argv);
    RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    kvormicrophone::SignalAnalyzer analyzer;
    kvo::Array<kvormicrophone::SignalProperty> properties;
    analyzer.signalProperty(cutCapture(), properties);
    std::printf("\ncapture: %u frames per channel, transform length %u\n", cutCapture().numBlocks(),
                analyzer.fft().size());
    for (std::uint32_t c = 0; c < properties.size(); ++c) {
        std::printf("channel %u: dominant %.6f Hz, tolerance %.6f Hz (tone %.1f Hz)\n", c,
                    properties[c].dominantFrequency, properties[c].tolerance, kToneHz);
    }
    const auto fftw = reporter.medians.find("fftw/execute");
    if (fftw == reporter.medians.end()) {
        return 0;  // filtered out: no ratio
    }
    std::printf("FFTW3 one execution, same length, FFTW_MEASURE: %.1f us\n", fftw->second / 1000.0);
    for (const char* name : {"signalProperty/stereo", "signalProperty/stereo/two-lanes"}) {
        const auto analysis = reporter.medians.find(name);
        if (analysis != reporter.medians.end()) {
            const double perChannel = analysis->second / properties.size();
            std::printf(
                "%s per channel (copy, window, transform, band scan): %.1f us, %.2fx FFTW3\n", name,
                perChannel / 1000.0, perChannel / fftw->second);
        }
    }
    std::printf("(median CPU times; target: at most 3x)\n");
    const auto alone = reporter.medians.find("signalProperty/stereo");
    const auto withFigures = reporter.medians.find("signalProperty/stereo/with-figures");
    if (alone != reporter.medians.end() && withFigures != reporter.medians.end()) {
        const double channels = properties.size();
        const double figuresPerCheck = (withFigures->second - alone->second) / channels;
        std::printf(
            "figures per check (one channel): %.1f us, %.1f%% of the analysis alone (target: at "
            "most 20%%)\n",
            figuresPerCheck / 1000.0, 100.0 * (withFigures->second / alone->second - 1.0));
        std::printf("analysis with figures per channel: %.2fx FFTW3 (target: at most 1.5x)\n",
                    withFigures->second / channels / fftw->second);
    }
    return 0;
}
