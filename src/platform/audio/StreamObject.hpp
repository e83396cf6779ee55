#pragma once

#include <memory>
#include <utility>

#include "AudioTypes.hpp"
#include "RawStream.hpp"

// What every capture, playback and wave-device object of the layer keeps
// beside its stream thread: the backend's stream source, the device it was
// opened on, and its last failure, cleared by a success.

namespace audio {

class StreamObject {
protected:
    explicit StreamObject(std::shared_ptr<RawStreamSource> source) : source_(std::move(source)) {}

    bool fail(HResult hr) {
        error_ = hr;
        return false;
    }
    bool succeed() {
        error_ = kOk;
        return true;
    }
    // Success or failure as `hr` says.
    bool outcome(HResult hr) { return failed(hr) ? fail(hr) : succeed(); }

    std::shared_ptr<RawStreamSource> source_;
    std::shared_ptr<RawDevice> device_;
    HResult error_ = kOk;
};

}  // namespace audio
