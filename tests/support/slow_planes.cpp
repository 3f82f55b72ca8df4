#include "support/slow_planes.h"

#include <cstdlib>

namespace zolt::test {
namespace {

int Middle(int a, int b, int c) {
  return std::max(std::min(std::max(a, b), c), std::min(a, b));
}

}  // namespace

void Blocks(int w, int block, const std::function<void(int)>& pixel) {
  for (int x = 0; x < w / block * block; ++x) pixel(x);
  if (w % block != 0) {
    for (int x = w - block; x < w; ++x) pixel(x);
  }
}

Plane PseudoMedian(const Plane& in) {
  Plane row = in, out = in;
  for (int r = 0; r < in.h; ++r) {
    for (int x = 1; x < in.w - 1; ++x) row(r, x) = Middle(in(r, x - 1), in(r, x), in(r, x + 1));
  }
  for (int r = 1; r < in.h - 1; ++r) {
    for (int x = 1; x < in.w - 1; ++x) out(r, x) = Middle(row(r - 1, x), row(r, x), row(r + 1, x));
  }
  return out;
}

Plane Box2(const Plane& in) {
  Plane out(in.w / 2, in.h / 2);
  for (int r = 0; r < out.h; ++r) {
    for (int x = 0; x < out.w; ++x) {
      out(r, x) = Half(Half(in(2 * r, 2 * x), in(2 * r, 2 * x + 1)),
                       Half(in(2 * r + 1, 2 * x), in(2 * r + 1, 2 * x + 1)));
    }
  }
  return out;
}

Plane Box4(const Plane& in) {
  Plane out(in.w / 4, in.h / 4);
  for (int r = 0; r < out.h; ++r) {
    for (int x = 0; x < out.w; ++x) {
      int sum = 8;
      for (int i = 0; i < 16; ++i) sum += in(4 * r + i / 4, 4 * x + i % 4);
      out(r, x) = Sat8(sum >> 4);
    }
  }
  return out;
}

Plane Blur(const Plane& in) {
  const int w = in.w, h = in.h;
  Plane t = in, blurred = in;
  for (int r = 0; r < h; ++r) {
    for (int x = 1; x < w - 1; ++x) t(r, x) = Half(Half(in(r, x - 1), in(r, x + 1)), in(r, x));
    t(r, 0) = (3 * in(r, 0) + in(r, 1)) >> 2;
    t(r, w - 1) = (in(r, w - 2) + 3 * in(r, w - 1)) >> 2;
  }
  for (int x = 0; x < w; ++x) {
    for (int r = 1; r < h - 1; ++r) blurred(r, x) = Half(Half(t(r - 1, x), t(r + 1, x)), t(r, x));
    blurred(0, x) = Half(Half(t(0, x), t(1, x)), t(0, x));
    blurred(h - 1, x) = Half(Half(t(h - 2, x), t(h - 1, x)), t(h - 1, x));
  }
  return blurred;
}

Plane Sobel(const Plane& in) {
  Plane out(in.w, in.h);
  for (int r = 1; r < in.h - 1; ++r) {
    for (int x = 1; x < in.w - 1; ++x) {
      int gx = 0, gy = 0;
      for (int k = -1; k <= 1; ++k) {
        gx += (k == 0 ? 2 : 1) * (in(r + k, x + 1) - in(r + k, x - 1));
        gy += (k == 0 ? 2 : 1) * (in(r + 1, x + k) - in(r - 1, x + k));
      }
      out(r, x) = std::min(std::abs(gx) + std::abs(gy), 255);
    }
  }
  return out;
}

Plane UpscaleMask(const Plane& m) {
  const int rows = m.h, columns = m.w;
  Plane out(4 * columns, 4 * rows);
  for (int k = 0; k < rows - 1; ++k) {
    for (int j = 0; j < columns - 1; ++j) {
      for (int i = 0; i < 16; ++i) {
        const int wy = 7 - 2 * (i / 4), wx = 7 - 2 * (i % 4);
        const int sum = wy * wx * m(k, j) + wy * (8 - wx) * m(k, j + 1) + (8 - wy) * wx * m(k + 1, j) +
                        (8 - wy) * (8 - wx) * m(k + 1, j + 1);
        out(4 * k + 2 + i / 4, 4 * j + 2 + i % 4) = (sum + 32) >> 6;
      }
    }
  }
  const auto mixed = [](int a, int b, int p) { return static_cast<int>(((4 - p) * a + p * b) / 4.0); };
  for (int y = 0; y < 4 * rows; ++y) {
    const int k = y / 4, next = std::min(k + 1, rows - 1);
    out(y, 0) = out(y, 1) = mixed(m(k, 0), m(next, 0), y % 4);
    out(y, out.w - 1) = out(y, out.w - 2) = mixed(m(k, columns - 1), m(next, columns - 1), y % 4);
  }
  for (int x = 0; x < 4 * columns; ++x) {
    const int j = x / 4, next = std::min(j + 1, columns - 1);
    out(0, x) = out(1, x) = mixed(m(0, j), m(0, next), x % 4);
    out(out.h - 1, x) = out(out.h - 2, x) = mixed(m(rows - 1, j), m(rows - 1, next), x % 4);
  }
  return out;
}

}  // namespace zolt::test
