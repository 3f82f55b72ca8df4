#include "simulate/camera.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "common/errors.h"
#include "common/hash_random.h"
#include "common/parallel.h"
#include "simulate/demosaic.h"
#include "simulate/tone_curve.h"

namespace zolt {
namespace {

// --- the sensor, in units of its full scale
// -----------------------------------------------------------------------
constexpr double kExposure = 0.9;  // the photo's white: below clipping, so that white areas carry noise too
constexpr double kFullWellElectrons = 6000;  // at ISO 100; the signal of full scale falls as the gain rises
constexpr double kReadElectrons = 1.5;
constexpr std::array<float, 3> kWhiteBalance = {1.9f, 1.0f, 1.6f};

// --- what the phone's own processing leaves of the noise; measured on phone bursts, see docs/simulation.md
// ----------
struct Residue {
  float pole;  // of the symmetric first-order recursive filter; 0 leaves the noise as it is
  float gain;
};
constexpr Residue kLumaResidue = {0.302f, 1.06f};
constexpr Residue kChromaResidue = {0.67f, 4.05f};
constexpr Residue kWhiteLuma = {0, 0.605f};
constexpr Residue kWhiteChroma = {0, 0.776f};

constexpr uint64_t kMotionStream = 1000;  // the mosaic's noise has the streams from 0 on
constexpr uint64_t kWhiteStream = 100;

// The first-order recursive filter forwards and backwards along rows and along columns.
void FilterBothWays(std::vector<float>& plane, int width, int height, Residue residue) {
  const float a = residue.pole;
  const float b = 1 - a;
  for (int y = 0; y < height; ++y) {
    float* row = &plane[size_t(y) * width];
    for (int x = 1; x < width; ++x) row[x] = b * row[x] + a * row[x - 1];
    for (int x = width - 2; x >= 0; --x) row[x] = b * row[x] + a * row[x + 1];
  }
  const auto mix_rows = [&](float* row, const float* before) {
    for (int x = 0; x < width; ++x) row[x] = b * row[x] + a * before[x];
  };
  for (int y = 1; y < height; ++y) mix_rows(&plane[size_t(y) * width], &plane[size_t(y - 1) * width]);
  for (int y = height - 2; y >= 0; --y) mix_rows(&plane[size_t(y) * width], &plane[size_t(y + 1) * width]);
  for (float& v : plane) v *= residue.gain;
}

FrameMotion Identity() {
  return {1, 0, 0, 0, 1, 0, 0, 0, 1};
}

// A burst's hand: each frame's motion has nothing to do with the one before.
double RandomPlace(uint64_t seed, int index, uint64_t k) {
  return 2 * HashUniform(seed, kMotionStream + static_cast<uint64_t>(index), k) - 1;
}

// A video's hand in -1..1, 0 at frame 0: it drifts from place to place within a second, and trembles.
double SmoothPlace(uint64_t seed, int index, uint64_t k) {
  const auto wave = [&](int period, int at) {
    const double t = static_cast<double>(at % period) / period, s = t * t * (3 - 2 * t);
    const double a = RandomPlace(seed + static_cast<uint64_t>(period), at / period, k);
    return a + s * (RandomPlace(seed + static_cast<uint64_t>(period), at / period + 1, k) - a);
  };
  const auto place = [&](int at) { return 0.9 * wave(24, at) + 0.1 * wave(5, at); };
  return 0.5 * (place(index) - place(0));
}

// Shift, rotation about the middle and perspective, each up to its largest value.
FrameMotion HandMotion(int width, int height, const CameraSettings& settings, int index) {
  const auto random = [&](uint64_t k) {
    return settings.motion *
           (settings.video ? SmoothPlace(settings.seed, index, k) : RandomPlace(settings.seed, index, k));
  };
  // The tangent of half the angle gives sine and cosine without a library function.
  const double t = 0.008726867790758789 * random(0);  // half of 1 degree
  const double c = (1 - t * t) / (1 + t * t);
  const double s = 2 * t / (1 + t * t);
  const double mx = 0.5 * (width - 1);
  const double my = 0.5 * (height - 1);
  const double tx = 0.006 * width * random(1);
  const double ty = 0.006 * width * random(2);
  const double g = 0.003 / width * random(3);
  const double h = 0.003 / width * random(4);
  // About the middle: p = (x - mx, y - my); q = (R p + t) / (1 + g px + h py); result q + m. Scaled to a last
  // entry of 1.
  const double w = 1 - g * mx - h * my;
  const double e2 = tx - c * mx + s * my;
  const double e5 = ty - s * mx - c * my;
  return {(c + mx * g) / w,
          (-s + mx * h) / w,
          (e2 + mx * w) / w,
          (s + my * g) / w,
          (c + my * h) / w,
          (e5 + my * w) / w,
          g / w,
          h / w,
          1};
}

// The ball of --ghost: its middle and radius at a frame, in pixels of frame 0.
struct Ball {
  double x, y, radius;
};

Ball BallAt(double frame, int width, int height) {
  return {width * (0.35 + 0.055 * frame), height * (0.60 - 0.012 * frame), height * 0.09};
}

RgbPicture MiddlePart(const RgbPicture& photo, int width, int height) {
  if (width >= photo.width && height >= photo.height) return photo;
  RgbPicture out(std::min(width, photo.width), std::min(height, photo.height));
  const int x0 = (photo.width - out.width) / 2;
  const int y0 = (photo.height - out.height) / 2;
  for (int y = 0; y < out.height; ++y) {
    const uint8_t* in = &photo.rgb[3 * (size_t(y + y0) * photo.width + x0)];
    std::copy(in, in + 3 * size_t(out.width), &out.rgb[3 * size_t(y) * out.width]);
  }
  return out;
}

// Means of n x n linear values; n = 1 only makes the photo linear.
std::vector<uint16_t> LinearReduced(const RgbPicture& photo, int channel, int n) {
  const int width = photo.width / n;
  const int height = photo.height / n;
  std::vector<uint16_t> out(size_t(width) * height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      uint64_t sum = 0;
      for (int j = 0; j < n; ++j) {
        const uint8_t* p = &photo.rgb[3 * (size_t(y * n + j) * photo.width + size_t(x) * n) + channel];
        for (int i = 0; i < n; ++i) sum += ToneCurve::Linear(p[3 * i]);
      }
      out[size_t(y) * width + x] = static_cast<uint16_t>((sum + n * n / 2) / (n * n));
    }
  }
  return out;
}

// The blur of lens, low-pass glass and pixel before the photo is read at half its resolution: binomial taps
// both ways, which leave half of the contrast at four pixels of a frame a period, as a phone's camera does
// before anything is sharpened. Sharper frames would lose in any warp what no phone's frames have. Entry (x,
// y) lies between the photo's pixels x, x + 1 and y, y + 1.
constexpr std::array<uint32_t, 10> kLens = {1, 9, 36, 84, 126, 126, 84, 36, 9, 1};
constexpr int kLensBits = 9;   // the taps' sum is 512
constexpr int kLensReach = 4;  // taps to the left of x

std::vector<uint16_t> ThroughLens(const std::vector<uint16_t>& light, int width, int height) {
  std::vector<uint16_t> out(size_t(width - 1) * (height - 1));
  std::vector<uint32_t> column(width);
  for (int y = 0; y < height - 1; ++y) {
    std::fill(column.begin(), column.end(), 0);
    for (int i = 0; i < static_cast<int>(kLens.size()); ++i) {
      const uint16_t* row = &light[size_t(std::clamp(y + i - kLensReach, 0, height - 1)) * width];
      for (int x = 0; x < width; ++x) column[x] += kLens[i] * row[x];
    }
    for (int x = 0; x < width - 1; ++x) {
      uint64_t sum = 1u << (2 * kLensBits - 1);
      for (int i = 0; i < static_cast<int>(kLens.size()); ++i)
        sum += uint64_t{kLens[i]} * column[std::clamp(x + i - kLensReach, 0, width - 1)];
      out[size_t(y) * (width - 1) + x] = static_cast<uint16_t>(sum >> (2 * kLensBits));
    }
  }
  return out;
}

// A frame leaves 1/32 of the reduced photo free on each side, the room that its motion may use.
int FrameSide(int photo_side, int reduction) {
  const int reduced = photo_side / reduction / 2;
  return (reduced - 2 * (reduced / 32)) & ~7;
}

YuvPicture Quantised(const std::array<std::vector<float>, 3>& yuv, int width, int height) {
  YuvPicture out(width, height);
  const auto to_bytes = [](const std::vector<float>& in, std::vector<uint8_t>& bytes) {
    for (size_t i = 0; i < bytes.size(); ++i) {
      bytes[i] = static_cast<uint8_t>(std::clamp(in[i] + 0.5f, 0.0f, 255.0f));
    }
  };
  to_bytes(yuv[0], out.y);
  to_bytes(yuv[1], out.u);
  to_bytes(yuv[2], out.v);
  return out;
}

// Luma at every pixel, chroma (without its 128) as the mean over 2 x 2; linear, so it serves picture and
// noise.
std::array<std::vector<float>, 3> YuvPlanes(const std::array<std::vector<float>, 3>& rgb, int width,
                                            int height) {
  std::array<std::vector<float>, 3> out;
  out[0].resize(rgb[0].size());
  for (size_t i = 0; i < rgb[0].size(); ++i) {
    out[0][i] = 0.299f * rgb[0][i] + 0.587f * rgb[1][i] + 0.114f * rgb[2][i];
  }
  for (int c = 1; c < 3; ++c) {
    const std::vector<float>& colour = rgb[c == 1 ? 2 : 0];
    const float scale = (c == 1 ? 0.5f / (1 - 0.114f) : 0.5f / (1 - 0.299f)) * 0.25f;
    out[c].reserve(rgb[0].size() / 4);
    for (int y = 0; y < height; y += 2) {
      for (int x = 0; x < width; x += 2) {
        const size_t i = size_t(y) * width + x;
        const size_t j = i + width;
        const float mean = (colour[i] - out[0][i]) + (colour[i + 1] - out[0][i + 1]) +
                           (colour[j] - out[0][j]) + (colour[j + 1] - out[0][j + 1]);
        out[c].push_back(mean * scale);
      }
    }
  }
  return out;
}

}  // namespace

