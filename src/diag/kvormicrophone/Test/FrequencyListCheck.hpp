#pragma once

#include <cstdint>

#include "platform/kvo/String.hpp"

namespace kvormicrophone {

// The tone check's match window (the transform length in seconds, read as
// hertz) is narrower than one analysis bin, so a tone far enough between two
// bins fails even on a perfect path. These tell which, before anything plays.

// The padded transform length for one second captured at `rate`, its front 60% dropped.
std::uint32_t transformLengthFor(std::uint32_t rate);

// Whether a pure tone of `hz` captured at `rate` is found within the match window.
bool passesOnPerfectPath(std::uint32_t hz, std::uint32_t rate);

// A note for a frequency that fails on a perfect path, naming the nearest
// frequencies from `lowest` to `highest` that pass; empty when it passes.
kvo::String perfectPathNote(std::uint32_t hz, std::uint32_t rate, std::uint32_t lowest,
                            std::uint32_t highest);

}  // namespace kvormicrophone
