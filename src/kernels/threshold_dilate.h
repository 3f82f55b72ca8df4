#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace zolt {

/// Binarises a plane in place (255 at or above the threshold, else 0), then dilates it with a window of 7 x
/// 7, cut at the borders: 255 where any pixel within 3 rows and 3 columns is set. Pitch w. From 33 columns up
/// the work is done on two bit planes from the system's heap, so that threads may call this without a lock; a
/// refusal is logged and returns -1000 with the plane binarised but not dilated. Below 33 columns `temporary`
/// (w * h bytes) holds a copy; otherwise it is not touched and may be null.
int32_t ThresholdDilate(uint8_t* plane, int w, int h, uint8_t threshold, uint8_t* temporary);

/// Where ThresholdDilate takes its bit planes: std::malloc. A test that must see a refusal stores a function
/// of its own here (its blocks go to std::free) and puts std::malloc back; any thread may call it meanwhile.
extern std::atomic<void* (*)(size_t)> bit_mask_malloc;

}  // namespace zolt
