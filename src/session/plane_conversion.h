#pragma once

#include <cstddef>
#include <cstdint>

namespace zolt {

/// Conversions between the caller's frames and separate planes, four helper threads each. A frame is
/// `width` x `height` pixels, both multiples of 8 from 64 up. `format` is one of the two interleaved layouts:
/// ZOLT_MF_FORMAT_NV21 (pairs V, U) or ZOLT_MF_FORMAT_NV12 (pairs U, V). Source and destination don't
/// overlap. When threads can't be started the caller's thread does the work: the result is always complete.

/// The interleaved chroma behind the luma of `frame` into two planes of width * height / 4 bytes: U at
/// `planes`, V right behind it.
void SplitChroma(const uint8_t* frame, uint8_t* planes, int32_t width, int32_t height, uint32_t format);

/// The chroma planes behind the luma of the planar `image` (U, then V) into width * height / 2 interleaved
/// bytes at `pairs`.
void MergeChroma(const uint8_t* image, uint8_t* pairs, int32_t width, int32_t height, uint32_t format);

/// memcpy of a plane or a frame, a quarter of it per thread.
void CopyInThreads(uint8_t* destination, const uint8_t* source, size_t length);

}  // namespace zolt
