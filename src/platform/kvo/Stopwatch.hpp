#pragma once

#include <cstdint>

#include "Clock.hpp"

namespace kvo {

// Measures elapsed time on the process clock, so it follows virtual time too.
class Stopwatch {
public:
    Stopwatch() : start_(Clock::instance().now()) {}
    void reset() { start_ = Clock::instance().now(); }
    std::uint64_t elapsedMs() const {
        return static_cast<std::uint64_t>(
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::instance().now() - start_)
                .count());
    }

private:
    Clock::Duration start_;
};

}  // namespace kvo
