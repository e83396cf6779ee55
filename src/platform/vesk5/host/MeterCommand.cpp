#include "MeterCommand.hpp"

#include <fmt/format.h>

#include <array>
#include <stdexcept>

#include "AudioDeviceSource.hpp"
#include "LevelMeter.hpp"
#include "MeterText.hpp"
#include "StopSignal.hpp"
#include "Terminal.hpp"
#include "common/libAudio-common/StaticPCMBuffer.hpp"
#include "platform/audio/DeviceReport.hpp"
#include "platform/kvo/Console.hpp"
#include "platform/kvo/Exception.hpp"
#include "platform/kvo/Stopwatch.hpp"
#include "platform/kvo/System.hpp"
#include "platform/vesk5/TestResult.hpp"

namespace vesk5::host {
namespace {

constexpr std::uint32_t kIntervalMs = 250;
constexpr unsigned kHoldIntervals = 8;  // peaks and clips stay shown for 2 s
// The capture fills this much and is started again from the buffer's start.
constexpr std::uint32_t kCaptureSeconds = 10;

// Why the meter cannot run, with the exit status that says so.
class MeterRefusal : public std::runtime_error {
public:
    MeterRefusal(TestResult result, const std::string& message)
        : std::runtime_error(message), result_(result) {}
    int exitCode() const { return result_.value(); }

private:
    TestResult result_;
};

std::string endpointLabel(const audio::AudioDevice& endpoint) {
    return fmt::format("{} ({})", endpoint.friendlyName(), endpoint.id());
}

std::string microphoneList(const kvo::Array<audio::AudioDevicePtr>& microphones) {
    std::string list;
    for (std::uint32_t i = 0; i < microphones.size(); ++i) {
        list += fmt::format("{}{} [{}]", list.empty() ? "" : ", ", endpointLabel(*microphones[i]),
                            audio::deviceStateText(microphones[i]->state()));
    }
    return list.empty() ? "none" : list;
}

// The microphone --device names, by id or by name, or the default one.
audio::AudioDevicePtr chooseMicrophone(audio::AudioSystem& system, const std::string& wanted) {
    kvo::Array<audio::AudioDevicePtr> microphones;
    system.endpoints(audio::eCapture, audio::DEVICE_STATEMASK_ALL, microphones);
    audio::AudioDevicePtr chosen;
    if (wanted.empty()) {
        chosen = system.defaultEndpoint(audio::eCapture);
        if (!chosen) {
            throw MeterRefusal(TestResult::NODEVICE(),
                               "there is no default microphone; name one with --device "
                               "(microphones: " +
                                   microphoneList(microphones) + ")");
        }
    } else {
        // The id first, then the full name, then the short one ("Microphone Array").
        const auto keys = [](const audio::AudioDevice& endpoint) {
            const audio::DeviceProperty property = endpoint.deviceProperty();
            return std::array<std::string, 3>{endpoint.id(), property.friendlyName,
                                              property.description};
        };
        for (std::size_t key = 0; key < 3 && !chosen; ++key) {
            for (std::uint32_t i = 0; i < microphones.size() && !chosen; ++i) {
                if (keys(*microphones[i])[key] == wanted) {
                    chosen = microphones[i];
                }
            }
        }
        if (!chosen) {
            throw MeterRefusal(TestResult::BADPARAMS(),
                               fmt::format("no microphone \"{}\" here (microphones: {})", wanted,
                                           microphoneList(microphones)));
        }
    }
    if (!chosen->refresh() || chosen->state() != audio::DEVICE_STATE_ACTIVE) {
        throw MeterRefusal(TestResult::CANNOTRUN(),
                           fmt::format("{} cannot capture: it is {}", endpointLabel(*chosen),
                                       audio::deviceStateText(chosen->state())));
    }
    return chosen;
}

// The first shared-mode format the meter reads, 16-bit PCM before float.
audio::WAVEFORMATEX captureFormat(audio::AudioDevice& microphone) {
    kvo::Array<audio::tWAVEFORMATEX> formats;
    microphone.compatibleFormats(formats, audio::AUDCLNT_SHAREMODE_SHARED);
    for (const bool wantFloat : {false, true}) {
        for (std::uint32_t i = 0; i < formats.size(); ++i) {
            const bool isFloat = formats[i].wFormatTag == audio::WAVE_FORMAT_IEEE_FLOAT;
            if (isFloat == wantFloat && LevelMeter::reads(formats[i])) {
                return formats[i];
            }
        }
    }
    throw MeterRefusal(TestResult::CANNOTRUN(),
                       fmt::format("{} offers no 16-bit PCM or 32-bit float format to capture in",
                                   endpointLabel(microphone)));
}

std::vector<std::string> boostTexts(audio::AudioDevice& microphone) {
    std::vector<std::string> texts;
    for (const audio::GainStage& stage : audio::findGainStages(microphone)) {
        texts.push_back(fmt::format("{} {:+g} dB", stage.name, stage.levelDb));
    }
    return texts;
}

MicrophoneState readState(audio::AudioDevice& microphone, const std::vector<std::string>& boosts) {
    MicrophoneState state;
    state.boosts = boosts;
    if (const auto volume = microphone.volumeControl()) {
        std::uint32_t percent = 0;
        float db = 0.0F;
        bool muted = false;
        if (volume->getVolumeLevel(percent)) {
            state.volumePercent = percent;
        }
        if (volume->decibelLevel(db)) {
            state.volumeDb = db;
        }
        if (volume->getMute(muted)) {
            state.muted = muted;
        }
    }
    return state;
}

// A capture that runs as long as the meter: each packet goes to the level meter
// on the capture's own thread, and a full buffer is started again.
class MeterCapture {
public:
    MeterCapture(audio::AudioSystem& system, audio::AudioDevicePtr microphone,
                 const audio::WAVEFORMATEX& format, LevelMeter& meter)
        : capture_(system.createAudioCaptureEx()),
          microphone_(std::move(microphone)),
          meter_(meter) {
        buffer_.format.Format = format;
        buffer_.pcmStorage.resize(std::size_t{format.nAvgBytesPerSec} * kCaptureSeconds);
    }
    ~MeterCapture() { capture_->stop(); }
    MeterCapture(const MeterCapture&) = delete;
    MeterCapture& operator=(const MeterCapture&) = delete;

