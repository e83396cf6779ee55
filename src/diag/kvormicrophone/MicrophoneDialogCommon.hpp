#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "platform/audio/WaveFormat.hpp"
#include "platform/ui/Dialog.hpp"
#include "platform/vesk5/Event.hpp"

// What the two dialogs of the interactive test share: their resources and
// controls, their texts, the progress of a three-second record or play, and
// the recording format of the test's parameters.
namespace kvormicrophone::dialog {

inline constexpr int IDD_MICROPHONE = 102;
inline constexpr int IDI_MICROPHONE = 103;
inline constexpr int IDD_TROUBLESHOOTER = 104;

inline constexpr int IDC_CLOSE = ui::IDCANCEL;
inline constexpr int IDC_RECORD = 1000;
inline constexpr int IDC_PLAY = 1001;
inline constexpr int IDC_PROGRESS = 1002;
inline constexpr int IDC_FAIL = 1012;
inline constexpr int IDC_PASS = 1013;
inline constexpr int IDC_INPUT_LABEL = 1014;
inline constexpr int IDC_OUTPUT_LABEL = 1016;
inline constexpr int IDC_INPUT_LIST = 1017;
inline constexpr int IDC_OUTPUT_LIST = 1018;
inline constexpr int IDC_INSTRUCTIONS = 1019;

inline constexpr std::uint32_t kRecordingMs = 3000;
inline constexpr unsigned kTimerId = 1;

// Resources 102 and 104 (any other id gives 102).
const ui::DialogTemplate& dialogTemplate(int resourceId);

// min(100, elapsed / total × 100 rounded half up); the step is over once elapsed reaches total.
unsigned progressPercent(std::uint64_t elapsedMs, std::uint32_t totalMs = kRecordingMs);
bool progressComplete(std::uint64_t elapsedMs, std::uint32_t totalMs = kRecordingMs);

std::string text(const vesk5::Event* event);
// Instructions 1, 4, 5, 6 and 7, separated by blank lines.
std::string instructionText();
// Caption, instruction text, button and label texts, each only where the control exists.
void setTexts(ui::Dialog& dialog);

// The recording format fields of the pre-Vista dialog; zero means "not given".
struct RecordingFormat {
    std::uint32_t samplesPerSec = 0;
    std::uint16_t channels = 0;
    std::uint16_t bitsPerSample = 0;
};

enum class FormatParameter { BitsPerSample, NumberOfChannels, SamplesPerSec };

// Reads bits, then channels, then rate, stopping at the first zero, so a
// custom format needs all three and the later ones are never read otherwise.
RecordingFormat readRecordingFormat(const std::function<std::uint32_t(FormatParameter)>& read);
// The same from the interactive test's parameters.
RecordingFormat recordingFormatFromParameters();
// PCM with block alignment (bits / 8) × channels and byte rate (bits / 8) × channels × rate.
audio::WAVEFORMATEX pcmFormat(const RecordingFormat& format);

// The last progress posted by any progress dialog of the process. Shared on
// purpose: a dialog that starts at the value another one ended with posts nothing.
std::atomic<unsigned>& lastPostedProgress();

}  // namespace kvormicrophone::dialog
