#include "WinMciService.hpp"

// clang-format off
#include <windows.h>
#include <mmsystem.h>
// clang-format on

#include "WideText.hpp"

namespace ui::win32 {
namespace {

MCIERROR send(MCIDEVICEID id, UINT command, DWORD_PTR flags, void* parameters) {
    return static_cast<MCIERROR>(
        mciSendCommandW(id, command, flags, reinterpret_cast<DWORD_PTR>(parameters)));
}

}  // namespace

std::uint32_t WinMciService::waveInDeviceCount() {
    return waveInGetNumDevs();
}

bool WinMciService::waveInProductName(std::uint32_t index, std::string& name) {
    WAVEINCAPSW caps{};
    if (waveInGetDevCapsW(index, &caps, sizeof caps) != MMSYSERR_NOERROR) {
        return false;
    }
    name = narrow(caps.szPname);
    return true;
}

std::uint32_t WinMciService::waveOutDeviceCount() {
    return waveOutGetNumDevs();
}

bool WinMciService::waveOutProductName(std::uint32_t index, std::string& name) {
    WAVEOUTCAPSW caps{};
    if (waveOutGetDevCapsW(index, &caps, sizeof caps) != MMSYSERR_NOERROR) {
        return false;
    }
    name = narrow(caps.szPname);
    return true;
}

MCIERROR WinMciService::open(const std::string& element, MCIDEVICEID& id) {
    const std::wstring file = widen(element);
    MCI_OPEN_PARMSW parameters{};
    parameters.lpstrDeviceType = L"waveaudio";
    parameters.lpstrElementName = file.c_str();
    const MCIERROR error =
        send(0, MCI_OPEN, MCI_OPEN_TYPE | MCI_OPEN_ELEMENT | MCI_WAIT, &parameters);
    if (error == 0) {
        id = parameters.wDeviceID;
    }
    return error;
}

MCIERROR WinMciService::setTimeFormatMilliseconds(MCIDEVICEID id) {
    MCI_SET_PARMS parameters{};
    parameters.dwTimeFormat = MCI_FORMAT_MILLISECONDS;
    return send(id, MCI_SET, MCI_SET_TIME_FORMAT | MCI_WAIT, &parameters);
}

MCIERROR WinMciService::setInputFormat(MCIDEVICEID id, std::uint32_t inputDevice,
                                       const audio::WAVEFORMATEX& format) {
    MCI_WAVE_SET_PARMS parameters{};
    parameters.wInput = inputDevice;
    parameters.wFormatTag = format.wFormatTag;
    parameters.nChannels = format.nChannels;
    parameters.nSamplesPerSec = format.nSamplesPerSec;
    parameters.nAvgBytesPerSec = format.nAvgBytesPerSec;
    parameters.nBlockAlign = format.nBlockAlign;
    parameters.wBitsPerSample = format.wBitsPerSample;
    return send(id, MCI_SET,
                MCI_WAIT | MCI_WAVE_INPUT | MCI_WAVE_SET_FORMATTAG | MCI_WAVE_SET_CHANNELS |
                    MCI_WAVE_SET_SAMPLESPERSEC | MCI_WAVE_SET_AVGBYTESPERSEC |
                    MCI_WAVE_SET_BLOCKALIGN | MCI_WAVE_SET_BITSPERSAMPLE,
                &parameters);
}

MCIERROR WinMciService::setOutput(MCIDEVICEID id, std::uint32_t outputDevice) {
    MCI_WAVE_SET_PARMS parameters{};
    parameters.wOutput = outputDevice;
    return send(id, MCI_SET, MCI_WAIT | MCI_WAVE_OUTPUT, &parameters);
}

MCIERROR WinMciService::record(MCIDEVICEID id, std::uint32_t fromMs, std::uint32_t toMs) {
    // Without MCI_WAIT: the command returns once the recording runs.
    MCI_RECORD_PARMS parameters{};
    parameters.dwFrom = fromMs;
    parameters.dwTo = toMs;
    return send(id, MCI_RECORD, MCI_FROM | MCI_TO, &parameters);
}

MCIERROR WinMciService::play(MCIDEVICEID id) {
    MCI_PLAY_PARMS parameters{};
    return send(id, MCI_PLAY, 0, &parameters);
}

MCIERROR WinMciService::stop(MCIDEVICEID id) {
    MCI_GENERIC_PARMS parameters{};
    return send(id, MCI_STOP, MCI_WAIT, &parameters);
}

MCIERROR WinMciService::save(MCIDEVICEID id, const std::string& path) {
    const std::wstring file = widen(path);
    MCI_SAVE_PARMSW parameters{};
    parameters.lpfilename = file.c_str();
    return send(id, MCI_SAVE, MCI_SAVE_FILE | MCI_WAIT, &parameters);
}

MCIERROR WinMciService::close(MCIDEVICEID id) {
    MCI_GENERIC_PARMS parameters{};
    return send(id, MCI_CLOSE, MCI_WAIT, &parameters);
}

MCIERROR WinMciService::statusMode(MCIDEVICEID id, std::uint32_t& mode) {
    MCI_STATUS_PARMS parameters{};
    parameters.dwItem = MCI_STATUS_MODE;
    const MCIERROR error = send(id, MCI_STATUS, MCI_STATUS_ITEM | MCI_WAIT, &parameters);
    if (error == 0) {
        mode = static_cast<std::uint32_t>(parameters.dwReturn);
    }
    return error;
}

std::string WinMciService::errorText(MCIERROR error) {
    wchar_t text[256] = {};
    if (mciGetErrorStringW(error, text, 256) == FALSE) {
        return "MCI error " + std::to_string(error);
    }
    return narrow(text);
}

}  // namespace ui::win32
