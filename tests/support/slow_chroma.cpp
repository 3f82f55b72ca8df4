#include "support/slow_stripe.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "noise/chroma_boost_tables.h"

namespace zolt::test {
namespace {

Plane ChromaEdges(const Plane& u, const Plane& v) {
  Plane mag(u.w, u.h);
  for (size_t i = 0; i < mag.v.size(); ++i) {
    mag.v[i] = Sat8(Sat8(std::abs(u.v[i] - 128) + std::abs(v.v[i] - 128)) + 64);
  }
  return Sobel(Blur(mag));
}

int HoleSample(int before, int centre, int after, bool inside) {
  return inside ? Half(Half(before, after), centre) : (before + 2 * centre + after + 2) >> 2;
}

Plane Atrous(const Plane& in, int n) {
  const auto mirror = [](int i, int size) { return i < 0 ? -i : i >= size ? 2 * (size - 1) - i : i; };
  Plane rows = in, out = in;
  for (int r = 0; r < in.h; ++r) {
    for (int x = 0; x < in.w; ++x) {
      rows(r, x) = HoleSample(in(r, mirror(x - n, in.w)), in(r, x), in(r, mirror(x + n, in.w)),
                              x - n >= 0 && x + n < in.w);
    }
  }
  for (int r = 0; r < in.h; ++r) {
    for (int x = 0; x < in.w; ++x) {
      out(r, x) = HoleSample(rows(mirror(r - n, in.h), x), rows(r, x), rows(mirror(r + n, in.h), x),
                             r - n >= 0 && r + n < in.h);
    }
  }
  return out;
}

Plane FromQ7(const Plane& q) {
  Plane out(q.w, q.h);
  for (size_t i = 0; i < out.v.size(); ++i) out.v[i] = Sat8((q.v[i] + 64) >> 7);
  return out;
}

struct ChromaStrength {
  int a, b, floor;
  uint32_t g;
  ChromaStrength(int32_t chroma_s, int f) {
    const int tenfold = Wrapped(int64_t{10} * chroma_s);
    a = tenfold < -620 ? 30 : tenfold <= -395 ? (tenfold - 118) & 255 : 255;
    b = a == 255 ? 127 : a >> 1;
    floor = a == 30 ? 0 : f;
    g = static_cast<uint16_t>(static_cast<float>((int64_t{chroma_s} + 100) & 255) / 10.0f * 4.0f);
  }
};

// `wq` null: no frame counts.
Plane NoiseMap(const Plane& edge, const Plane* wq, const ChromaStrength& c, int shift) {
  Plane noise(edge.w, edge.h);
  const int k = (4096 - c.floor) / (c.a - c.b);
  for (size_t i = 0; i < noise.v.size(); ++i) {
    const int e = std::min(std::max(edge.v[i] - c.b, 0), c.a - c.b);
    noise.v[i] = 4096 - e * k;
    if (wq == nullptr) continue;
    const int v = wq->v[i], q = std::max(((1 << shift) - 1) - v, 0), frames = std::max(shift - (v >> 4), 1);
    const int r = ((k >> 1) * q + (1 << (shift - 1))) >> shift;
    noise.v[i] = (4096 - e * (k - r)) * frames;
  }
  return noise;
}

// Returns the shrunk plane; `low_pass` gets that of level 1.
Plane ShrinkChroma(const Plane& source, const Plane& noise, const int32_t* table, uint32_t g,
                   Plane* low_pass) {
  Plane cw = source;
  for (int& v : cw.v) v <<= 7;
  Plane input = cw;
  for (int level = 0; level < 5; ++level) {
    const Plane low = Atrous(input, 1 << level);
    for (int r = 0; r < cw.h; ++r) {
      for (int x = 0; x < cw.w; ++x) {
        const int d = S16(input(r, x) - low(r, x));
        const uint32_t entry = static_cast<uint32_t>(table[4 * level + (low(r, x) >> 13)]);
        const bool partial = x >= cw.w / 8 * 8;
        const uint32_t scaled = entry * (g * static_cast<uint32_t>(noise(r, x))) + (partial ? 65536 : 8192);
        int t = partial ? S16(scaled >> 14) : static_cast<uint16_t>(scaled >> 14);
        if (level == 0) t = std::max(t, 76);
        const int u = std::clamp<int>((t * (32768 - 327) + 16384) >> 15, -32768, 32767);
        int s = d > t ? d - u : d < -t ? d + u : (d * 327 + 16384) >> 15;
        if (level == 0 && std::abs(d) < 76) s = d;
        cw(r, x) = S16(level == 0 ? s : cw(r, x) + s);
      }
    }
    if (level == 1) *low_pass = FromQ7(low);
    input = low;
  }
  for (size_t i = 0; i < cw.v.size(); ++i) cw.v[i] = S16(cw.v[i] + input.v[i]);
  return FromQ7(cw);
}

Plane Dilated(const Plane& edge) {
  Plane out(edge.w, edge.h);
  for (int r = 0; r < edge.h; ++r) {
    for (int x = 0; x < edge.w; ++x) {
      for (int i = std::max(r - 3, 0); i <= std::min(r + 3, edge.h - 1); ++i) {
        for (int j = std::max(x - 3, 0); j <= std::min(x + 3, edge.w - 1); ++j) {
          if (edge(i, j) >= 50) out(r, x) = 255;
        }
      }
    }
  }
  return out;
}

void ReturnAtEdges(Plane* out, const Plane& low, const Plane& mask, int weight) {
  for (int r = 0; r < mask.h; ++r) {
    Blocks(mask.w, 8, [&](int x) {
      const int mix = (((*out)(r, x) * weight + low(r, x) * (255 - weight) + 128) & 65535) >> 8;
      if (mask(r, x) != 0) (*out)(r, x) = mix;
    });
  }
}

void Boost(Plane* u, Plane* v, int32_t level) {
  if (level < 1 || level > 9) return;
  for (int r = 0; r < u->h; ++r) {
    for (int x = 0; x < u->w; ++x) {
      int &pu = (*u)(r, x), &pv = (*v)(r, x);
      const int du = pu - 128, dv = pv - 128;
      const int gain = kChromaBoostTables[level - 1][std::abs(du) > std::abs(dv) ? pu : pv];
      const int bu = 128 + ((du * gain + 64) >> 7), bv = 128 + ((dv * gain + 64) >> 7);
      const bool partial = x >= u->w / 8 * 8;
      pu = partial ? bu & 255 : Sat8(bu);
      pv = partial ? bv & 255 : Sat8(bv);
    }
  }
}

}  // namespace

FilteredChroma SlowFilterChroma(const Plane& u_full, const Plane& v_full, const Plane& luma_edge,
                                const Plane& weights, const NrParameters& nr, bool low_level) {
  const Plane u = Box2(u_full), v = Box2(v_full), wq = Box4(weights);
  Plane edge = ChromaEdges(u, v), u_low = u, v_low = v;
  if (nr.peakLevel > 64) {
    for (int r = 0; r < edge.h; ++r) {
      Blocks(edge.w, 16, [&](int x) { edge(r, x) = Sat8(edge(r, x) + luma_edge(r, x)); });
    }
  }
  const ChromaStrength strength(nr.chromaS, low_level ? 1228 : 2048);
  const Plane noise = NoiseMap(edge, low_level ? &wq : nullptr, strength, Shift(nr.frameTotal));
  Plane u_out = ShrinkChroma(u, noise, nr.chromaNrLUT, strength.g, &u_low);
  Plane v_out = ShrinkChroma(v, noise, nr.chromaNrLUT + 20, strength.g, &v_low);
  const Plane mask = Dilated(edge);
  ReturnAtEdges(&u_out, u_low, mask, Sat8(nr.chromaDetail));
  ReturnAtEdges(&v_out, v_low, mask, Sat8(nr.chromaDetail));
  Boost(&u_out, &v_out,
        static_cast<int32_t>(int64_t{nr.enhancementLevel} > INT32_MIN && nr.peakLevel > 200
                                 ? nr.enhancementLevel - 1
                                 : nr.enhancementLevel));
  return {u_out, v_out};
}

// Rows first .. first + rows - 1 of the source to twice as many; the plane's own ends are edges only where
// the stripe has no neighbour.
void SlowUpscale2(const Plane& s, const SlowStripe& stripe, uint8_t* out) {
  const int w = s.w, first = stripe.top / 4, rows = stripe.core() / 4;
  for (int y = 0; y < 2 * rows; ++y) {
    const int near = first + y / 2, far = y % 2 == 0 ? near - 1 : near + 1;
    const bool edge = (y == 0 && stripe.top == 0) || (y == 2 * rows - 1 && stripe.bottom == 0);
    for (int x = 0; x < 2 * w; ++x) {
      const int c = x / 2, other = x % 2 == 0 ? c - 1 : c + 1;
      const bool side = other < 0 || other >= w;
      int v;
      if (edge) {
        v = side ? s(near, c) : (3 * s(near, c) + s(near, other) + 2) >> 2;
      } else if (side) {
        v = (3 * s(near, c) + s(far, c) + 2) >> 2;
      } else {
        v = (9 * s(near, c) + 3 * s(near, other) + 3 * s(far, c) + s(far, other) + 8) >> 4;
      }
      out[y * 2 * w + x] = static_cast<uint8_t>(v);
    }
  }
}

}  // namespace zolt::test
