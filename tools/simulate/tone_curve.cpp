#include "simulate/tone_curve.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace zolt {
namespace {

constexpr double kSteepest = 3;

struct Tables {
  std::array<uint16_t, 256> linear{};
  std::vector<float> level = std::vector<float>(65536);
  std::vector<float> slope = std::vector<float>(65536);

  Tables() {
    for (int i = 0; i < 256; ++i) {
      const double s = i / 255.0;
      const double v = s <= 0.04045 ? s / 12.92 : std::pow((s + 0.055) / 1.055, 2.4);
      linear[i] = static_cast<uint16_t>(v * 65535 + 0.5);
    }
    // Rounded to 1/1024 of a level: the last bits of a platform's pow don't reach the pictures.
    for (int i = 0; i < 65536; ++i) {
      const double v = i / 65535.0;
      const double root = std::pow(v, 1 / 2.4);
      const double s = v <= 0.0031308 ? 12.92 * v : 1.055 * root - 0.055;
      const double rise = v <= 0.0031308 ? 12.92 : 1.055 / 2.4 * root / v;
      level[i] = static_cast<float>(std::floor(s * 255 * 1024 + 0.5) / 1024);
      slope[i] = static_cast<float>(std::floor(std::min(rise, kSteepest) * 255 * 1024 + 0.5) / 1024);
    }
  }
};

const Tables& Curve() {
  static const Tables tables;
  return tables;
}

}  // namespace

uint16_t ToneCurve::Linear(uint8_t displayed) {
  return Curve().linear[displayed];
}

void ToneCurve::Develop(std::vector<float>& light, std::vector<float>* noise) {
  const Tables& curve = Curve();
  for (size_t i = 0; i < light.size(); ++i) {
    const int v = static_cast<int>(std::clamp(light[i], 0.0f, 1.0f) * 65535 + 0.5f);
    light[i] = curve.level[v];
    if (noise) (*noise)[i] *= curve.slope[v];
  }
}

}  // namespace zolt
