#pragma once

#include <cstdint>

namespace zolt {

/// Upper bound of the bytes that a burst of pictures of this size takes, with `kept_frames` copies of its
/// frames; 0 for sizes that can't be.
uint64_t MemoryNeed(int32_t width, int32_t height, int32_t kept_frames, int32_t mode);

}  // namespace zolt