    void start() {
        measured_ = 0;
        if (!capture_->initialize(microphone_, &buffer_) ||
            !capture_->start([this] { return measureNewPackets(); })) {
            throw MeterRefusal(
                TestResult::CANNOTRUN(),
                fmt::format("the capture from {} cannot start: {}", endpointLabel(*microphone_),
                            audio::describeResult(capture_->lastError())));
        }
    }

    // Starts again when the buffer is full; refuses when the capture failed.
    void keepRunning() {
        if (capture_->isStillRecording()) {
            return;
        }
        capture_->stop();
        if (const int code = capture_->threadExitCode(); code != 0) {
            throw MeterRefusal(
                TestResult::CANNOTRUN(),
                fmt::format("the capture from {} ended: {}", endpointLabel(*microphone_),
                            audio::describeResult(static_cast<audio::HResult>(code))));
        }
        measureNewPackets();  // the last packet came after the last callback
        start();
    }

private:
    // Runs on the capture's thread between packets (or after it ended), the
    // only thread writing the buffer.
    bool measureNewPackets() {
        const auto captured = static_cast<std::size_t>(buffer_.position);
        meter_.add({buffer_.pcmStorage.data() + measured_, captured - measured_});
        measured_ = captured;
        return stopSignalled();
    }

    std::unique_ptr<audio::AudioCaptureEx> capture_;
    audio::AudioDevicePtr microphone_;
    LevelMeter& meter_;
    libAudio::StaticPCMBuffer buffer_;
    std::size_t measured_ = 0;
};

// Redraws one line in place on a terminal; writes one line per reading elsewhere.
class MeterScreen {
public:
    explicit MeterScreen(bool terminal) : terminal_(terminal) {}
    ~MeterScreen() { endLiveLine(); }
    MeterScreen(const MeterScreen&) = delete;
    MeterScreen& operator=(const MeterScreen&) = delete;

    void state(const std::string& line) {
        endLiveLine();
        kvo::cout() << printable(line) << std::endl;
    }
    void reading(const MeterReading& reading, bool muted) {
        if (!terminal_) {
            kvo::cout() << plainLine(reading, muted) << std::endl;
            return;
        }
        std::string line = terminalLine(reading, muted);
        const std::size_t width = line.size();
        line.resize(std::max(width, liveWidth_), ' ');
        liveWidth_ = width;
        kvo::cout() << '\r' << line << std::flush;
    }

private:
    void endLiveLine() {
        if (liveWidth_ > 0) {
            kvo::cout() << std::endl;
            liveWidth_ = 0;
        }
    }

    bool terminal_;
    std::size_t liveWidth_ = 0;
};

void meter(audio::BackendSession& session, const Options& options) {
    audio::AudioSystem& system = session.system();
    const audio::AudioDevicePtr microphone = chooseMicrophone(system, options.device);
    const audio::WAVEFORMATEX format = captureFormat(*microphone);
    const std::vector<std::string> boosts = boostTexts(*microphone);

    MeterScreen screen(isTerminal(kvo::cout()));
    MicrophoneState shown = readState(*microphone, boosts);
    screen.state(stateLine(microphone->friendlyName(), microphone->id(), shown));

    LevelMeter levels(format, kHoldIntervals);
    MeterCapture capture(system, microphone, format, levels);
    capture.start();
    const kvo::Stopwatch elapsed;
    const std::uint64_t limitMs = std::uint64_t{options.seconds} * 1000;
    while (!stopSignalled() && !session.stopRequested() &&
           (limitMs == 0 || elapsed.elapsedMs() < limitMs)) {
        kvo::System::mssleep(kIntervalMs);
        capture.keepRunning();
        const MicrophoneState now = readState(*microphone, boosts);
        if (now != shown) {
            shown = now;
            screen.state(stateLine(microphone->friendlyName(), microphone->id(), shown));
        }
        screen.reading(levels.endInterval(), shown.muted.value_or(false));
    }
}

}  // namespace

int runMeter(const Options& options) {
    try {
        OpenedBackend opened = openBackend(options);
        installStopSignal();
        meter(*opened.session, options);
        return TestResult::PASS().value();
    } catch (const MeterRefusal& refusal) {
        kvo::cerr() << "kvormicrophone: " << printable(refusal.what()) << std::endl;
        return refusal.exitCode();
    } catch (const UsageError& error) {
        kvo::cerr() << "kvormicrophone: " << error.what() << std::endl;
        return TestResult::BADPARAMS().value();
    } catch (const kvo::Exception& error) {
        kvo::cerr() << "kvormicrophone: " << error.getMessage() << std::endl;
        return TestResult::CANNOTRUN().value();
    }
}

}  // namespace vesk5::host
