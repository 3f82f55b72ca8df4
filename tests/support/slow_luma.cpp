#include "support/slow_stripe.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace zolt::test {
namespace {

using Line = std::vector<int>;

Line LiftForward(const Line& x) {
  const int n = static_cast<int>(x.size()) / 2;
  Line out(x.size());
  int* d = &out[n];
  for (int i = 0; i < n; ++i) {
    d[i] = S16(x[2 * i + 1] - (i < n - 1 ? (x[2 * i] + x[2 * i + 2]) >> 1 : x[2 * i]));
  }
  for (int i = 0; i < n; ++i) out[i] = S16(x[2 * i] + (i == 0 ? d[0] >> 1 : S16(d[i - 1] + d[i]) >> 2));
  return out;
}

Line LiftInverse(const Line& bands) {
  const int n = static_cast<int>(bands.size()) / 2;
  Line x(bands.size());
  const int* d = &bands[n];
  for (int i = 0; i < n; ++i) x[2 * i] = S16(bands[i] - (i == 0 ? d[0] >> 1 : S16(d[i - 1] + d[i]) >> 2));
  for (int i = 0; i < n; ++i) {
    x[2 * i + 1] = S16(d[i] + (i < n - 1 ? (x[2 * i] + x[2 * i + 2]) >> 1 : x[2 * i]));
  }
  return x;
}

void LiftRows(Plane* p, int w, int h, Line (*lift)(const Line&)) {
  for (int r = 0; r < h; ++r) {
    Line line(w);
    for (int x = 0; x < w; ++x) line[x] = (*p)(r, x);
    line = lift(line);
    for (int x = 0; x < w; ++x) (*p)(r, x) = line[x];
  }
}

void LiftColumns(Plane* p, int w, int h, Line (*lift)(const Line&)) {
  for (int x = 0; x < w; ++x) {
    Line line(h);
    for (int r = 0; r < h; ++r) line[r] = (*p)(r, x);
    line = lift(line);
    for (int r = 0; r < h; ++r) (*p)(r, x) = line[r];
  }
}

Line CoringTable(int32_t luma_hf) {
  const int p = std::clamp(luma_hf, -128, 0) + 128;
  const float share = static_cast<float>(p) / 511.0f;
  const float exponent = static_cast<float>(-1.3862943611198906 / std::log(1.0 - share - 0.00001));
  Line table(1024, 0);
  for (int i = 0; i <= 511; ++i) {
    const double k = std::pow(static_cast<float>(1 - i / 511.0), exponent);
    const int v = static_cast<int>(static_cast<float>(0.49 + i * k));
    table[512 + i] = i - v;
    table[512 - i] = v - i;
  }
  return table;
}

// Horizontal, vertical, diagonal.
std::vector<Plane> EdgeMaps(const Plane& band, int w, int h, int threshold) {
  std::vector<Plane> maps(3, Plane(w, h));
  for (int r = 1; r < h - 1; ++r) {
    for (int x = 1; x < w - 1 && x <= w / 8 * 8; ++x) {
      const auto b = [&](int dr, int dx) { return band(r + dr, x + dx); };
      int gx = std::abs((b(-1, -1) + 2 * b(0, -1) + b(1, -1)) - (b(-1, 1) + 2 * b(0, 1) + b(1, 1)));
      int gy = std::abs((b(-1, -1) + 2 * b(-1, 0) + b(-1, 1)) - (b(1, -1) + 2 * b(1, 0) + b(1, 1)));
      gx = Sat8(gx) < threshold ? 0 : Sat8(gx);
      gy = Sat8(gy) < threshold ? 0 : Sat8(gy);
      maps[0](r, x) = gx;
      maps[1](r, x) = gy;
      maps[2](r, x) = Sat8((gx + gy + 1) >> 1);
    }
  }
  return maps;
}

void CoreBand(Plane* band, int row, int column, const Plane& map, int first, int end, const Line& table) {
  for (int r = first; r < end; ++r) {
    Blocks(map.w, 8, [&](int x) {
      int& c = (*band)(row + r, column + x);
      const int m = map(r, x);
      if (m >= 50) return;
      const int t = c < -512 || c > 511 ? c : table[512 + c];
      const int a = std::min(m * (1024 / 50), 614);
      c = S16((t * (1024 - a) + c * a + 512) >> 10);
    });
  }
}

int Skip(int overlap, int level) {
  if (level == 1) return overlap >> 1 <= 1 ? 0 : (overlap >> 1) - 1;
  return overlap >> level < 3 ? 0 : (overlap >> level) - 2;
}

// Returns the diagonal edges.
Plane CoreLevel(Plane* band, const SlowStripe& s, int level, int32_t luma_hf) {
  const int w = band->w >> level, h = band->h >> level;
  const std::vector<Plane> maps = EdgeMaps(*band, w, h, level == 1 ? 10 : 20);
  const Line table = CoringTable(luma_hf);
  const int first = Skip(s.top, level), end = h - Skip(s.bottom, level);
  CoreBand(band, 0, w, maps[0], first, end, table);
  CoreBand(band, h, 0, maps[1], first, end, table);
  CoreBand(band, h, w, maps[2], first, end, table);
  LiftRows(band, 2 * w, 2 * h, LiftInverse);
  LiftColumns(band, 2 * w, 2 * h, LiftInverse);
  return maps[2];
}

struct PullTables {
  Line step = Line(241, 0), back = Line(241, 0);
  PullTables(int32_t luma_lf, int32_t detail) {
    const double p = std::max(luma_lf, -100) + 100.0;
    if (p >= 511) return;
    const float argument = 1.0f - static_cast<float>(p) / 511.0f - 0.00001f;
    const float exponent = static_cast<float>(-1.3862943611198906 / std::log(static_cast<double>(argument)));
    for (int v = -120; v <= 0; ++v) {
      const double k = std::pow(static_cast<double>(static_cast<float>(1 - (-v) / 2044.0)), exponent);
      step[v + 120] = S16(static_cast<int>(k * v * 32.0));
      step[120 - v] = -step[v + 120];
    }
    const double d = -58.0 * detail;
    const int share = d < 2720 ? 5000 : d > 5720 ? 8000 : static_cast<int>(d) + 2280;
    for (int i = 0; i <= 120; ++i) {
      back[120 + i] = (share * step[120 + i] + 4096) >> 13;
      back[120 - i] = -back[120 + i];
    }
  }
  static int Look(const Line& t, int d) { return t[std::clamp((d + 3856) >> 5, 0, 240)]; }
};

// One pass from the first element to the last; the other pass is this one on the reversed plane.
void RecursivePass(Plane* p, const PullTables& t) {
  const auto look = PullTables::Look;
  const Plane in = *p;
  Line state(p->w);
  int y = state[0] = in(0, 0) * 128;
  for (int x = 1; x < p->w; ++x) {
    const int s = look(t.step, y - in(0, x) * 128);
    state[x] = y = in(0, x) * 128 + s;
    (*p)(0, x) = S16((look(t.back, -s) + y + 63) >> 7);
  }
  for (int r = 1; r < p->h; ++r) {
    const int a = in(r, 0) * 128, s = look(t.step, state[0] - a);
    state[0] = y = a + s;
    (*p)(r, 0) = S16((look(t.back, -s) + y + 63) >> 7);
    int h = a;
    for (int x = 1; x < p->w; ++x) {
      const int c = in(r, x) * 128;
      h = c + look(t.step, h - c);
      state[x] = y = h + look(t.step, state[x] - h);
      (*p)(r, x) = S16((look(t.back, c - y) + y + 63) >> 7);
    }
  }
}

void SmoothLowBand(Plane* band, const SlowStripe& s, const PullTables& tables) {
  const int first = Skip(s.top, 1), rows = band->h / 2 - first - Skip(s.bottom, 1), w = band->w / 2;
  Plane low(w, rows);
  for (int r = 0; r < rows; ++r) {
    for (int x = 0; x < w; ++x) low(r, x) = (*band)(first + r, x);
  }
  for (int pass = 0; pass < 2; ++pass) {
    RecursivePass(&low, tables);
    std::reverse(low.v.begin(), low.v.end());
  }
  for (int r = 0; r < rows; ++r) {
    for (int x = 0; x < w; ++x) (*band)(first + r, x) = low(r, x);
  }
}

// The full-size mask of a stripe.
Plane ReturnMask(const Plane& luma, Plane edge, const NrParameters& nr) {
  const int detail = nr.detail, centre = detail < -100 ? 200 : detail < -78 ? 150 : 130;
  const int knee = detail < -100 ? 255 : detail < -78 ? 200 : 180;
  const int spread = Wrapped(25 * int64_t{Wrapped(int64_t{-100} - detail)});
  const int sigma = spread < -499 ? 100 : Wrapped(int64_t{spread} + 600);
  const Plane mean = Box4(luma);
  if (sigma >= 0) {
    const float variance = static_cast<float>(sigma) * static_cast<float>(sigma);
    for (int& v : edge.v) {
      const float square = static_cast<float>((v - centre) * (v - centre));
      v = static_cast<int>(v * std::exp(-0.5 * square / variance));
    }
  }
  for (int r = 0; r < edge.h; ++r) {
    Blocks(edge.w, 8, [&](int x) {
      const int m = std::min(mean(r, x) * (32768 / knee), 32768);
      edge(r, x) = Sat8((edge(r, x) * m) >> 15);
    });
  }
  return UpscaleMask(nr.lumaMed != 0 ? PseudoMedian(edge) : edge);
}

void ReturnByMask(uint8_t* y, const Plane& f, const Plane& mask, int top, int32_t detail) {
  const int peak = detail < -100 ? 200 : detail < -78 ? 150 : 130;
  const int strength = detail < -100 ? 128 : detail < -78 ? 102 : 76;
  for (size_t i = 0; i < f.v.size(); ++i) {
    const int t = std::max(peak - std::abs(peak - mask.v[static_cast<size_t>(top) * mask.w + i]), 0);
    const int u = t * (32768 / peak), v = (u * strength + 64) >> 7;
    y[i] = static_cast<uint8_t>((f.v[i] * (32768 - v) + y[i] * v + 16384) >> 15);
  }
}

}  // namespace

