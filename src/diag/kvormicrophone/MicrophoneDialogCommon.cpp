#include "MicrophoneDialogCommon.hpp"

#include <algorithm>

#include "MicrophoneTestParameter.hpp"
#include "ModuleGlobals.hpp"
#include "platform/vesk5/DiagModule.hpp"

namespace kvormicrophone::dialog {
namespace {

using ui::ControlKind;
using ui::ControlRole;

ui::DialogTemplate makeTemplate(int resourceId) {
    return {resourceId,
            {{IDC_INSTRUCTIONS, ControlKind::Text, ControlRole::Instructions, true},
             {IDC_INPUT_LABEL, ControlKind::Label, ControlRole::None, true},
             {IDC_INPUT_LIST, ControlKind::List, ControlRole::InputList, true},
             {IDC_OUTPUT_LABEL, ControlKind::Label, ControlRole::None, true},
             {IDC_OUTPUT_LIST, ControlKind::List, ControlRole::OutputList, true},
             {IDC_PROGRESS, ControlKind::Progress, ControlRole::Progress, true},
             {IDC_RECORD, ControlKind::Button, ControlRole::Record, true},
             {IDC_PLAY, ControlKind::Button, ControlRole::Play, false},
             {IDC_PASS, ControlKind::Button, ControlRole::Pass, false},
             {IDC_FAIL, ControlKind::Button, ControlRole::Fail, false},
             {IDC_CLOSE, ControlKind::Button, ControlRole::Close, true}}};
}

}  // namespace

const ui::DialogTemplate& dialogTemplate(int resourceId) {
    static const ui::DialogTemplate microphone = makeTemplate(IDD_MICROPHONE);
    static const ui::DialogTemplate troubleshooter = makeTemplate(IDD_TROUBLESHOOTER);
    return resourceId == IDD_TROUBLESHOOTER ? troubleshooter : microphone;
}

unsigned progressPercent(std::uint64_t elapsedMs, std::uint32_t totalMs) {
    const double percent = static_cast<double>(elapsedMs) / totalMs * 100.0 + 0.5;
    return std::min(100u, static_cast<unsigned>(percent));
}

bool progressComplete(std::uint64_t elapsedMs, std::uint32_t totalMs) {
    return static_cast<double>(elapsedMs) / totalMs >= 1.0;
}

std::string text(const vesk5::Event* event) {
    return vesk5::DiagModule::localizedText(event);
}

std::string instructionText() {
    std::string joined;
    for (const vesk5::Event* event :
         {events::MSG_INSTRUCTIONS_1, events::MSG_INSTRUCTIONS_4, events::MSG_INSTRUCTIONS_5,
          events::MSG_INSTRUCTIONS_6, events::MSG_INSTRUCTIONS_7}) {
        joined += (joined.empty() ? "" : "\r\n\r\n") + text(event);
    }
    return joined;
}

void setTexts(ui::Dialog& dialog) {
    dialog.setCaption(kMicrophoneTestName);
    dialog.setText(IDC_INSTRUCTIONS, instructionText());
    const std::pair<int, const vesk5::Event*> labels[] = {
        {IDC_RECORD, events::MSG_BUTTON_LABEL_RECORD}, {IDC_PLAY, events::MSG_BUTTON_LABEL_PLAY},
        {IDC_FAIL, events::MSG_BUTTON_LABEL_FAIL},     {IDC_PASS, events::MSG_BUTTON_LABEL_PASS},
        {IDC_CLOSE, events::MSG_BUTTON_LABEL_CLOSE},   {IDC_INPUT_LABEL, events::INPUT_DEVICE},
        {IDC_OUTPUT_LABEL, events::OUTPUT_DEVICE}};
    for (const auto& [id, event] : labels) {
        if (dialog.hasControl(id)) {
            dialog.setText(id, text(event));
        }
    }
}

RecordingFormat readRecordingFormat(const std::function<std::uint32_t(FormatParameter)>& read) {
    RecordingFormat format;
    format.bitsPerSample = static_cast<std::uint16_t>(read(FormatParameter::BitsPerSample));
    if (format.bitsPerSample != 0) {
        format.channels = static_cast<std::uint16_t>(read(FormatParameter::NumberOfChannels));
        if (format.channels != 0) {
            format.samplesPerSec = read(FormatParameter::SamplesPerSec);
        }
    }
    return format;
}

RecordingFormat recordingFormatFromParameters() {
    return readRecordingFormat([](FormatParameter parameter) {
        switch (parameter) {
            case FormatParameter::BitsPerSample:
                return MicrophoneTestParameter::bitsPerSample();
            case FormatParameter::NumberOfChannels:
                return MicrophoneTestParameter::numberOfChannels();
            case FormatParameter::SamplesPerSec:
                return MicrophoneTestParameter::samplesPerSec();
        }
        return 0u;
    });
}

audio::WAVEFORMATEX pcmFormat(const RecordingFormat& format) {
    audio::WAVEFORMATEX pcm;
    pcm.wFormatTag = audio::WAVE_FORMAT_PCM;
    pcm.nChannels = format.channels;
    pcm.nSamplesPerSec = format.samplesPerSec;
    pcm.wBitsPerSample = format.bitsPerSample;
    pcm.nBlockAlign = static_cast<std::uint16_t>(format.bitsPerSample / 8 * format.channels);
    pcm.nAvgBytesPerSec = std::uint32_t{pcm.nBlockAlign} * format.samplesPerSec;
    return pcm;
}

std::atomic<unsigned>& lastPostedProgress() {
    static std::atomic<unsigned> last{0};
    return last;
}

}  // namespace kvormicrophone::dialog
