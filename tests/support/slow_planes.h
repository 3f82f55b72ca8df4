#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

namespace zolt::test {

/// What the slow twins of the stages are made of: whole planes of ints, one kernel after the other, every
/// index checked. Nothing here is shared with the library.
struct Plane {
  Plane(int columns, int rows) : w(columns), h(rows), v(static_cast<size_t>(columns) * rows) {}
  Plane(const uint8_t* bytes, int columns, int rows)
      : w(columns), h(rows), v(bytes, bytes + columns * rows) {}
  int& operator()(int r, int x) { return v.at(static_cast<size_t>(r) * w + x); }
  int operator()(int r, int x) const { return v.at(static_cast<size_t>(r) * w + x); }
  int w, h;
  std::vector<int> v;
};

inline int Sat8(int v) {
  return std::clamp(v, 0, 255);
}
inline int S16(int64_t v) {
  return static_cast<int16_t>(v);
}
inline int Half(int a, int b) {
  return (a + b + 1) >> 1;
}
inline int Wrapped(int64_t v) {
  return static_cast<int32_t>(static_cast<uint32_t>(v));
}
/// Columns in blocks of `block`; the last block ends with the row, so that some columns come twice.
void Blocks(int w, int block, const std::function<void(int)>& pixel);

Plane PseudoMedian(const Plane& in);
Plane Box2(const Plane& in);
Plane Box4(const Plane& in);
Plane Blur(const Plane& in);
Plane Sobel(const Plane& in);       ///< |gx| + |gy| up to 255, the frame 0
Plane UpscaleMask(const Plane& m);  ///< 4:1

}  // namespace zolt::test
