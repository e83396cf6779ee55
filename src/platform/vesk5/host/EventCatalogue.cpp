#include "EventCatalogue.hpp"

#include <map>

namespace vesk5::host {
namespace {

const std::map<std::string_view, std::string_view>& catalogue() {
    static const std::map<std::string_view, std::string_view> texts{
        {"NoIntegratedMic", "No testable integrated microphone is available for testing."},
        {"RecordingFailToStart", "{deviceName}: audio recording failed to start."},
        {"EndpointStateWarning",
         "Audio devices were added or removed while the test was running. Please do not add or "
         "remove audio devices "
         "while testing is in progress."},
        {"RecordingTooSoft", "{deviceName}: the recording is too soft to pass the test."},
        {"NowTesting", "Now testing {deviceName}."},
        {"FoundExternalMic", "An external microphone was found: {deviceName}."},
        {"MSG_REPLAY_NOT_SUPPORTED", "Playing back the recording is not supported on this device."},
        {"MSG_DOES_NOT_SUPPORT_RECORDING", "This system has no device that supports recording."},
        {"MSG_DID_THE_TEST_PASS", "Did you hear your recording clearly?"},
        {"MSG_TEST_NAME", "Microphone Test"},
        {"MSG_CAPTION_INSTRUCTIONS", "Instructions"},
        {"MSG_INSTRUCTIONS_1",
         "1. Choose the input device (microphone) and the output device (speaker)."},
        {"MSG_INSTRUCTIONS_2", "Press Record and speak into the microphone for a few seconds."},
        {"MSG_INSTRUCTIONS_4",
         "2. Press Record and speak into the microphone until the recording ends."},
        {"MSG_INSTRUCTIONS_5", "3. Press Play to hear the recording."},
        {"MSG_INSTRUCTIONS_6",
         "4. Press Pass if you heard your voice clearly, Fail if you did not."},
        {"MSG_INSTRUCTIONS_7", "5. Press Close to end the test without a verdict."},
        {"MSG_BUTTON_LABEL_RECORD", "Record"},
        {"MSG_BUTTON_LABEL_PLAY", "Play"},
        {"MSG_BUTTON_LABEL_PASS", "Pass"},
        {"MSG_BUTTON_LABEL_FAIL", "Fail"},
        {"MSG_BUTTON_LABEL_CLOSE", "Close"},
        {"INPUT_DEVICE", "Input device:"},
        {"DEFAULT_INPUT_DEVICE", "Default input device"},
        {"OUTPUT_DEVICE", "Output device:"},
        {"DEFAULT_OUTPUT_DEVICE", "Default output device"},
        {"RECORD_IN_USE_TRY_AGAIN",
         "The recording device is in use. Close other programs that record and try again."},
        {"MSG_INPUT_DETECTION", "No input device was detected. Connect a microphone and press OK."},
        {"MSG_OUTPUT_DETECTION",
         "No output device was detected. Connect speakers or headphones and press OK."},
        {"MSG_NOT_OPEN_WAV_FILE", "The recording file could not be opened."},
        {"MSG_COULD_NOT_OPEN_DEVICE", "The audio device could not be opened."},
        {"MSG_NOT_SET_TIME_FORMAT", "The audio device does not accept the time format."},
        {"MSG_FAILED_CREATING_SOUND_FILE", "The sound file could not be created."},
        {"MSG_FILE_NOT_SAVED", "The recording could not be saved."},
        {"MSG_SET_PCM_FORMAT_FAIL", "The audio device does not accept the recording format."},
        {"TestFailed", "The microphone test failed: the recording was not heard."},
        {"FAIL_FREQUENCY_TONE_TEST",
         "These tones were not heard by the integrated microphones (Hz): {frequencies}"},
        {"MSG_NO_MICROPHONE", "No integrated microphone was found."},
        {"MSG_NO_SPEAKER", "No integrated speaker was found."},
        {"MSG_BAD_FREQ_INPUT",
         "The frequency list is not valid: give whole frequencies from 20 to 20000 Hz separated by "
         "commas."},
        {"MSG_CURRENT_FREQ", "Playing a {frequency} Hz tone."},
        {"DEVICE_MISCONFIGURED",
         "An audio device is misconfigured: it offers no usable format or its recording did not "
         "start or was "
         "interrupted."},
    };
    return texts;
}

}  // namespace

bool hasEventText(std::string_view key) {
    return catalogue().contains(key);
}

std::string eventText(std::string_view key,
                      const std::vector<std::pair<std::string, Value>>& variables) {
    const auto it = catalogue().find(key);
    std::string text(it != catalogue().end() ? it->second : key);
    for (const auto& [name, value] : variables) {
        const std::string placeholder = "{" + name + "}";
        const std::string replacement = value.toString();
        std::size_t pos = 0;
        while ((pos = text.find(placeholder, pos)) != std::string::npos) {
            text.replace(pos, placeholder.size(), replacement);
            pos += replacement.size();
        }
    }
    return text;
}

}  // namespace vesk5::host
