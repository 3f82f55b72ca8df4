#include "support/moving_scene.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <vector>

#include "registration/registration.h"

namespace zolt::test {
namespace {

/// Uniform in -range to range.
class Draw {
 public:
  explicit Draw(uint32_t seed) {
    for (uint32_t i = 0; i < seed % 4096 + 8; ++i) random_.Next(2);
  }
  double operator()(double range) { return (random_.Next(2000001) / 1000000.0 - 1) * range; }

 private:
  MultiplyWithCarry random_;
};

struct Position {
  double x, y;
};

Position Map(const double* m, Position p) {
  const double den = m[6] * p.x + m[7] * p.y + m[8];
  return {(m[0] * p.x + m[1] * p.y + m[2]) / den, (m[3] * p.x + m[4] * p.y + m[5]) / den};
}

/// Adjugate: the inverse up to a factor.
void Invert(const double* m, double* out) {
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      const int a = (j + 1) % 3, b = (j + 2) % 3, c = (i + 1) % 3, d = (i + 2) % 3;
      out[3 * i + j] = m[3 * a + c] * m[3 * b + d] - m[3 * a + d] * m[3 * b + c];
    }
  }
}

/// Rotation and zoom about the frame's centre, then perspective and shift.
void DrawMotion(int w, int h, Draw& draw, double* m) {
  const double angle = draw(2) * 3.14159265358979323846 / 180, zoom = 1 + draw(0.02);
  const double c = zoom * std::cos(angle), s = zoom * std::sin(angle), x0 = w / 2.0, y0 = h / 2.0;
  const double motion[9] = {c,
                            -s,
                            x0 - c * x0 + s * y0 + draw(w / 40.0),
                            s,
                            c,
                            y0 - s * x0 - c * y0 + draw(w / 40.0),
                            draw(0.003 / w),
                            draw(0.003 / w),
                            1};
  std::copy_n(motion, 9, m);
}

/// Adds a grain of bilinear blobs `cell` pixels wide to the luma, as bark, gravel and cloth have it.
void AddTexture(Frame* frame, int cell, double amplitude, Draw& draw) {
  const int columns = frame->width / cell + 2;
  std::vector<double> nodes(static_cast<size_t>(columns) * (frame->height / cell + 2));
  for (double& v : nodes) v = draw(amplitude);
  for (int y = 0; y < frame->height; ++y) {
    const double fy = static_cast<double>(y % cell) / cell;
    for (int x = 0; x < frame->width; ++x) {
      const double fx = static_cast<double>(x % cell) / cell;
      const double* n = nodes.data() + static_cast<size_t>(y / cell) * columns + x / cell;
      const double upper = n[0] + (n[1] - n[0]) * fx, lower = n[columns] + (n[columns + 1] - n[columns]) * fx;
      uint8_t& v = frame->bytes[static_cast<size_t>(y) * frame->width + x];
      v = static_cast<uint8_t>(std::clamp(v + upper + (lower - upper) * fy + 0.5, 0.0, 255.0));
    }
  }
}

/// The scene in reference coordinates, with a margin so that a moved camera sees more of it.
class Scene {
 public:
  Scene(int w, int h, uint32_t seed, Draw& draw)
      : margin_(w / 8), frame_(TexturedFrame(w + 2 * margin_, h + 2 * margin_, seed)) {
    for (const int cell : {11, 23}) AddTexture(&frame_, cell, 40, draw);
  }

  /// Bilinear, the luma at a position of the reference.
  double At(Position p) const {
    const double x = std::clamp(p.x + margin_, 0.0, frame_.width - 2.0);
    const double y = std::clamp(p.y + margin_, 0.0, frame_.height - 2.0);
    const int ix = static_cast<int>(x), iy = static_cast<int>(y);
    const double fx = x - ix, fy = y - iy;
    const uint8_t* s = frame_.bytes.data() + static_cast<int64_t>(iy) * frame_.width + ix;
    const double upper = s[0] + (s[1] - s[0]) * fx,
                 lower = s[frame_.width] + (s[frame_.width + 1] - s[frame_.width]) * fx;
    return upper + (lower - upper) * fy;
  }

 private:
  int margin_;
  Frame frame_;
};

/// A pixel sees the mean over its area, which four positions stand for. `to_scene` maps the picture's
/// pixels to the reference's.
Frame Photograph(const Scene& scene, int w, int h, const double* to_scene) {
  Frame frame(w, h);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      double sum = 0;
      for (const double dy : {-0.25, 0.25}) {
        for (const double dx : {-0.25, 0.25}) sum += scene.At(Map(to_scene, {x + dx, y + dy}));
      }
      frame.bytes[static_cast<size_t>(y) * w + x] = static_cast<uint8_t>(sum / 4 + 0.5);
    }
  }
  return frame;
}

}  // namespace

ScenePair MakeScenePair(int w, int h, uint32_t seed) {
  Draw draw(seed * 7);
  ScenePair pair = {Frame(8, 8), Frame(8, 8), {}};
  DrawMotion(w, h, draw, pair.homography);
  const Scene scene(w, h, seed, draw);
  const double identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  double back[9];
  Invert(pair.homography, back);
  pair.reference = Photograph(scene, w, h, identity);
  pair.current = Photograph(scene, w, h, back);
  const double sigma = 4.5 + draw(1.5);
  AddNoise(&pair.reference, sigma, 2 * seed);
  AddNoise(&pair.current, sigma, 2 * seed + 1);
  return pair;
}

RegistrationTrial TryRegistration(ScenePair* pair) {
  const int w = pair->reference.width, h = pair->reference.height;
  RegistrationInput request = {};
  request.isFirstFrame = 1;
  request.flagC = 1;
  request.iso = 800;
  request.planeCount = 2;
  request.reference = pair->reference.image();
  request.input = pair->current.image();
  MotionModel model = {};
  std::vector<uint8_t> arena(4000000 + 4 * static_cast<size_t>(w) * h);
  RegistrationTrial trial = {ImgRegistration(&request, &model, arena.data(), arena.size()), 0};
  const double found[9] = {model.homography[0], model.homography[1], model.homography[2],
                           model.homography[3], model.homography[4], model.homography[5],
                           model.homography[6], model.homography[7], 1};
  for (const Position corner : {Position{0, 0}, {w - 1.0, 0}, {0, h - 1.0}, {w - 1.0, h - 1.0}}) {
    const Position expected = Map(pair->homography, corner), actual = Map(found, corner);
    trial.corner_error += std::hypot(actual.x - expected.x, actual.y - expected.y) / 4;
  }
  return trial;
}

}  // namespace zolt::test
