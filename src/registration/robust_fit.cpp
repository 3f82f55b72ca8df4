#include "registration/robust_fit.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <utility>

#include "base/arithmetic.h"
#include "base/random.h"
#include "registration/homography.h"
#include "registration/inlier_refit.h"

namespace zolt {
namespace {

constexpr int kSampleSize = 4;
constexpr int kMostAttempts = 100;
constexpr double kLeastSampleDistance2 = 200;  ///< squared pixels between points of a sample
constexpr int32_t kCountToBeat = 4;            ///< any four pairs agree with some homography
constexpr int32_t kRefitAbove = 5;

/// Four pairs that a model can be made of.
struct Sample {
  Point reference[kSampleSize];
  Point current[kSampleSize];
};

/// Both lists lie in nearly the same coordinates, so the distance across them tells as much as one within.
bool FarApart(Point reference, Point current) {
  const double dx = TruncateToI32(reference.x - current.x), dy = TruncateToI32(reference.y - current.y);
  return dx * dx + dy * dy >= kLeastSampleDistance2;
}

/// One attempt: draws index after index and gives up at the first that does not fit the earlier ones, so that
/// the number of draws depends on the points.
bool TryDraw(const MatchSet& matches, MultiplyWithCarry* random, Sample* sample) {
  uint32_t indices[kSampleSize];
  for (int i = 0; i < kSampleSize; ++i) {
    const uint32_t index = random->Next(static_cast<uint32_t>(matches.count));
    sample->reference[i] = matches.reference[index];
    sample->current[i] = matches.current[index];
    for (int earlier = 0; earlier < i; ++earlier) {
      if (indices[earlier] == index) return false;
      if (!FarApart(sample->reference[earlier], sample->current[i])) return false;
    }
    indices[i] = index;
  }
  return CheckCollinear(sample->reference) && CheckCollinear(sample->current);
}

bool DrawSample(const MatchSet& matches, MultiplyWithCarry* random, Sample* sample) {
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    if (TryDraw(matches, random, sample)) return true;
  }
  return false;
}

/// Iterations after which a sample of nothing but agreeing pairs has been seen with the control's confidence,
/// given the share that agrees now; never more than `iterations`.
int32_t UpdatedIterations(float confidence, int32_t inliers, int32_t n, int32_t iterations) {
  confidence = Clamp(confidence, 0.0f, 1.0f);
  const float outliers = Clamp(static_cast<float>(n - inliers) / static_cast<float>(n), 0.0f, 1.0f);
  const float miss = std::max(1.0f - confidence, FLT_MIN);
  const double spoiled = 1.0 - std::pow(1.0 - static_cast<double>(outliers), 4.0);
  // With no outlier at all the logarithm would be infinite; the search goes on for a smaller error.
  if (spoiled < DBL_MIN) return iterations;
  const double la = std::log(static_cast<double>(miss)), lb = std::log(spoiled);
  if (lb < 0 && -la < iterations * -lb) return TruncateToI32(la / lb + 0.5);
  return iterations;
}

void CompactMarked(MatchSet* matches, const uint8_t* mask) {
  int32_t kept = 0;
  for (int32_t i = 0; i < matches->count; ++i) {
    if (mask[i] == 0) continue;
    matches->reference[kept] = matches->reference[i];
    matches->current[kept] = matches->current[i];
    ++kept;
  }
}

}  // namespace

int32_t RansacHomography(MatchSet* matches, float* homography, const RansacControl& control, uint8_t* buffer,
                         const MfAllocHooks& hooks) {
  const int32_t n = matches->count;
  if (n < kSampleSize) return -1;
  uint8_t* mask = buffer;
  uint8_t* best_mask = buffer + n;
  std::memset(best_mask, 0, static_cast<size_t>(n));
  MultiplyWithCarry random;
  InlierScore best = {kCountToBeat, 0.0f};
  float model[9] = {};
  int32_t iterations = control.maxIterations;
  int32_t iteration = 0;
  do {
    Sample sample;
    if (!DrawSample(*matches, &random, &sample)) return -1;
    // A sample without spread leaves the model of the previous round, which then is scored once more.
    SolveHomography(sample.reference, sample.current, kSampleSize, model, kSampleJacobiLimit);
    InlierScore score = ScoreModel(*matches, model, control.limit, mask);
    if (score.count > kRefitAbove && score.count > best.count / 2 &&
        RefitInliers(*matches, mask, model, control.limit, &score, hooks) != 0) {
      continue;
    }
    if (score.count > best.count || (score.count == best.count && score.error < best.error)) {
      std::copy_n(model, 9, homography);
      std::swap(mask, best_mask);
      best = score;
      iterations = UpdatedIterations(control.confidence, best.count, n, iterations);
    }
  } while (++iteration < iterations);
  CompactMarked(matches, best_mask);
  matches->count = best.count;
  return 0;
}

}  // namespace zolt
