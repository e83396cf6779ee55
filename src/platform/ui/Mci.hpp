#pragma once

#include <cstdint>
#include <string>

#include "platform/audio/WaveFormat.hpp"

namespace ui {

using MCIDEVICEID = std::uint32_t;
using MCIERROR = std::uint32_t;

inline constexpr MCIDEVICEID kNoMciDevice = 0xFFFFFFFFu;

// Device modes of the "mode" status item.
inline constexpr std::uint32_t MCI_MODE_NOT_READY = 524;
inline constexpr std::uint32_t MCI_MODE_STOP = 525;
inline constexpr std::uint32_t MCI_MODE_PLAY = 526;
inline constexpr std::uint32_t MCI_MODE_RECORD = 527;

// Error codes a service may answer with (winmm's numbers).
inline constexpr MCIERROR MCIERR_INVALID_DEVICE_ID = 257;
inline constexpr MCIERROR MCIERR_HARDWARE = 262;
inline constexpr MCIERROR MCIERR_INVALID_DEVICE_NAME = 263;
inline constexpr MCIERROR MCIERR_FILE_NOT_FOUND = 275;
inline constexpr MCIERROR MCIERR_FILE_NOT_SAVED = 286;
inline constexpr MCIERROR MCIERR_WAVE_OUTPUTSUNSUITABLE = 326;
inline constexpr MCIERROR MCIERR_WAVE_INPUTSUNSUITABLE = 328;

// The waveaudio device of the media control interface and the wave device
// lists beside it: what the pre-Vista interactive test records and plays with.
// Every command waits for its completion; record and play return once started.
class MciService {
public:
    virtual ~MciService() = default;

    // waveInGetNumDevs / waveInGetDevCaps, and the same for output.
    virtual std::uint32_t waveInDeviceCount() = 0;
    virtual bool waveInProductName(std::uint32_t index, std::string& name) = 0;
    virtual std::uint32_t waveOutDeviceCount() = 0;
    virtual bool waveOutProductName(std::uint32_t index, std::string& name) = 0;

    // Opens "waveaudio" with `element` ("" for a new recording, else a WAV file).
    virtual MCIERROR open(const std::string& element, MCIDEVICEID& id) = 0;
    virtual MCIERROR setTimeFormatMilliseconds(MCIDEVICEID id) = 0;
    // The wave input device and the recording format.
    virtual MCIERROR setInputFormat(MCIDEVICEID id, std::uint32_t inputDevice,
                                    const audio::WAVEFORMATEX& format) = 0;
    virtual MCIERROR setOutput(MCIDEVICEID id, std::uint32_t outputDevice) = 0;
    virtual MCIERROR record(MCIDEVICEID id, std::uint32_t fromMs, std::uint32_t toMs) = 0;
    virtual MCIERROR play(MCIDEVICEID id) = 0;
    virtual MCIERROR stop(MCIDEVICEID id) = 0;
    virtual MCIERROR save(MCIDEVICEID id, const std::string& path) = 0;
    virtual MCIERROR close(MCIDEVICEID id) = 0;
    virtual MCIERROR statusMode(MCIDEVICEID id, std::uint32_t& mode) = 0;
    // mciGetErrorString, at most 255 characters.
    virtual std::string errorText(MCIERROR error) = 0;
};

// The service of the audio system the host opened; an assertion before one is installed.
MciService& currentMciService();
bool hasMciService();

class ScopedMciService {
public:
    explicit ScopedMciService(MciService& service);
    ~ScopedMciService();
    ScopedMciService(const ScopedMciService&) = delete;
    ScopedMciService& operator=(const ScopedMciService&) = delete;

private:
    MciService* previous_;
};

// The user's temporary directory with a trailing separator (GetTempPath on
// Windows, TMPDIR or /tmp elsewhere); false when there is none.
bool temporaryDirectory(std::string& path);

}  // namespace ui
