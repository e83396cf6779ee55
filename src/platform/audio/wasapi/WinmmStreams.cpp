#include "WinmmStreams.hpp"

#include <algorithm>
#include <cstring>
#include <vector>

#include "Formats.hpp"

namespace audio::wasapi {
namespace {

// Blocks of 20 ms, a second of them queued, as much as an audio client
// buffers: a stream thread that wakes late on a busy machine loses nothing.
constexpr std::uint32_t kBlockMs = 20;
constexpr std::size_t kBlocks = 50;

struct Block {
    std::vector<char> data;
    WAVEHDR header{};
    bool queued = false;
};

std::vector<Block> makeBlocks(const WAVEFORMATEX& format) {
    const std::size_t frames = std::max<std::size_t>(1, format.nSamplesPerSec * kBlockMs / 1000);
    std::vector<Block> blocks(kBlocks);
    for (Block& block : blocks) {
        block.data.resize(frames * format.nBlockAlign);
        block.header.lpData = block.data.data();
        block.header.dwBufferLength = static_cast<DWORD>(block.data.size());
    }
    return blocks;
}

class WaveInCapture final : public RawCapture {
public:
    ~WaveInCapture() override { end(); }

    HResult open(UINT deviceId, const WAVEFORMATEX& format) {
        const ::WAVEFORMATEX windows = toWindows(format);
        if (const MMRESULT error = waveInOpen(&handle_, deviceId, &windows, 0, 0, CALLBACK_NULL);
            error != MMSYSERR_NOERROR) {
            handle_ = nullptr;
            return resultOfWinmm(error);
        }
        blocks_ = makeBlocks(format);
        for (Block& block : blocks_) {
            if (const MMRESULT error = queue(block); error != MMSYSERR_NOERROR) {
                return resultOfWinmm(error);
            }
        }
        return resultOfWinmm(waveInStart(handle_));
    }

    HResult read(std::span<unsigned char> free, std::size_t& written) override {
        written = 0;
        // Blocks come back in the order they were queued.
        while (written < free.size()) {
            Block& block = blocks_[next_];
            if ((block.header.dwFlags & WHDR_DONE) == 0) {
                break;
            }
            const std::size_t bytes =
                std::min<std::size_t>(block.header.dwBytesRecorded, free.size() - written);
            std::memcpy(free.data() + written, block.data.data(), bytes);
            written += bytes;
            block.header.dwFlags &= ~static_cast<DWORD>(WHDR_DONE);
            if (const MMRESULT error =
                    waveInAddBuffer(handle_, &block.header, sizeof(block.header));
                error != MMSYSERR_NOERROR) {
                return resultOfWinmm(error);
            }
            next_ = (next_ + 1) % blocks_.size();
        }
        return kOk;
    }

    void end() override {
        if (handle_ == nullptr) {
            return;
        }
        waveInReset(handle_);
        for (Block& block : blocks_) {
            if (block.queued) {
                waveInUnprepareHeader(handle_, &block.header, sizeof(block.header));
            }
        }
        waveInClose(handle_);
        handle_ = nullptr;
    }

private:
    MMRESULT queue(Block& block) {
        MMRESULT error = waveInPrepareHeader(handle_, &block.header, sizeof(block.header));
        if (error == MMSYSERR_NOERROR) {
            block.queued = true;
            error = waveInAddBuffer(handle_, &block.header, sizeof(block.header));
        }
        return error;
    }

    HWAVEIN handle_ = nullptr;
    std::vector<Block> blocks_;
    std::size_t next_ = 0;
};

class WaveOutRender final : public RawRender {
public:
    WaveOutRender(std::span<const unsigned char> samples, std::uint32_t repetitions)
        : samples_(samples.begin(), samples.end()),
          total_(std::uint64_t{samples_.size()} * repetitions) {}
    ~WaveOutRender() override { end(); }

    HResult open(UINT deviceId, const WAVEFORMATEX& format) {
        const ::WAVEFORMATEX windows = toWindows(format);
        if (const MMRESULT error = waveOutOpen(&handle_, deviceId, &windows, 0, 0, CALLBACK_NULL);
            error != MMSYSERR_NOERROR) {
            handle_ = nullptr;
            return resultOfWinmm(error);
        }
        blocks_ = makeBlocks(format);
        for (Block& block : blocks_) {
            if (const MMRESULT error =
                    waveOutPrepareHeader(handle_, &block.header, sizeof(block.header));
                error != MMSYSERR_NOERROR) {
                return resultOfWinmm(error);
            }
            block.queued = true;
            block.header.dwFlags |= WHDR_DONE;  // free to fill
        }
        return render();
    }

