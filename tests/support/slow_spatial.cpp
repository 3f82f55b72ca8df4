#include "support/slow_spatial.h"

#include <vector>

#include "support/slow_stripe.h"

namespace zolt::test {
namespace {

std::vector<SlowStripe> Stripes(int height) {
  const int q = height / 4, h0 = (q + 79) / 16 * 16, h1 = (q + 143) / 16 * 16, o0 = h0 - q, o1 = h1 - q - 64;
  std::vector<SlowStripe> stripes = {
      {0, h0, 0, o0}, {q - o1, h1, o1, 64}, {2 * q - o1, h1, o1, 64}, {3 * q - o0, h0, o0, 0}};
  if (height == 272) stripes[1] = {0, 200, 68, 64};
  return stripes;
}

}  // namespace

void SlowSpatialStage(const NrParameters& nr, bool low_level, const YuvImage& image) {
  const int w = image.width, pixels = w * image.height;
  const std::vector<uint8_t> y(image.y, image.y + pixels), u(image.u, image.u + pixels / 4),
      v(image.v, image.v + pixels / 4);
  for (const SlowStripe& s : Stripes(image.height)) {
    const int at = s.first * w, core = at + s.top * w;
    const Plane luma(&y[at], w, s.height);
    const FilteredLuma filtered = SlowFilterLuma(luma, s, nr, low_level);
    if (nr.stageSwitchB != 0) {
      const auto [u_out, v_out] =
          SlowFilterChroma(Plane(&u[at / 4], w / 2, s.height / 2), Plane(&v[at / 4], w / 2, s.height / 2),
                           filtered.edge, Plane(nr.weightMap + at, w, s.height), nr, low_level);
      SlowUpscale2(u_out, s, image.u + core / 4);
      SlowUpscale2(v_out, s, image.v + core / 4);
    }
    if (nr.stageSwitchA == 0) continue;
    if (low_level) {
      SlowReturnByWeight(image.y + core, filtered.core, nr.weightMap + core, nr);
    } else {
      SlowReturnAtEdges(image.y + core, luma, filtered, s, nr);
    }
  }
}

}  // namespace zolt::test
