#pragma once

#include <cstdint>
#include <vector>

namespace zolt {

/// The sRGB curve between linear light and displayed grey levels, by tables.
class ToneCurve {
 public:
  /// Linear light of a displayed byte, 65535 is white.
  static uint16_t Linear(uint8_t displayed);

  /// Turns linear light (1 is white; values outside 0..1 are cut) into grey levels 0 to 255. `noise`, if
  /// given, is linear too and becomes grey levels by the curve's slope at the pixel's value: noise keeps mean
  /// 0, so that a frame's mean over many shots is the frame without noise. The slope stops at 3: a phone's
  /// curve has a toe that keeps the blacks quiet.
  static void Develop(std::vector<float>& light, std::vector<float>* noise);
};

}  // namespace zolt