Camera::Camera(const RgbPicture& photo, const CameraSettings& settings) : settings_(settings) {
  KeepPhoto(photo);
  for (int i = 0; i < settings_.frames; ++i) {
    const bool still = i == 0 || settings_.motion == 0;
    homographies_.push_back(still ? Identity() : HandMotion(width_, height_, settings_, i));
  }
}

void Camera::KeepPhoto(const RgbPicture& photo) {
  // Room for the frame asked for: the smallest even side whose frame is large enough.
  const auto photo_side = [](int frame_side, int whole) {
    int side = 2 * frame_side;
    while (frame_side > 0 && side < whole && FrameSide(side, 1) < (frame_side & ~7)) side += 2;
    return frame_side > 0 ? side : whole;
  };
  const RgbPicture part = MiddlePart(photo, photo_side(settings_.crop_width, photo.width),
                                     photo_side(settings_.crop_height, photo.height));
  int reduction = 1;
  while (settings_.max_width > 0 && FrameSide(part.width, reduction) > settings_.max_width) ++reduction;
  width_ = FrameSide(part.width, reduction);
  height_ = FrameSide(part.height, reduction);
  if (settings_.crop_width > 0) width_ = std::min(width_, settings_.crop_width & ~7);
  if (settings_.crop_height > 0) height_ = std::min(height_, settings_.crop_height & ~7);
  if (width_ < 64 || height_ < 64) {
    FailUsage("a photo of " + std::to_string(photo.width) + " x " + std::to_string(photo.height) +
              " gives frames of " + std::to_string(std::max(width_, 0)) + " x " +
              std::to_string(std::max(height_, 0)) +
              ", below the smallest, 64 x 64: take a photo of 144 x 144 or more, or a larger --crop or "
              "--max-width");
  }
  const int w = part.width / reduction;
  const int h = part.height / reduction;
  left_ = (w / 2 - width_) / 2;
  top_ = (h / 2 - height_) / 2;
  lens_width_ = w - 1;
  lens_height_ = h - 1;
  ParallelFor(3, [&](int c) { lens_[c] = ThroughLens(LinearReduced(part, c, reduction), w, h); });
}

