#include "simulate/scene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "common/hash_random.h"
#include "simulate/stroke_font.h"

namespace zolt {
namespace {

struct Colour {
  float r = 0, g = 0, b = 0;
};

Colour operator*(Colour c, float f) {
  return {c.r * f, c.g * f, c.b * f};
}
Colour Mix(Colour a, Colour b, float t) {
  return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}

float Unit(float v) {
  return std::clamp(v, 0.0f, 1.0f);
}
float Smooth(float v) {
  v = Unit(v);
  return v * v * (3 - 2 * v);
}

// Colours are 0 to 1 as displayed (not linear). Shapes give a coverage of 0 to 1 for each pixel in a box.
class Canvas {
 public:
  Canvas(int width, int height) : width_(width), height_(height), pixels_(size_t(width) * height) {}

  template <typename Shade>  // void shade(x, y, Colour& pixel)
  void Paint(float x0, float y0, float x1, float y1, const Shade& shade) {
    const int left = std::max(0, static_cast<int>(x0));
    const int top = std::max(0, static_cast<int>(y0));
    for (int y = top; y < std::min<int>(height_, static_cast<int>(y1) + 1); ++y) {
      for (int x = left; x < std::min<int>(width_, static_cast<int>(x1) + 1); ++x) {
        shade(static_cast<float>(x), static_cast<float>(y), pixels_[size_t(y) * width_ + x]);
      }
    }
  }

  void Rect(float x0, float y0, float x1, float y1, Colour c) {
    Paint(x0, y0, x1, y1, [&](float x, float y, Colour& p) {
      p = Mix(p, c, Unit(std::min({x - x0, x1 - x, y - y0, y1 - y}) + 0.5f));
    });
  }

  // A stroke with round ends, `radius` to each side.
  void Line(float x0, float y0, float x1, float y1, float radius, Colour c) {
    const float dx = x1 - x0;
    const float dy = y1 - y0;
    const float length2 = std::max(dx * dx + dy * dy, 1e-6f);
    Paint(std::min(x0, x1) - radius - 1, std::min(y0, y1) - radius - 1, std::max(x0, x1) + radius + 1,
          std::max(y0, y1) + radius + 1, [&](float x, float y, Colour& p) {
            const float t = Unit(((x - x0) * dx + (y - y0) * dy) / length2);
            const float ex = x - x0 - t * dx;
            const float ey = y - y0 - t * dy;
            p = Mix(p, c, Unit(radius + 0.5f - std::sqrt(ex * ex + ey * ey)));
          });
  }

  void Text(const std::string& text, float x, float y, float cell, float radius, Colour c) {
    for (const Stroke& s : TextStrokes(text)) {
      Line(x + s.x0 * cell, y + s.y0 * cell, x + s.x1 * cell, y + s.y1 * cell, radius, c);
    }
  }

  // As a photograph shows it: 1 4 6 4 1 both ways, since no lens draws an edge from one pixel to the next.
  RgbPicture Photographed() const {
    const std::vector<Colour> soft = Blurred(Blurred(pixels_, true), false);
    RgbPicture out(width_, height_);
    for (size_t i = 0; i < soft.size(); ++i) {
      const std::array<float, 3> c = {soft[i].r, soft[i].g, soft[i].b};
      for (size_t k = 0; k < 3; ++k) out.rgb[3 * i + k] = static_cast<uint8_t>(Unit(c[k]) * 255 + 0.5f);
    }
    return out;
  }

 private:
  std::vector<Colour> Blurred(const std::vector<Colour>& in, bool along_rows) const {
    constexpr std::array<float, 5> kTaps = {0.0625f, 0.25f, 0.375f, 0.25f, 0.0625f};
    std::vector<Colour> out(in.size());
    for (int y = 0; y < height_; ++y) {
      for (int x = 0; x < width_; ++x) {
        Colour& sum = out[size_t(y) * width_ + x];
        for (int k = 0; k < 5; ++k) {
          const int sx = along_rows ? std::clamp(x + k - 2, 0, width_ - 1) : x;
          const int sy = along_rows ? y : std::clamp(y + k - 2, 0, height_ - 1);
          const Colour c = in[size_t(sy) * width_ + sx] * kTaps[k];
          sum = {sum.r + c.r, sum.g + c.g, sum.b + c.b};
        }
      }
    }
    return out;
  }

