#pragma once

#include <cstdint>
#include <vector>

#include "support/test_planes.h"
#include "zolt_burst.h"

namespace zolt::test {

/// I420 frames of one textured scene through a window that moves by whole pixels, with noise.
struct HandHeldBurst {
  int width, height;
  std::vector<std::vector<uint8_t>> frames;
  std::vector<uint8_t> truth;  ///< the first frame's, without noise

  zolt_burst_picture View(size_t i) const;
  std::vector<zolt_burst_picture> Views() const;
};

/// Sides may be odd. The shift grows from frame to frame.
HandHeldBurst MakeHandHeldBurst(int width, int height, int frames, double sigma, uint32_t seed = 1);

/// Luma's PSNR in dB, over the first width * height bytes.
double LumaPsnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b, int width, int height);

/// zolt_burst_denoise into an I420 block.
struct BurstResult {
  int32_t code;
  std::vector<uint8_t> image;
  zolt_burst_report report;
  std::vector<zolt_burst_frame_report> frames;
};
BurstResult Clean(const std::vector<zolt_burst_picture>& frames, const zolt_burst_options* options = nullptr);

}  // namespace zolt::test