double Camera::Exposure(int index) const {
  const bool last = index == settings_.frames - 1;
  return kExposure * (last ? std::exp2(settings_.last_ev) : 1.0);
}

// The scene's light at (x, y) of frame 0, 1 is the photo's white. Beyond the photo its edge goes on.
void Camera::ScenePoint(double x, double y, int channel, int ball_frame, float* out) const {
  const double bx = std::clamp(2 * (x + left_), 0.0, lens_width_ - 1.001);
  const double by = std::clamp(2 * (y + top_), 0.0, lens_height_ - 1.001);
  const int ix = static_cast<int>(bx);
  const int iy = static_cast<int>(by);
  const float fx = static_cast<float>(bx - ix);
  const float fy = static_cast<float>(by - iy);
  const uint16_t* p = &lens_[channel][size_t(iy) * lens_width_ + ix];
  const uint16_t* q = p + lens_width_;
  const float upper = p[0] + fx * (p[1] - p[0]);
  const float lower = q[0] + fx * (q[1] - q[0]);
  *out = (upper + fy * (lower - upper)) * (1.0f / 65535);
  if (!settings_.ghost) return;
  constexpr double kVideoPace = 0.2;  // a burst's frames lie further apart
  const Ball ball = BallAt(settings_.video ? kVideoPace * ball_frame : ball_frame, width_, height_);
  const double dx = (x - ball.x) / ball.radius;
  const double dy = (y - ball.y) / ball.radius;
  const double distance = std::sqrt(dx * dx + dy * dy);
  const double cover = std::clamp((1 - distance) * ball.radius + 0.5, 0.0, 1.0);
  if (cover == 0) return;
  // Four bands across and a shade to the lower right, so that it has edges inside as well.
  const bool band = (static_cast<int>(std::floor(4 * (dx + dy) + 100)) & 1) != 0;
  const std::array<double, 3> colour =
      band ? std::array<double, 3>{0.75, 0.10, 0.05} : std::array<double, 3>{0.80, 0.75, 0.60};
  const double light = std::clamp(0.75 - 0.35 * (dx + dy), 0.1, 1.0);
  *out = static_cast<float>(*out + (colour[channel] * light - *out) * cover);
}

