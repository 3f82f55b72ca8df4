#pragma once

#include <memory_resource>

#include "base/yuv_image.h"
#include "burst/alignment/alignment.h"
#include "burst/picture/picture.h"
#include "burst/work_geometry.h"

namespace zolt {

/// One frame as the merge takes it: warped onto the reference, at the work's size, mirrored around. Reused
/// for all frames of a burst, the reference first.
class PlacedPlanes {
 public:
  /// std::bad_alloc when memory is refused, here and below.
  PlacedPlanes(const WorkGeometry& work, std::pmr::memory_resource* memory);

  void PutReference(const zolt_burst_picture& picture);

  /// Where the frame shows nothing the pixels are the reference's, so that nothing there counts as moved.
  /// `even_out`: brightness and colour are taken to the reference's.
  void PutFrame(const zolt_burst_picture& picture, const Alignment& alignment, bool even_out,
                const YuvImage& reference);

  /// Y, U, V without padding between.
  const uint8_t* block() const { return block_.data(); }
  /// 255 where the latest frame shows nothing, else 0; work size.
  const uint8_t* outside() const { return outside_.data(); }

 private:
  struct Plane {
    MutablePlane whole;
    MutablePlane inner;
    int left;
    int top;
  };
  Plane PlaneAt(int index);
  MutablePlane MaskOf(const Plane& plane, bool luma);
  void Put(int index, PlaneView from, const Homography& motion, const uint8_t* tone,
           const YuvImage& reference);

  const WorkGeometry work_;
  std::pmr::vector<uint8_t> block_;
  std::pmr::vector<uint8_t> outside_;
  std::pmr::vector<uint8_t> chroma_outside_;
  OwnedPlane luma_, u_, v_;  ///< of pictures that are not planes already
};

}  // namespace zolt
