#pragma once

#include "platform/ui/Mci.hpp"

namespace ui::win32 {

// The operating system's media control interface (winmm): the waveaudio
// device and the wave device lists of the machine the program runs on.
class WinMciService : public MciService {
public:
    std::uint32_t waveInDeviceCount() override;
    bool waveInProductName(std::uint32_t index, std::string& name) override;
    std::uint32_t waveOutDeviceCount() override;
    bool waveOutProductName(std::uint32_t index, std::string& name) override;

    MCIERROR open(const std::string& element, MCIDEVICEID& id) override;
    MCIERROR setTimeFormatMilliseconds(MCIDEVICEID id) override;
    MCIERROR setInputFormat(MCIDEVICEID id, std::uint32_t inputDevice,
                            const audio::WAVEFORMATEX& format) override;
    MCIERROR setOutput(MCIDEVICEID id, std::uint32_t outputDevice) override;
    MCIERROR record(MCIDEVICEID id, std::uint32_t fromMs, std::uint32_t toMs) override;
    MCIERROR play(MCIDEVICEID id) override;
    MCIERROR stop(MCIDEVICEID id) override;
    MCIERROR save(MCIDEVICEID id, const std::string& path) override;
    MCIERROR close(MCIDEVICEID id) override;
    MCIERROR statusMode(MCIDEVICEID id, std::uint32_t& mode) override;
    std::string errorText(MCIERROR error) override;
};

}  // namespace ui::win32