FilteredLuma SlowFilterLuma(const Plane& luma, const SlowStripe& s, const NrParameters& nr, bool low_level) {
  Plane band = nr.lumaMed != 0 ? PseudoMedian(luma) : luma;
  const int levels = low_level ? 3 : 1;
  for (int k = 0; k < levels; ++k) {
    LiftColumns(&band, band.w >> k, band.h >> k, LiftForward);
    LiftRows(&band, band.w >> k, band.h >> k, LiftForward);
  }
  if (low_level) CoreLevel(&band, s, 3, nr.lumaHF3);
  if (low_level) CoreLevel(&band, s, 2, nr.lumaHF2);
  SmoothLowBand(&band, s, PullTables(nr.lumaLF, nr.detail));
  const Plane edge = Box2(CoreLevel(&band, s, 1, nr.lumaHF1));
  Plane core(band.w, s.core());
  for (size_t i = 0; i < core.v.size(); ++i)
    core.v[i] = Sat8(band.v[static_cast<size_t>(s.top) * band.w + i]);
  return {core, edge};
}

void SlowReturnByWeight(uint8_t* y, const Plane& f, const uint8_t* weights, const NrParameters& nr) {
  const int shift = Shift(nr.frameTotal);
  const int64_t d = int64_t{nr.detail} + (nr.peakLevel <= 64 ? 10 : 0);
  const int share = static_cast<int>(std::clamp<int64_t>(-d, 0, 128));
  const int limit = (((share << shift) >> 7) - 1) & 255;
  for (size_t i = 0; i < f.v.size(); ++i) {
    const int a = ((std::min(f.v[i], 16) * std::min<int>(weights[i], limit) + 8) >> 4) & 255;
    const int sum = f.v[i] * ((1 << shift) - a) + y[i] * a + (1 << (shift - 1));
    y[i] = static_cast<uint8_t>((sum & 65535) >> shift);
  }
}

void SlowReturnAtEdges(uint8_t* y, const Plane& luma, const FilteredLuma& f, const SlowStripe& s,
                       const NrParameters& nr) {
  ReturnByMask(y, f.core, ReturnMask(luma, f.edge, nr), s.top, nr.detail);
}

}  // namespace zolt::test
