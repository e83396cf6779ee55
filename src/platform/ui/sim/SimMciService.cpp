#include "SimMciService.hpp"

#include <cstring>

#include "common/libAudio-common/PCMSupport.hpp"
#include "common/libAudio-common/StaticPCMBuffer.hpp"
#include "platform/audio/WaveFile.hpp"
#include "platform/audio/WaveFormat.hpp"
#include "platform/kvo/System.hpp"

namespace ui::sim {
namespace {

// winmm keeps product names in 32 characters with the terminator.
constexpr std::size_t kProductNameLength = 31;
constexpr std::uint32_t kLastPacketMs = 20;
constexpr std::uint32_t kPollMs = 5;

}  // namespace

struct SimMciService::Device {
    bool fromFile = false;
    bool recorded = false;
    std::uint32_t inputDevice = audio::WAVE_MAPPER_ID;
    std::uint32_t outputDevice = audio::WAVE_MAPPER_ID;
    libAudio::StaticPCMBuffer buffer;
    std::unique_ptr<audio::WaveIn> in;
    std::unique_ptr<audio::WaveOut> out;

    void halt() {
        if (in) {
            in->stop();
        }
        if (out) {
            out->stop();
        }
    }
};

SimMciService::SimMciService(audio::AudioSystem& system) : system_(system) {}

SimMciService::~SimMciService() {
    for (auto& entry : devices_) {
        entry.second->halt();
    }
}

std::map<std::uint32_t, std::string> SimMciService::productNames(audio::EDataFlow flow) {
    kvo::Array<audio::AudioDevicePtr> endpoints;
    system_.endpoints(flow, audio::DEVICE_STATE_ACTIVE, endpoints);
    std::map<std::uint32_t, std::string> names;
    for (const auto& endpoint : endpoints) {
        std::uint32_t waveId = 0;
        if (endpoint->waveLegacyDeviceID(waveId)) {
            names[waveId] = std::string(endpoint->friendlyName()).substr(0, kProductNameLength);
        }
    }
    return names;
}

std::uint32_t SimMciService::waveInDeviceCount() {
    return static_cast<std::uint32_t>(productNames(audio::eCapture).size());
}

bool SimMciService::waveInProductName(std::uint32_t index, std::string& name) {
    const auto names = productNames(audio::eCapture);
    const auto it = names.find(index);
    if (it == names.end()) {
        return false;
    }
    name = it->second;
    return true;
}

std::uint32_t SimMciService::waveOutDeviceCount() {
    return static_cast<std::uint32_t>(productNames(audio::eRender).size());
}

bool SimMciService::waveOutProductName(std::uint32_t index, std::string& name) {
    const auto names = productNames(audio::eRender);
    const auto it = names.find(index);
    if (it == names.end()) {
        return false;
    }
    name = it->second;
    return true;
}

SimMciService::Device* SimMciService::find(MCIDEVICEID id) {
    const auto it = devices_.find(id);
    return it == devices_.end() ? nullptr : it->second.get();
}

MCIERROR SimMciService::open(const std::string& element, MCIDEVICEID& id) {
    auto device = std::make_unique<Device>();
    if (element.empty()) {
        device->buffer.format.Format = audio::makePcmFormat(1, 11025, 8);
    } else {
        audio::WaveFile file;
        if (!file.loadFile(element)) {
            return MCIERR_FILE_NOT_FOUND;
        }
        device->fromFile = true;
        device->buffer.format.Format = file.format();
        device->buffer.pcmStorage.resize(static_cast<std::size_t>(file.dataBytes()));
        if (file.dataBytes() > 0) {
            std::memcpy(device->buffer.pcmStorage.data(), file.samples().data(),
                        static_cast<std::size_t>(file.dataBytes()));
        }
        device->buffer.position = file.dataBytes();
        device->recorded = true;
    }
    id = nextId_++;
    devices_[id] = std::move(device);
    return 0;
}

MCIERROR SimMciService::setTimeFormatMilliseconds(MCIDEVICEID id) {
    return find(id) != nullptr ? 0 : MCIERR_INVALID_DEVICE_ID;
}

MCIERROR SimMciService::setInputFormat(MCIDEVICEID id, std::uint32_t inputDevice,
                                       const audio::WAVEFORMATEX& format) {
    Device* device = find(id);
    if (device == nullptr) {
        return MCIERR_INVALID_DEVICE_ID;
    }
    if ((inputDevice != audio::WAVE_MAPPER_ID && inputDevice >= waveInDeviceCount()) ||
        !audio::isWaveFormat(format)) {
        return MCIERR_WAVE_INPUTSUNSUITABLE;
    }
    device->inputDevice = inputDevice;
    device->buffer.format.Format = format;
    return 0;
}

MCIERROR SimMciService::setOutput(MCIDEVICEID id, std::uint32_t outputDevice) {
    Device* device = find(id);
    if (device == nullptr) {
        return MCIERR_INVALID_DEVICE_ID;
    }
    if (outputDevice != audio::WAVE_MAPPER_ID && outputDevice >= waveOutDeviceCount()) {
        return MCIERR_WAVE_OUTPUTSUNSUITABLE;
    }
    device->outputDevice = outputDevice;
    return 0;
}

MCIERROR SimMciService::record(MCIDEVICEID id, std::uint32_t fromMs, std::uint32_t toMs) {
    Device* device = find(id);
    if (device == nullptr) {
        return MCIERR_INVALID_DEVICE_ID;
    }
    if (device->fromFile || toMs <= fromMs) {
        return MCIERR_HARDWARE;
    }
    device->halt();
    const audio::WAVEFORMATEX& format = device->buffer.format.Format;
    const std::uint64_t blocks = std::uint64_t{format.nSamplesPerSec} * (toMs - fromMs) / 1000;
    device->buffer.pcmStorage.resize(static_cast<std::size_t>(blocks * format.nBlockAlign));
    device->buffer.position = 0;
    device->in = system_.createWaveIn();
    if (!device->in->open(device->inputDevice, &device->buffer)) {
        return MCIERR_WAVE_INPUTSUNSUITABLE;
    }
    if (!device->in->start()) {
        return MCIERR_HARDWARE;
    }
    device->recorded = true;
    return 0;
}

MCIERROR SimMciService::play(MCIDEVICEID id) {
    Device* device = find(id);
    if (device == nullptr) {
        return MCIERR_INVALID_DEVICE_ID;
    }
    device->halt();
    if (!device->recorded || device->buffer.position == 0) {
        return MCIERR_HARDWARE;
    }
    libAudio::StaticPCMBuffer track;
    track.format = device->buffer.format;
    track.pcmStorage.resize(static_cast<std::size_t>(device->buffer.position));
    std::memcpy(track.pcmStorage.data(), device->buffer.pcmStorage.data(),
                static_cast<std::size_t>(device->buffer.position));
    device->out = system_.createWaveOut();
    if (!device->out->open(device->outputDevice, track)) {
        return MCIERR_WAVE_OUTPUTSUNSUITABLE;
    }
    return device->out->start(1) ? 0 : MCIERR_HARDWARE;
}

MCIERROR SimMciService::stop(MCIDEVICEID id) {
    Device* device = find(id);
    if (device == nullptr) {
        return MCIERR_INVALID_DEVICE_ID;
    }
    // A recording stopped at its end point still delivers the packet in flight,
    // as the driver returns its last buffer; without it the file would be short.
    const std::uint64_t size = device->buffer.pcmStorage.size();
    const std::uint64_t lastPacket =
        std::uint64_t{device->buffer.format.Format.nAvgBytesPerSec} * kLastPacketMs / 1000;
    for (std::uint32_t waited = 0;
         device->in && device->in->stillRecording() &&
         device->buffer.position + lastPacket >= size && waited < kLastPacketMs;
         waited += kPollMs) {
        kvo::System::mssleep(kPollMs);
    }
    device->halt();
    return 0;
}

MCIERROR SimMciService::save(MCIDEVICEID id, const std::string& path) {
    Device* device = find(id);
    if (device == nullptr) {
        return MCIERR_INVALID_DEVICE_ID;
    }
    if (!device->recorded || device->fromFile) {
        return MCIERR_FILE_NOT_SAVED;
    }
    device->halt();
    return libAudio::createPCMWaveFile(path, device->buffer.format.Format,
                                       device->buffer.pcmStorage.data(), device->buffer.position)
               ? 0
               : MCIERR_FILE_NOT_SAVED;
}

MCIERROR SimMciService::close(MCIDEVICEID id) {
    const auto it = devices_.find(id);
    if (it == devices_.end()) {
        return MCIERR_INVALID_DEVICE_ID;
    }
    it->second->halt();
    devices_.erase(it);
    return 0;
}

MCIERROR SimMciService::statusMode(MCIDEVICEID id, std::uint32_t& mode) {
    Device* device = find(id);
    if (device == nullptr) {
        return MCIERR_INVALID_DEVICE_ID;
    }
    if (device->in && device->in->stillRecording()) {
        mode = MCI_MODE_RECORD;
    } else if (device->out && device->out->stillPlaying()) {
        mode = MCI_MODE_PLAY;
    } else {
        mode = MCI_MODE_STOP;
    }
    return 0;
}

std::string SimMciService::errorText(MCIERROR error) {
    switch (error) {
        case MCIERR_INVALID_DEVICE_ID:
            return "Invalid device ID. Use the ID given to the device when the device was opened.";
        case MCIERR_HARDWARE:
            return "The specified device is not ready or is in use by another program.";
        case MCIERR_INVALID_DEVICE_NAME:
            return "The specified device is not open or is not recognized by MCI.";
        case MCIERR_FILE_NOT_FOUND:
            return "Cannot find the specified file. Make sure the path and filename are correct.";
        case MCIERR_FILE_NOT_SAVED:
            return "The file was not saved. Make sure your system has sufficient disk space or "
                   "has an intact network connection.";
        case MCIERR_WAVE_OUTPUTSUNSUITABLE:
            return "None of the wave output devices can play the specified file.";
        case MCIERR_WAVE_INPUTSUNSUITABLE:
            return "None of the wave input devices can record in the current format.";
        default:
            return "Unknown MCI error " + std::to_string(error) + ".";
    }
}

}  // namespace ui::sim
