#include "support/slow_burst.h"

#include <algorithm>
#include <cmath>

#include "support/slow_ghost.h"
#include "support/slow_planes.h"
#include "support/slow_spatial.h"

namespace zolt::test {
namespace {

using Bytes = std::vector<uint8_t>;

// A band of the large form, or the whole frame of the small one: rows of luma and of chroma, and how many of
// them come from the neighbours.
struct Band {
  int first, height, top, bottom, chroma_first, chroma_rows, chroma_top, chroma_bottom;
};

std::vector<Band> Bands(int h) {
  const int q = h >> 2, c = h >> 3;
  const int edge = (q + 67) & ~3, e = edge - q, middle = (q + 131) & ~3;
  const int edge_c = (c + 17) & ~1, ec = edge_c - c, middle_c = (c + 33) & ~1;
  return {{0, edge, 0, e, 0, edge_c, 0, ec},
          {q - e, middle, e, 64, c - ec, middle_c, ec, 16},
          {2 * q - e, middle, e, 64, 2 * c - ec, middle_c, ec, 16},
          {3 * q - e, edge, e, 0, 3 * c - ec, edge_c, ec, 0}};
}

void FindMotion(const Frame& aligned, const Frame& first, const DeghostPara& t, const Band& band,
                bool count_luma, SlowMotion* motion) {
  const int w = first.width, columns = w / 4, rows = band.height / 4, luma = w * first.height;
  const auto planes = [&](int offset, int pitch, int height) {
    return PlanePair{aligned.bytes.data() + offset, first.bytes.data() + offset, pitch, height};
  };
  Bytes mask = SlowDifferenceMask(planes(band.first * w, w, band.height), MaskScale::kQuarter,
                                  {t.lumaTH_Low >> 4, t.lumaTH_High >> 4, t.lumaNoiseTH >> 4});
  mask = SlowMorphology(SlowMorphology(mask, columns, rows, 7, true), columns, rows, 3, false);
  const int core = (band.height - band.top - band.bottom) >> 2;
  const auto core_set = [&] {
    const auto begin = mask.begin() + (band.top >> 2) * columns;
    return 16 * static_cast<uint32_t>(std::count(begin, begin + core * columns, 255));
  };
  if (count_luma) motion->count += core_set();
  const int above = band.chroma_top / 2, joined = above + core + band.chroma_bottom / 2;
  for (int plane = 0; plane < 2; ++plane) {
    const int at = luma + plane * luma / 4 + band.chroma_first * (w / 2);
    Bytes found = SlowDifferenceMask(planes(at, w / 2, band.chroma_rows), MaskScale::kHalf,
                                     {t.chromaTH_Low >> 4, t.chromaTH_High >> 4, t.chromaNoiseTH >> 4});
    const int n = band.chroma_rows / 2;
    found = SlowMorphology(SlowMorphology(found, columns, n, 3, false), columns, n, 7, true);
    for (int i = 0; i < joined * columns; ++i) mask[((band.top >> 2) - above) * columns + i] |= found[i];
  }
  if (!count_luma) motion->count += core_set();
  const Plane map = UpscaleMask(Blur(Plane(mask.data(), columns, rows)));
  const auto begin = map.v.begin() + band.top * w;
  motion->map.insert(motion->map.end(), begin, begin + (band.height - band.top - band.bottom) * w);
}

uint8_t Mix(int a, int b, int m, int w) {
  const int t = Sat8(((256 - m) * b + m * a + 128) >> 8);
  return static_cast<uint8_t>(Sat8((w * a + ((-w) & 255) * t + 128) >> 8));
}

void LiftDarkScene(const EnhancementPara& e, SceneLevels levels, int luma, Bytes* image) {
  if (e.LumaEnhancementFlag == 0 || levels.luma >= e.lumaTH / 10 || levels.peak >= e.peakTH / 10) return;
  const auto to_white = static_cast<uint8_t>(static_cast<int>(16 * (255.0f / (levels.luma + 1))));
  const int gain = std::min<int>(static_cast<uint8_t>(std::min(e.maxGain, 255)), to_white);
  const int chroma =
      static_cast<uint8_t>(static_cast<int>(16.0 * std::pow(gain / 16.0, e.chromaGain / 16.0)));
  for (int i = 0; i < luma * 3 / 2; ++i) {
    uint8_t& v = (*image)[i];
    v = static_cast<uint8_t>(i < luma ? Sat8((v * gain + 8) >> 4)
                                      : Sat8((((v - 128) * chroma + 8) >> 4) + 128));
  }
}

// Columns past `w` are reflected or, for the frame counts, 0; rows past `h` are the last one again.
Bytes Padded(const uint8_t* plane, int w, int h, int to_w, int to_h, bool reflect) {
  Bytes out;
  for (int y = 0; y < to_h; ++y) {
    const uint8_t* row = plane + std::min(y, h - 1) * w;
    for (int x = 0; x < to_w; ++x) out.push_back(x < w ? row[x] : reflect ? row[2 * w - 1 - x] : 0);
  }
  return out;
}

void Finish(const IsoParameters& p, SceneLevels levels, int frames, int folded, int w, int h, Bytes weights,
            Bytes* image) {
  const int luma = w * h;
  LiftDarkScene(p.enhancement, levels, luma, image);
  const Bytes before = *image;
  const int pw = (w + 15) / 16 * 16, ph = (h + 15) / 16 * 16;
  Bytes padded = Padded(image->data(), w, h, pw, ph, true);
  for (int plane = 0; plane < 2; ++plane) {
    const Bytes chroma = Padded(&(*image)[luma + plane * luma / 4], w / 2, h / 2, pw / 2, ph / 2, true);
    padded.insert(padded.end(), chroma.begin(), chroma.end());
  }
  weights = Padded(weights.data(), w, h, pw, ph, false);
  NrParameters nr = {};
  nr.weightMap = weights.data();
  nr.frameTotal = static_cast<uint8_t>(frames);
  nr.lumaMed = p.nr.lumaMed;
  nr.lumaLF = p.nr.lumaLF;
  nr.lumaHF1 = p.nr.lumaHF1;
  nr.lumaHF2 = p.nr.lumaHF2;
  nr.lumaHF3 = p.nr.lumaHF3;
  nr.chromaS = folded < 4 ? p.nr.chromaS + 2 * (p.nr.chromaS + 100) : p.nr.chromaS;
  nr.detail = p.nr.detail;
  nr.chromaNrLUT = p.chromaNrLUT;
  nr.stageSwitchA = nr.stageSwitchB = 1;
  nr.peakLevel = levels.peak;
  nr.enhancementLevel = p.enhancement.enhancementLevel;
  nr.chromaDetail = p.enhancement.chromaDetail;
  SlowSpatialStage(nr, folded >= 4, PlanarImage(padded.data(), pw, ph));
  for (int y = 0; y < h; ++y) std::copy_n(&padded[y * pw], w, &(*image)[y * w]);
  for (int plane = 0; plane < 2; ++plane) {
    for (int y = 0; y < h / 2; ++y) {
      for (int x = 0; x < w / 2; ++x) {
        const int i = luma + plane * luma / 4 + y * (w / 2) + x, at = (*image)[2 * y * w + 2 * x];
        const int a = at < 240 ? 0 : 8 * (at - 239);
        const int v = padded[pw * ph + plane * pw * ph / 4 + y * (pw / 2) + x];
        (*image)[i] = static_cast<uint8_t>((a * before[i] + (128 - a) * v) >> 7);
      }
    }
  }
}

}  // namespace

SlowMotion SlowGhosts(const Frame& aligned, const Frame& first, const DeghostPara& t, bool bands) {
  SlowMotion motion;
  const int h = first.height;
  if (!bands) FindMotion(aligned, first, t, {0, h, 0, 0, 0, h / 2, 0, 0}, true, &motion);
  for (int i = 0; bands && i < 4; ++i) FindMotion(aligned, first, t, Bands(h)[i], false, &motion);
  return motion;
}

void SlowFold(const Frame& b, const Bytes& map, int share, const Bytes& a, Bytes* out, Bytes* weights) {
  const int w = b.width, luma = w * b.height, rows = b.height / 4;
  for (int k = 0; k < 4 * (rows & ~1); ++k) {
    const int stripe = k / (rows & ~1), r = k % (rows & ~1), y = stripe * rows + r;
    Blocks(w, 16, [&](int x) {
      const int i = y * w + x, m = map[i], n = (*weights)[i];
      (*out)[i] = Mix(a[i], b.bytes[i], m, share);
      (*weights)[i] = static_cast<uint8_t>((n & m) | ((n + 25) & ~m));
    });
    if (r % 2 != 0) continue;
    Blocks(w / 2, 8, [&](int x) {
      const uint8_t* p = &map[y * w + 2 * x];
      const int m = Sat8((((p[0] + p[w]) >> 1) + ((p[1] + p[w + 1]) >> 1) + 1) >> 1);
      const int at = luma + stripe * (rows * w / 4) + r / 2 * (w / 2) + x;
      for (const int i : {at, at + luma / 4}) (*out)[i] = Mix(a[i], b.bytes[i], m, share);
    });
  }
}

std::vector<uint8_t> SlowBurst(const std::vector<Frame>& frames, const IsoParameters& parameters,
                               SceneLevels levels) {
  constexpr int kShares[] = {128, 156, 172, 182, 192, 197, 202, 207, 210};
  const int w = frames[0].width, h = frames[0].height, total = static_cast<int>(frames.size());
  Bytes result = frames[0].bytes, weights(static_cast<size_t>(w) * h);
  int folded = 1;
  for (int k = 1; k < total; ++k) {
    const SlowMotion motion = SlowGhosts(frames[k], frames[0], parameters.deghost, w > 256 && h > 256);
    if (motion.count >= static_cast<uint32_t>(w * h / 3)) continue;
    SlowFold(frames[k], motion.map, kShares[total - 2], k == 1 ? frames[0].bytes : result, &result, &weights);
    ++folded;
  }
  if (w >= 256 && h >= 256) Finish(parameters, levels, total, folded, w, h, weights, &result);
  return result;
}

}  // namespace zolt::test
