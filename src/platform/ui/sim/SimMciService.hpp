#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/audio/AudioSystem.hpp"
#include "platform/ui/Mci.hpp"

namespace ui::sim {

// The waveaudio device on an audio system's wave-in and wave-out devices:
// what the simulated PC offers the pre-Vista interactive test. A new device
// records in the MCI default format (11025 Hz, 8 bits, mono) until another is set.
class SimMciService : public MciService {
public:
    explicit SimMciService(audio::AudioSystem& system);
    ~SimMciService() override;

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

private:
    struct Device;
    Device* find(MCIDEVICEID id);
    std::map<std::uint32_t, std::string> productNames(audio::EDataFlow flow);

    audio::AudioSystem& system_;
    std::map<MCIDEVICEID, std::unique_ptr<Device>> devices_;
    MCIDEVICEID nextId_ = 1;
};

}  // namespace ui::sim
