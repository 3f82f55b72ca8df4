#pragma once

#include <memory_resource>
#include <vector>

#include "zolt_burst.h"

namespace zolt {

/// A copy of a checked picture, without the gaps between its samples. std::bad_alloc.
class KeptPicture {
 public:
  KeptPicture(const zolt_burst_picture& picture, std::pmr::memory_resource* memory);
  const zolt_burst_picture& view() const { return view_; }

  /// Bytes per pixel at most: red, green, blue and alpha.
  static constexpr int kMostBytesPerPixel = 4;

 private:
  std::pmr::vector<uint8_t> bytes_;
  zolt_burst_picture view_;
};

}  // namespace zolt
