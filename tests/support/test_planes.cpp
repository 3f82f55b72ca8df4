#include "support/test_planes.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace zolt::test {
namespace {

uint8_t ToByte(double v) {
  return static_cast<uint8_t>(std::clamp(v + 0.5, 0.0, 255.0));
}

}  // namespace

Frame::Frame(int w, int h, uint8_t luma, uint8_t chroma)
    : width(w), height(h), bytes(static_cast<size_t>(w) * h * 3 / 2, chroma) {
  std::fill_n(bytes.begin(), static_cast<size_t>(w) * h, luma);
}

YuvImage Frame::image() {
  return PlanarImage(bytes.data(), width, height);
}

Frame TexturedFrame(int w, int h, uint32_t seed) {
  Frame frame(w, h);
  const YuvImage image = frame.image();
  MultiplyWithCarry random;
  for (uint32_t i = 0; i < 16 + seed; ++i) random.Next(2);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) image.y[y * w + x] = ToByte(90.0 + 60.0 * x / w + 30.0 * y / h);
  }
  const int shapes = std::max(24, w * h / 1600);
  for (int s = 0; s < shapes; ++s) {
    const int cx = static_cast<int>(random.Next(static_cast<uint32_t>(w)));
    const int cy = static_cast<int>(random.Next(static_cast<uint32_t>(h)));
    const int rx = 3 + static_cast<int>(random.Next(20)), ry = 3 + static_cast<int>(random.Next(20));
    const bool disc = random.Next(2) == 0;
    const auto luma = static_cast<uint8_t>(20 + random.Next(216));
    const auto u = static_cast<uint8_t>(78 + random.Next(100)),
               v = static_cast<uint8_t>(78 + random.Next(100));
    for (int y = std::max(0, cy - ry); y < std::min(h, cy + ry); ++y) {
      for (int x = std::max(0, cx - rx); x < std::min(w, cx + rx); ++x) {
        const int dx = (x - cx) * ry, dy = (y - cy) * rx;
        if (disc && dx * dx + dy * dy > rx * rx * ry * ry) continue;
        image.y[y * w + x] = luma;
        image.u[(y / 2) * (w / 2) + x / 2] = u;
        image.v[(y / 2) * (w / 2) + x / 2] = v;
      }
    }
  }
  return frame;
}

void AddNoise(Frame* frame, double sigma, uint32_t seed) {
  MultiplyWithCarry random;
  for (uint32_t i = 0; i < seed % 1000 + 7; ++i) random.Next(2);
  // The sum of 12 uniforms over [0, 1) has variance 1.
  for (uint8_t& v : frame->bytes) {
    double sum = -6.0;
    for (int i = 0; i < 12; ++i) sum += random.Next(65536) / 65536.0;
    v = ToByte(v + sigma * sum);
  }
}

std::vector<YuvImage> AwkwardSizes() {
  std::vector<YuvImage> sizes;
  for (const auto& [w, h] : {std::pair{64, 64},
                             {72, 64},
                             {64, 72},
                             {248, 256},
                             {256, 248},
                             {256, 256},
                             {264, 272},
                             {272, 264},
                             {392, 408},
                             {400, 400},
                             {408, 392},
                             {64, 1000},
                             {1000, 64},
                             {1000, 760}}) {
    sizes.push_back({w, h, w, nullptr, nullptr, nullptr});
  }
  return sizes;
}

}  // namespace zolt::test
