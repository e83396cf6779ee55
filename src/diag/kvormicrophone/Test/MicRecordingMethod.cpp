#include "MicRecordingMethod.hpp"

#include "AudioTestHelper.hpp"
#include "MicManagerWin7.hpp"
#include "diag/kvormicrophone/MicrophoneTestEventReporter.hpp"
#include "diag/kvormicrophone/ModuleLogger.hpp"
#include "platform/audio/CurrentSystem.hpp"
#include "platform/kvo/FileSystem.hpp"
#include "platform/kvo/System.hpp"
#include "platform/vesk5/DiagModule.hpp"

namespace kvormicrophone {

using vesk5::DiagModule;
using vesk5::TestResult;

namespace {

constexpr std::uint32_t kSilentRecordingMs = 5000;
// A capture that would not start often needs the audio service to settle; the
// long wait before the single retry is deliberate.
constexpr std::uint32_t kRetryWaitMs = 47000;
constexpr std::uint32_t kPollMs = 10;

constexpr const char* kStimulusName = "IMTVoice.wav";

}  // namespace

kvo::String stimulusPath() {
    constexpr char sep = kvo::FileSystem::kPathSeparator;
    // A base directory may carry its own copy; otherwise the one installed
    // (or, in a build tree, copied) to share/kvormicrophone beside bin/.
    const kvo::String underBase = DiagModule::getBaseDirectory() + sep + "Resources" + sep +
                                  "kvormicrophone" + sep + kStimulusName;
    if (kvo::FileSystem::exists(underBase)) {
        return underBase;
    }
    return kvo::System::executableDirectory() + sep + ".." + sep + "share" + sep +
           "kvormicrophone" + sep + kStimulusName;
}

bool MicRecordingMethod::startWithRetry(Device& device, MicManagerWin7& manager) {
    KVO_LOG(moduleLogger(), kvo::kLogDetail, "Recording from mic device {}", device.name);
    if (manager.startRecording(device.index)) {
        return true;
    }
    manager.stop();
    kvo::System::mssleep(kRetryWaitMs);
    KVO_LOG(moduleLogger(), kvo::kLogInfo, "First recording attempt failed.");
    if (manager.startRecording(device.index)) {
        return true;
    }
    KVO_LOG(moduleLogger(), kvo::kLogError, "Unable to start recording from device {}",
            device.name);
    MicrophoneTestEventReporter::recordingFailToStart(device.name);
    return false;
}

TestResult MicRecordingMethod::waitForRecording(MicManagerWin7& manager) {
    KVO_LOG(moduleLogger(), kvo::kLogDetail, "Waiting for recording thread to finish");
    for (;;) {
        kvo::ManagedThread* thread = manager.recordingThread();
        if (thread == nullptr || !thread->isRunning() || !manager.stillRecording()) {
            return TestResult::PASS();
        }
        if (DiagModule::checkForStop()) {
            KVO_LOG(moduleLogger(), kvo::kLogError, "Engine is telling the user to stop the test.");
            return TestResult::USERABORTED();
        }
        kvo::System::mssleep(kPollMs);
    }
}

TestResult SilentRecording::record(TestResult&, Device& device, MicManagerWin7& manager) {
    manager.setRecordingDuration(kSilentRecordingMs);
    manager.setCaptureVolumeLevel(device.index, volume);
    manager.setCaptureMute(device.index, mute);
    return startWithRetry(device, manager) ? waitForRecording(manager) : TestResult::CANNOTRUN();
}

TestResult LoudRecording::record(TestResult&, Device& device, MicManagerWin7& manager) {
    libAudio::StaticPCMBuffer stimulus;
    if (!createStereoPlayback(stimulusPath(), stimulus)) {
        KVO_LOG(moduleLogger(), kvo::kLogDetail, "Unable to create playback");
        return TestResult::CANNOTRUN();
    }
    const std::unique_ptr<audio::WaveOut> player = audio::currentSystem().createWaveOut();
    if (!player->open(audio::WAVE_MAPPER_ID, stimulus)) {
        KVO_LOG(moduleLogger(), kvo::kLogDetail, "Unable to open audio resource");
        return TestResult::CANNOTRUN();
    }
    const audio::WAVEFORMATEX& format = stimulus.format.Format;
    const std::uint64_t wholeBlocks =
        stimulus.pcmStorage.size() / format.nBlockAlign * format.nBlockAlign;
    manager.setRecordingDuration(
        static_cast<std::uint32_t>(wholeBlocks * 1000 / format.nAvgBytesPerSec));
    manager.setCaptureVolumeLevel(device.index, volume);
    manager.setCaptureMute(device.index, mute);

    TestResult result = TestResult::CANNOTRUN();
    if (startWithRetry(device, manager)) {
        manager.setDefaultSpeakerVolume();
        player->start(1);
        result = waitForRecording(manager);
    }
    player->stop();
    return result;
}

}  // namespace kvormicrophone