  int width_;
  int height_;
  std::vector<Colour> pixels_;
};

// Value noise: random values on a grid, smoothly joined; `layer` picks another noise.
float Noise(float x, float y, int layer) {
  const int ix = static_cast<int>(std::floor(x));
  const int iy = static_cast<int>(std::floor(y));
  const float fx = Smooth(x - static_cast<float>(ix));
  const float fy = Smooth(y - static_cast<float>(iy));
  const auto at = [&](int gx, int gy) {
    return static_cast<float>(HashUniform(77, layer, static_cast<uint32_t>(gy) * 65536u + (gx & 65535)));
  };
  const float top = at(ix, iy) + (at(ix + 1, iy) - at(ix, iy)) * fx;
  const float bottom = at(ix, iy + 1) + (at(ix + 1, iy + 1) - at(ix, iy + 1)) * fx;
  return top + (bottom - top) * fy;
}

constexpr float kTableTop = 800;

void PaintWall(Canvas& canvas) {
  canvas.Paint(0, 0, kSceneWidth, kTableTop, [](float x, float y, Colour& p) {
    const Colour light = {0.86f, 0.81f, 0.72f};
    const Colour shade = {0.40f, 0.44f, 0.53f};
    const float t = Smooth((x / kSceneWidth) * 0.75f + (y / kTableTop) * 0.30f);
    const float plaster = 0.018f * (Noise(x / 7, y / 7, 1) + Noise(x / 3, y / 3, 2) - 1);
    p = Mix(light, shade, t) * (1 + plaster);
  });
}

void PaintTable(Canvas& canvas) {
  canvas.Paint(0, kTableTop, kSceneWidth, kSceneHeight, [](float x, float y, Colour& p) {
    const float depth = 1 / (0.35f + (y - kTableTop) / (kSceneHeight - kTableTop));
    const float u = (x - kSceneWidth / 2) * depth * 0.012f;
    const float board = std::floor(u / 3.4f);
    const float v = depth * 9;
    const float bend = Noise(u * 0.6f, v * 0.5f + board * 17, 3);
    const float grain = 0.5f + 0.5f * std::sin((u + bend * 1.6f) * 22 + board * 5);
    const float fibre = Noise(u * 34, v * 2.2f + board * 9, 4);
    const Colour dark = {0.31f, 0.18f, 0.09f};
    const Colour bright = {0.66f, 0.43f, 0.24f};
    p = Mix(dark, bright, Unit(0.20f + 0.42f * grain + 0.38f * fibre));
    const float seam = std::abs(u / 3.4f - board - 0.5f);
    p = p * (0.55f + 0.45f * Smooth((0.5f - seam) * 60)) * (1.05f - 0.3f * x / kSceneWidth);
  });
}

void PaintTextPoster(Canvas& canvas) {
  const Colour ink = {0.08f, 0.08f, 0.10f};
  canvas.Rect(112, 116, 662, 716, Colour{0.30f, 0.28f, 0.26f});
  canvas.Rect(100, 100, 650, 700, Colour{0.93f, 0.92f, 0.88f});
  canvas.Text("BURST", 140, 140, 16, 9, Colour{0.75f, 0.10f, 0.12f});
  canvas.Text("MANY FRAMES IN", 140, 272, 5.6f, 2.6f, ink);
  canvas.Text("ONE IMAGE OUT", 140, 324, 5.6f, 2.6f, ink);
  float y = 390;
  for (const float cell : {3.3f, 2.6f, 2.0f, 1.6f}) {
    canvas.Text("THE QUICK BROWN FOX", 140, y, cell, cell * 0.42f, ink);
    canvas.Text("JUMPS OVER THE LAZY DOG", 140, y + cell * 9.5f, cell, cell * 0.42f, ink);
    y += cell * 21;
  }
  canvas.Text("0123456789 - 0.25 0.5 1 2 4 8", 140, y + 4, 2.4f, 1.0f, Colour{0.05f, 0.15f, 0.55f});
}

// A star of 36 rays and three gratings: edges of every direction and of growing fineness.
void PaintChartPoster(Canvas& canvas) {
  canvas.Rect(1132, 106, 1602, 606, Colour{0.24f, 0.26f, 0.32f});
  canvas.Rect(1120, 92, 1590, 592, Colour{0.88f, 0.88f, 0.90f});
  const float cx = 1355;
  const float cy = 290;
  canvas.Paint(cx - 170, cy - 170, cx + 170, cy + 170, [&](float x, float y, Colour& p) {
    const float r = std::sqrt((x - cx) * (x - cx) + (y - cy) * (y - cy));
    const float wave =
        std::sin(std::atan2(y - cy, x - cx) * 36) * r / 36;  // about the distance to a ray's edge
    const Colour ray = Mix(Colour{0.10f, 0.10f, 0.12f}, p, Unit(wave + 0.5f));
    p = Mix(p, ray, Unit(165 - r));
  });
  const std::array<float, 3> periods = {14, 10, 7.5f};
  for (size_t i = 0; i < periods.size(); ++i) {
    const float left = 1150 + 140 * static_cast<float>(i);
    canvas.Paint(left, 486, left + 125, 570, [&](float x, float, Colour& p) {
      const float s = 0.5f + 0.5f * std::sin((x - left) * 6.2831853f / periods[i]);
      p = Mix(Colour{0.12f, 0.12f, 0.15f}, p, s);
    });
  }
}

void PaintColourCard(Canvas& canvas) {
  const std::array<Colour, 12> patches = {
      Colour{0.80f, 0.08f, 0.10f}, {0.95f, 0.55f, 0.05f}, {0.93f, 0.85f, 0.08f}, {0.10f, 0.62f, 0.18f},
      {0.05f, 0.55f, 0.65f},       {0.08f, 0.16f, 0.70f}, {0.50f, 0.12f, 0.58f}, {0.90f, 0.35f, 0.55f},
      {0.95f, 0.95f, 0.95f},       {0.62f, 0.62f, 0.62f}, {0.35f, 0.35f, 0.35f}, {0.07f, 0.07f, 0.07f}};
  canvas.Rect(736, 150, 1040, 562, Colour{0.13f, 0.13f, 0.14f});
  for (size_t i = 0; i < patches.size(); ++i) {
    const float x = 754 + 94 * static_cast<float>(i % 3);
    const float y = 168 + 96 * static_cast<float>(i / 3);
    canvas.Rect(x, y, x + 82, y + 84, patches[i]);
  }
}

void PaintBall(Canvas& canvas, float cx, float cy, float radius, Colour c) {
  const float sx = cx + radius * 0.55f;
  const float sy = cy + radius * 0.88f;
  canvas.Paint(sx - 1.8f * radius, sy - radius, sx + 1.8f * radius, sy + radius,
               [&](float x, float y, Colour& p) {
                 const float d = std::hypot((x - sx) / 1.5f, (y - sy) / 0.36f) / radius;
                 p = p * (1 - 0.62f * Smooth(1.15f - d));
               });
  canvas.Paint(cx - radius - 1, cy - radius - 1, cx + radius + 1, cy + radius + 1,
               [&](float x, float y, Colour& p) {
                 const float nx = (x - cx) / radius;
                 const float ny = (y - cy) / radius;
                 const float r2 = nx * nx + ny * ny;
                 const float nz = std::sqrt(std::max(0.0f, 1 - r2));
                 const float light = std::max(0.0f, -0.50f * nx - 0.62f * ny + 0.60f * nz);
                 const float gloss = std::pow(std::max(0.0f, -0.36f * nx - 0.46f * ny + 0.81f * nz), 60.0f);
                 const Colour lit = Mix(c * (0.16f + 0.88f * light), Colour{1, 1, 1}, 0.85f * gloss);
                 p = Mix(p, lit, Unit((1 - std::sqrt(r2)) * radius + 0.5f));
               });
}

// Woven cloth: threads of seven pixels over and under each other, in a checked pattern.
void PaintCloth(Canvas& canvas) {
  canvas.Paint(1010, 960, kSceneWidth, kSceneHeight, [](float x, float y, Colour& p) {
    const float u = (x + 0.28f * y) / 7.4f;
    const float v = (y - 0.10f * x) / 6.8f;
    const float edge = std::min((x + 0.55f * y) - 1660, y - 985 + 0.05f * (x - 1010));
    const bool over = (static_cast<int>(std::floor(u)) + static_cast<int>(std::floor(v))) % 2 == 0;
    const float across = over ? u - std::floor(u) : v - std::floor(v);
    const float thread = 0.62f + 0.38f * std::sin(across * 3.1415927f);
    const float stripe = over ? std::floor(u / 8) : std::floor(v / 8);
    const bool dark = static_cast<int>(stripe) % 2 == 0;
    const Colour c = dark ? Colour{0.16f, 0.25f, 0.52f} : Colour{0.84f, 0.82f, 0.76f};
    const float wool = 0.86f + 0.28f * Noise(x / 1.7f, y / 1.7f, 5);
    p = Mix(p, c * (thread * wool), Unit(edge + 0.5f));
  });
}

// Grass in a pot: thin curved blades, each its own green.
void PaintPlant(Canvas& canvas) {
  for (int i = 0; i < 110; ++i) {
    const auto random = [&](int k) { return static_cast<float>(HashUniform(5, i, k)); };
    const float x0 = 905 + 90 * (random(0) - 0.5f);
    const float x2 = x0 + 330 * (random(1) - 0.5f);
    const float top = 610 + 150 * random(2);
    const Colour c = Mix(Colour{0.10f, 0.30f, 0.08f}, Colour{0.55f, 0.72f, 0.22f}, random(3));
    float px = x0;
    float py = 870;
    for (int s = 1; s <= 16; ++s) {
      const float t = static_cast<float>(s) / 16;
      const float x = x0 + (x2 - x0) * t * t;
      const float y = 870 + (top - 870) * (2 * t - t * t);
      canvas.Line(px, py, x, y, 3.2f * (1 - 0.8f * t), c * (0.6f + 0.4f * t));
      px = x;
      py = y;
    }
  }
  canvas.Paint(820, 840, 990, 990, [](float x, float y, Colour& p) {
    const float half = 78 - (y - 845) * 0.16f;
    const float nx = (x - 905) / half;
    const float inside = std::min({half - std::abs(x - 905), y - 845, 985 - y + 9 * (1 - nx * nx)});
    const float light = 0.35f + 0.65f * Unit(0.75f - 0.55f * nx);
    p = Mix(p, Colour{0.78f, 0.38f, 0.22f} * light, Unit(inside + 0.5f));
  });
}

}  // namespace

RgbPicture RenderScene() {
  Canvas canvas(kSceneWidth, kSceneHeight);
  PaintWall(canvas);
  PaintTable(canvas);
  PaintTextPoster(canvas);
  PaintColourCard(canvas);
  PaintChartPoster(canvas);
  PaintPlant(canvas);
  PaintCloth(canvas);
  PaintBall(canvas, 250, 930, 120, Colour{0.85f, 0.12f, 0.10f});
  PaintBall(canvas, 500, 1010, 95, Colour{0.95f, 0.75f, 0.10f});
  PaintBall(canvas, 690, 1110, 75, Colour{0.12f, 0.45f, 0.85f});
  PaintBall(canvas, 1240, 880, 100, Colour{0.80f, 0.80f, 0.82f});
  return canvas.Photographed();
}

}  // namespace zolt