// What the sensor's pixels hold without noise, white-balanced: `geometry` is the frame whose place it is
// taken from.
std::vector<float> Camera::Mosaic(int geometry, int exposure_of) const {
  const FrameMotion& h = homographies_[geometry];
  const float exposure = static_cast<float>(Exposure(exposure_of));
  std::vector<float> out(size_t(width_) * height_);
  for (int y = 0; y < height_; ++y) {
    for (int x = 0; x < width_; ++x) {
      const double w = h[6] * x + h[7] * y + 1;
      const double sx = (h[0] * x + h[1] * y + h[2]) / w;
      const double sy = (h[3] * x + h[4] * y + h[5]) / w;
      const int channel = (x & 1) + (y & 1);  // RGGB
      float light = 0;
      ScenePoint(sx, sy, channel, geometry, &light);
      out[size_t(y) * width_ + x] = std::min(1.0f, light * exposure);
    }
  }
  return out;
}

// Poisson and read noise of a white-balanced signal, as a normal variable of the same variance.
class SensorNoise {
 public:
  SensorNoise(int iso, uint64_t seed) : seed_(seed) {
    const double gain = std::max(1, iso) / 100.0;
    const double read = gain * kReadElectrons / kFullWellElectrons;
    shot_ = static_cast<float>(gain / kFullWellElectrons);
    read_ = static_cast<float>(read * read);
  }