    HResult render() override {
        bool playing = false;
        for (Block& block : blocks_) {
            if ((block.header.dwFlags & WHDR_DONE) == 0) {
                playing = true;
                continue;
            }
            if (written_ >= total_) {
                continue;
            }
            const std::size_t bytes = static_cast<std::size_t>(
                std::min<std::uint64_t>(block.data.size(), total_ - written_));
            std::size_t filled = 0;
            while (filled < bytes) {
                const auto offset = static_cast<std::size_t>((written_ + filled) % samples_.size());
                const std::size_t chunk = std::min(bytes - filled, samples_.size() - offset);
                std::memcpy(block.data.data() + filled, samples_.data() + offset, chunk);
                filled += chunk;
            }
            block.header.dwBufferLength = static_cast<DWORD>(bytes);
            block.header.dwFlags &= ~static_cast<DWORD>(WHDR_DONE);
            if (const MMRESULT error = waveOutWrite(handle_, &block.header, sizeof(block.header));
                error != MMSYSERR_NOERROR) {
                return resultOfWinmm(error);
            }
            written_ += bytes;
            playing = true;
        }
        return playing ? kOk : kFalse;
    }

    void end() override {
        if (handle_ == nullptr) {
            return;
        }
        waveOutReset(handle_);
        for (Block& block : blocks_) {
            if (block.queued) {
                waveOutUnprepareHeader(handle_, &block.header, sizeof(block.header));
            }
        }
        waveOutClose(handle_);
        handle_ = nullptr;
    }

private:
    HWAVEOUT handle_ = nullptr;
    std::vector<Block> blocks_;
    std::vector<unsigned char> samples_;
    std::uint64_t total_;
    std::uint64_t written_ = 0;
};

class WaveDevice final : public RawDevice {
public:
    explicit WaveDevice(UINT deviceId) : deviceId_(deviceId) {}

    HResult openCapture(const WAVEFORMATEX& format, std::unique_ptr<RawCapture>& stream) override {
        auto capture = std::make_unique<WaveInCapture>();
        if (const HResult hr = capture->open(deviceId_, format); failed(hr)) {
            return hr;
        }
        stream = std::move(capture);
        return kOk;
    }
    HResult openRender(const WAVEFORMATEX& format, std::span<const unsigned char> samples,
                       std::uint32_t repetitions, std::unique_ptr<RawRender>& stream) override {
        if (samples.empty()) {
            return kInvalidArg;
        }
        auto render = std::make_unique<WaveOutRender>(samples, repetitions);
        if (const HResult hr = render->open(deviceId_, format); failed(hr)) {
            return hr;
        }
        stream = std::move(render);
        return kOk;
    }

private:
    UINT deviceId_;
};

}  // namespace

HResult resultOfWinmm(unsigned error) {
    switch (error) {
        case MMSYSERR_NOERROR:
            return kOk;
        case MMSYSERR_BADDEVICEID:
            return kNotFound;
        case WAVERR_BADFORMAT:
            return kUnsupportedFormat;
        case MMSYSERR_ALLOCATED:
            return kDeviceInUse;
        case MMSYSERR_NODRIVER:
        case MMSYSERR_NODRIVERCB:
            return kDeviceInvalidated;
        case MMSYSERR_INVALPARAM:
            return kInvalidArg;
        default:
            return kFail;
    }
}

std::shared_ptr<RawDevice> makeWaveDevice(EDataFlow flow, std::uint32_t deviceId) {
    if (flow == eAll) {
        return nullptr;
    }
    const UINT count = flow == eCapture ? waveInGetNumDevs() : waveOutGetNumDevs();
    if (deviceId == WAVE_MAPPER_ID) {
        return count > 0 ? std::make_shared<WaveDevice>(WAVE_MAPPER) : nullptr;
    }
    return deviceId < count ? std::make_shared<WaveDevice>(deviceId) : nullptr;
}

}  // namespace audio::wasapi
