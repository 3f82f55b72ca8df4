#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/random.h"
#include "base/yuv_image.h"

namespace zolt::test {

/// A heap block of exactly `count` elements: the address sanitizer sees the first read or write past it.
template <typename T>
std::vector<T> RandomPlane(int64_t count, uint32_t bound = 256, T offset = 0) {
  std::vector<T> plane(static_cast<size_t>(count));
  MultiplyWithCarry random;
  for (T& v : plane) v = static_cast<T>(static_cast<int64_t>(random.Next(bound)) + offset);
  return plane;
}

/// A planar 4:2:0 frame that owns its memory, 3 * w * h / 2 bytes.
struct Frame {
  Frame(int w, int h, uint8_t luma = 128, uint8_t chroma = 128);
  YuvImage image();  ///< descriptor over `bytes`
  int width, height;
  std::vector<uint8_t> bytes;
};

/// Smooth shading, hard edges, discs and texture: enough corners for registration, the same on every
/// platform. `seed` picks the scene.
Frame TexturedFrame(int w, int h, uint32_t seed = 1);

/// Adds zero-mean noise with this sigma (a sum of uniforms) to every plane, clipped to 0..255.
void AddNoise(Frame* frame, double sigma, uint32_t seed);

/// Sizes that are no multiple of what kernels like, long thin ones included; all allowed as frames.
std::vector<YuvImage> AwkwardSizes();

}  // namespace zolt::test