  float At(float signal, float balance, uint64_t stream, uint64_t place) const {
    const float variance = shot_ * std::max(0.0f, signal) / balance + read_;
    return balance * std::sqrt(variance) * HashNormal(seed_, stream, place);
  }

 private:
  uint64_t seed_;
  float shot_;
  float read_;
};

// Noise of each mosaic pixel, taken through a linear demosaicing: what a directed one does to noise depends
// on the draw, and the mean of many frames would not be the truth.
std::array<std::vector<float>, 3> Camera::MosaicNoise(const std::vector<float>& mosaic, int index) const {
  const SensorNoise sensor(settings_.iso, settings_.seed);
  std::vector<float> noise(mosaic.size());
  for (int y = 0; y < height_; ++y) {
    for (int x = 0; x < width_; ++x) {
      const size_t i = size_t(y) * width_ + x;
      noise[i] = sensor.At(mosaic[i], kWhiteBalance[(x & 1) + (y & 1)], static_cast<uint64_t>(index), i);
    }
  }
  return DemosaicLinear(noise, width_, height_);
}

// Noise as of a sensor that sees all three colours at each pixel: nothing joins neighbours.
std::array<std::vector<float>, 3> Camera::WhiteNoise(const std::array<std::vector<float>, 3>& rgb,
                                                     int index) const {
  const SensorNoise sensor(settings_.iso, settings_.seed);
  std::array<std::vector<float>, 3> noise;
  for (size_t c = 0; c < 3; ++c) {
    const uint64_t stream = kWhiteStream + 3 * static_cast<uint64_t>(index) + c;
    noise[c].resize(rgb[c].size());
    for (size_t i = 0; i < rgb[c].size(); ++i)
      noise[c][i] = sensor.At(rgb[c][i], kWhiteBalance[c], stream, i);
  }
  return noise;
}

YuvPicture Camera::Clean(int geometry, int exposure_of) const {
  auto rgb = DemosaicDirected(Mosaic(geometry, exposure_of), width_, height_);
  for (auto& plane : rgb) ToneCurve::Develop(plane, nullptr);
  auto yuv = YuvPlanes(rgb, width_, height_);
  for (int c = 1; c < 3; ++c) {
    for (float& v : yuv[c]) v += 128;
  }
  return Quantised(yuv, width_, height_);
}

YuvPicture Camera::Frame(int index) const {
  const std::vector<float> mosaic = Mosaic(index, index);
  auto rgb = DemosaicDirected(mosaic, width_, height_);
  auto noise = settings_.white ? WhiteNoise(rgb, index) : MosaicNoise(mosaic, index);
  for (int c = 0; c < 3; ++c) ToneCurve::Develop(rgb[c], &noise[c]);
  auto yuv = YuvPlanes(rgb, width_, height_);
  auto noise_yuv = YuvPlanes(noise, width_, height_);
  const Residue luma = settings_.white ? kWhiteLuma : kLumaResidue;
  const Residue chroma = settings_.white ? kWhiteChroma : kChromaResidue;
  FilterBothWays(noise_yuv[0], width_, height_, luma);
  for (int c = 1; c < 3; ++c) FilterBothWays(noise_yuv[c], width_ / 2, height_ / 2, chroma);
  for (int c = 0; c < 3; ++c) {
    const float offset = c == 0 ? 0.0f : 128.0f;
    for (size_t i = 0; i < yuv[c].size(); ++i) yuv[c][i] += noise_yuv[c][i] + offset;
  }
  return Quantised(yuv, width_, height_);
}

}  // namespace zolt
