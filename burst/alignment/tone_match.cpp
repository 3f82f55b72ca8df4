#include "burst/alignment/tone_match.h"

#include <algorithm>
#include <cstdlib>

#include "burst/alignment/alignment_stripes.h"

namespace zolt {
namespace {

constexpr int kWhite = 255 * 32;  // Q5
constexpr int kBlownOut = 215;    // above, single colours may be blown out already, and brightness tells less
constexpr int kLeastShare = 4000;  // a level tells where it goes if one pixel in so many has it

constexpr int64_t kOverlapPixels = 24000;

/// The level of `to`, Q5, that `below` of its pixels lie below; `bin` and `sum` go on from call to call.
int LevelBelow(const GreyHistogram& to, double below, int* bin, int64_t* sum) {
  while (*bin < 255 && static_cast<double>(*sum + to.count[*bin]) < below) *sum += to.count[(*bin)++];
  const auto inside = static_cast<double>(to.count[*bin]);
  const double part = inside > 0 ? (below - static_cast<double>(*sum)) / inside : 0.5;
  return *bin * 32 + static_cast<int>(32 * std::clamp(part, 0.0, 1.0));
}

/// Straight line from entry a to b, both included.
void Connect(LevelCurve* curve, int a, int at_a, int b, int at_b) {
  for (int v = a; v <= b; ++v)
    curve->value[v] = static_cast<int16_t>(at_a + (at_b - at_a) * (v - a) / std::max(b - a, 1));
}

}  // namespace

int16_t LevelCurve::At(int16_t grey) const {
  const int v = grey >> 5, part = grey & 31;
  return static_cast<int16_t>(value[v] + (((value[v + 1] - value[v]) * part) >> 5));
}

bool LevelCurve::IsSame(const GreyHistogram& used) const {
  int64_t away = 0;
  for (int v = 0; v < 256; ++v) away += used.count[v] * std::abs(value[v] - 32 * v);
  return away <= 4 * 32 * used.total;
}

GreyHistogram HistogramOf(const GreyPlane& plane) {
  GreyHistogram histogram;
  for (int y = 0; y < plane.height; ++y) {
    const int16_t* row = plane.Row(y);
    for (int x = 0; x < plane.width; ++x) histogram.Add(row[x]);
  }
  return histogram;
}

LevelCurve MatchTones(const GreyHistogram& from, const GreyHistogram& to) {
  LevelCurve curve;
  const double scale = static_cast<double>(to.total) / static_cast<double>(std::max<int64_t>(from.total, 1));
  int known = 0, at_known = 0, bin = 0;  // black stays black
  int64_t sum = 0, below = 0;
  const auto tells = [&](int v) { return from.count[v] > 0 && from.count[v] * kLeastShare >= from.total; };
  for (int v = 1; v < kBlownOut; ++v) {
    below += from.count[v - 1];
    if (!tells(v - 1) || !tells(v)) continue;
    const int level = std::max(LevelBelow(to, static_cast<double>(below) * scale, &bin, &sum), at_known);
    Connect(&curve, known, at_known, v, level);
    known = v;
    at_known = level;
  }
  // Beyond the last level that tells, as steeply as from black to there.
  const int end = known > 0 ? std::min(at_known + at_known * (256 - known) / known, kWhite) : kWhite;
  Connect(&curve, known, at_known, 256, std::max(end, at_known));
  curve.ceiling = static_cast<int16_t>(std::min<int>(curve.value[kBlownOut], 32 * kBlownOut));
  return curve;
}

void OverlapHistograms(const GreyPlane& reference, const GreyPlane& frame, const Homography& motion,
                       GreyHistogram* of_reference, GreyHistogram* of_frame) {
  int step = 1;
  while (static_cast<int64_t>(reference.width / step) * (reference.height / step) > kOverlapPixels) ++step;
  for (int y = 0; y < reference.height; y += step) {
    for (int x = 0; x < reference.width; x += step) {
      double to_x, to_y;
      motion.Map(x, y, &to_x, &to_y);
      if (!(to_x >= 0 && to_y >= 0 && to_x <= frame.width - 1 && to_y <= frame.height - 1)) continue;
      of_reference->Add(reference.Row(y)[x]);
      of_frame->Add(frame.Row(static_cast<int>(to_y + 0.5))[static_cast<int>(to_x + 0.5)]);
    }
  }
}

void ApplyCurve(const LevelCurve& curve, int threads, GreyPlane* plane) {
  RunStripes(threads, plane->height, [&](int y) {
    int16_t* row = plane->Row(y);
    for (int x = 0; x < plane->width; ++x) row[x] = std::min(curve.At(row[x]), curve.ceiling);
  });
  plane->RepeatEdges();
}

void LimitTo(int16_t ceiling, int threads, GreyPlane* plane) {
  RunStripes(threads, plane->height, [&](int y) {
    int16_t* row = plane->Row(y);
    for (int x = 0; x < plane->width; ++x) row[x] = std::min(row[x], ceiling);
  });
  plane->RepeatEdges();
}

}  // namespace zolt
