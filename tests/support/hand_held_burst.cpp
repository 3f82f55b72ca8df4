#include "support/hand_held_burst.h"

#include <cmath>

namespace zolt::test {
namespace {

constexpr int kReach = 24;

int Half(int side) {
  return (side + 1) / 2;
}

/// The part of a larger frame that begins at (left, top), both even.
std::vector<uint8_t> Window(Frame* scene, int left, int top, int width, int height) {
  std::vector<uint8_t> out;
  const YuvImage image = scene->image();
  const auto add = [&](const uint8_t* plane, int pitch, int x, int y, int w, int h) {
    for (int row = y; row < y + h; ++row)
      out.insert(out.end(), plane + row * pitch + x, plane + row * pitch + x + w);
  };
  add(image.y, image.pitch, left, top, width, height);
  add(image.u, image.pitch / 2, left / 2, top / 2, Half(width), Half(height));
  add(image.v, image.pitch / 2, left / 2, top / 2, Half(width), Half(height));
  return out;
}

}  // namespace

zolt_burst_picture HandHeldBurst::View(size_t i) const {
  return zolt_burst_yuv420_block(frames[i].data(), width, height, "I420");
}

std::vector<zolt_burst_picture> HandHeldBurst::Views() const {
  std::vector<zolt_burst_picture> views;
  for (size_t i = 0; i < frames.size(); ++i) views.push_back(View(i));
  return views;
}

HandHeldBurst MakeHandHeldBurst(int width, int height, int frames, double sigma, uint32_t seed) {
  HandHeldBurst burst = {width, height, {}, {}};
  const int w = (width + 2 * kReach + 15) & ~15, h = (height + 2 * kReach + 15) & ~15;
  for (int i = 0; i < frames; ++i) {
    Frame scene = TexturedFrame(w, h, seed);
    const int left = kReach + 2 * (i * 3 % 7) - 2 * (i % 2), top = kReach + 2 * (i % 5) - 4 * (i % 3 == 2);
    if (i == 0) burst.truth = Window(&scene, left, top, width, height);
    AddNoise(&scene, sigma, seed * 100 + static_cast<uint32_t>(i) + 1);
    burst.frames.push_back(Window(&scene, left, top, width, height));
  }
  return burst;
}

double LumaPsnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b, int width, int height) {
  double sum = 0;
  const int pixels = width * height;
  for (int i = 0; i < pixels; ++i) {
    const double d = a[static_cast<size_t>(i)] - b[static_cast<size_t>(i)];
    sum += d * d;
  }
  return 10 * std::log10(255.0 * 255.0 * pixels / sum);
}

BurstResult Clean(const std::vector<zolt_burst_picture>& frames, const zolt_burst_options* options) {
  const int w = frames.front().width, h = frames.front().height;
  BurstResult result = {};
  result.image.assign(static_cast<size_t>(w * h + 2 * Half(w) * Half(h)), 0);
  zolt_burst_report_init(&result.report);
  result.frames.resize(frames.size());
  for (zolt_burst_frame_report& f : result.frames) zolt_burst_frame_report_init(&f);
  const zolt_burst_picture output = zolt_burst_yuv420_block(result.image.data(), w, h, "I420");
  result.code = zolt_burst_denoise(frames.data(), static_cast<int32_t>(frames.size()), options, &output,
                                   &result.report, result.frames.data());
  return result;
}

}  // namespace zolt::test
