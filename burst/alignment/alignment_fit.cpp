#include "burst/alignment/alignment_fit.h"

#include <algorithm>
#include <cmath>

#include "burst/alignment/alignment_stripes.h"
#include "burst/alignment/alignment_system.h"
#include "burst/memory/layer_vector.h"

namespace zolt {
namespace {

constexpr double kMiddle = 0.5 * (kTileSide - 1);
constexpr float kGrey = 128 * 32;  // Q5: half of white

int Unknowns(MotionKind kind) {
  switch (kind) {
    case MotionKind::kTranslation:
      return kBrightnessUnknowns + 2;
    case MotionKind::kAffine:
      return kBrightnessUnknowns + 6;
    default:
      return kMaxUnknowns;
  }
}

/// (u, v) of a tile's middle.
struct TilePlaces {
  explicit TilePlaces(const TemplateLevel& level)
      : half(0.5 * std::max(level.width, level.height)),
        middle_x(0.5 * (level.width - 1)),
        middle_y(0.5 * (level.height - 1)),
        left(level.left),
        top(level.top) {}
  double U(int column) const { return (left + column * kTileSide + kMiddle - middle_x) / half; }
  double V(int row) const { return (top + row * kTileSide + kMiddle - middle_y) / half; }
  double half, middle_x, middle_y, left, top;
};

/// Value below which `share` of the entries lie; reorders them.
float Quantile(LayerVector<float>* values, double share) {
  const auto place =
      values->begin() + static_cast<ptrdiff_t>(share * static_cast<double>(values->size() - 1));
  std::nth_element(values->begin(), place, values->end());
  return *place;
}

/// The motion that undoes a step, in pixels of the level.
Homography Undoing(const double* z, const TilePlaces& places) {
  const double* m = z + kBrightnessUnknowns;
  const double scale = 1 / places.half;
  const Homography step = {{1 + m[2] * scale, m[3] * scale, m[0] * scale, m[4] * scale, 1 + m[5] * scale,
                            m[1] * scale, m[6] * scale, m[7] * scale}};
  return InSteps(Inverse(step), scale, -places.middle_x * scale, -places.middle_y * scale);
}

TileTerms TermsOf(const TileTemplate& tile, const TileSums& s, float weight) {
  const float quarter = 0.25f * weight;  // a gradient is twice the slope, a sum of two gradients four times
  return {quarter * static_cast<float>(s.xx),
          0.5f * quarter * (static_cast<float>(s.xy) + static_cast<float>(s.yx)),
          quarter * static_cast<float>(s.yy),
          quarter * static_cast<float>(s.gradient_x),
          quarter * static_cast<float>(s.gradient_y),
          quarter * static_cast<float>(s.x),
          quarter * static_cast<float>(s.y),
          weight * static_cast<float>(s.r),
          weight * kTilePixels,
          static_cast<float>(tile.sum) * (1.0f / (kTilePixels * kGrey)) - 1.0f};
}

}  // namespace

void LevelFit::Compare(const Homography& motion) {
  sums_.resize(static_cast<size_t>(reference_.count()));
  RunStripes(Threads(), reference_.rows, [&](int row) {
    const size_t first = static_cast<size_t>(row) * reference_.columns;
    CompareTileRow(reference_, frame_, motion, row, &sums_[first]);
    if (!about_means_) return;
    for (size_t i = first; i < first + reference_.columns; ++i)
      sums_[i] = AboutMeans(reference_.tiles[i], sums_[i]);
  });
  valid_ = 0;
  for (const TileSums& s : sums_) valid_ += s.valid;
}

/// A tile that is one value, black or blown out, hides what is there, noise too.
bool LevelFit::Tells(size_t tile) const {
  constexpr int kLeastVariance = 16;  // a sixteenth of a level squared
  return sums_[tile].valid && reference_.tiles[tile].variance >= kLeastVariance;
}

/// A quarter of the tiles is still and plain enough, in each band of brightness that has some.
void LevelFit::MeasureNoise() {
  constexpr size_t kLeast = 24;
  LayerVector<float> values[kNoiseBins], all;
  for (size_t i = 0; i < sums_.size(); ++i) {
    if (!Tells(i)) continue;
    const float square = static_cast<float>(sums_[i].rr) * (1.0f / kTilePixels);
    values[NoiseBin(reference_.tiles[i])].push_back(square);
    all.push_back(square);
  }
  if (all.empty()) return;
  const float common = std::max(Quantile(&all, 0.25), 1.0f);
  for (int bin = 0; bin < kNoiseBins; ++bin) {
    const float own = values[bin].size() < kLeast ? common : Quantile(&values[bin], 0.25);
    noise_[bin] = std::clamp(own, 0.1f * common, 4 * common);
  }
}

void LevelFit::Weigh(double slack) {
  excess_.assign(sums_.size(), -1.0f);
  weights_.assign(sums_.size(), 0.0f);
  MeasureNoise();
  LayerVector<float> values;
  values.reserve(static_cast<size_t>(valid_));
  const float allowed = static_cast<float>(slack * slack) * (0.25f / kTilePixels);
  for (size_t i = 0; i < sums_.size(); ++i) {
    if (!Tells(i)) continue;
    const float expected = noise_[NoiseBin(reference_.tiles[i])] + allowed * reference_.tiles[i].energy;
    excess_[i] = static_cast<float>(sums_[i].rr) * (1.0f / kTilePixels) / expected;
    values.push_back(excess_[i]);
  }
  if (values.empty()) return;
  median_ = std::max(Quantile(&values, 0.5), 0.05f);
  for (size_t i = 0; i < sums_.size(); ++i) {
    if (excess_[i] < 0) continue;
    const float ratio = excess_[i] / (3 * median_);
    const float weight = 1 / (1 + ratio * ratio);
    weights_[i] = weight * weight * (100 / noise_[NoiseBin(reference_.tiles[i])]);
  }
}

void LevelFit::Measure(const Homography& motion, double slack) {
  Compare(motion);
  Weigh(slack);
}

bool LevelFit::Run(MotionKind kind, int steps, double tolerance, double slack, Homography* motion) {
  const int n = Unknowns(kind);
  const TilePlaces places(reference_);
  const int width = reference_.width, height = reference_.height;
  Homography at = *motion;
  settled_ = false;
  LayerVector<NormalEquations> rows(static_cast<size_t>(reference_.rows));
  for (int step = 0; step < steps; ++step) {
    Compare(at);
    if (valid_ < 1) return false;
    Weigh(step == 0 ? slack : 0.2);
    RunStripes(Threads(), reference_.rows, [&](int r) {
      RowMoments moments;
      for (int c = 0; c < reference_.columns; ++c) {
        const size_t i = static_cast<size_t>(r) * reference_.columns + c;
        if (weights_[i] > 0) moments.Add(TermsOf(reference_.tiles[i], sums_[i], weights_[i]), places.U(c));
      }
      rows[static_cast<size_t>(r)] = moments.Equations(places.V(r));
    });
    NormalEquations system;
    for (const NormalEquations& row : rows) system.Add(row);
    if (!Factorise(&system, n, 1e-6)) return false;
    double z[kMaxUnknowns] = {};
    std::copy(system.b, system.b + n, z);
    Solve(system, n, z);
    offset_ = z[0];
    slope_ = z[1];
    const Homography next = Compose(at, Undoing(z, places));
    if (!IsUsable(next, width, height)) return false;
    const double moved = LargestCornerDistance(at, next, width, height);
    at = next;
    settled_ = moved < tolerance && step > 0;
    if (moved < tolerance) break;
  }
  *motion = at;
  return true;
}

double LevelFit::CorrelationOf(const LayerVector<float>* weights) const {
  double covariance = 0, reference = 0, frame = 0;
  for (size_t i = 0; i < sums_.size(); ++i) {
    if (!sums_[i].valid) continue;
    const double weight = weights == nullptr ? 1.0 : (*weights)[i];
    const TileSums& s = sums_[i];
    const TileTemplate& tile = reference_.tiles[i];
    const double own = static_cast<double>(tile.variance) * kTilePixels;
    const double rest = s.rr - static_cast<double>(s.r) * s.r / kTilePixels;
    const double mixed = s.rt - static_cast<double>(s.r) * tile.sum / kTilePixels;
    covariance += weight * (own + mixed);
    reference += weight * own;
    frame += weight * (own + 2 * mixed + rest);
  }
  return reference > 0 && frame > 0 ? covariance / std::sqrt(reference * frame) : 0;
}

double LevelFit::Correlation() const {
  return CorrelationOf(&weights_);
}

double LevelFit::PlainCorrelation() const {
  return CorrelationOf(nullptr);
}

double LevelFit::StandardError(MotionKind kind) const {
  const int n = Unknowns(kind);
  const TilePlaces places(reference_);
  NormalEquations system, scatter;
  double in_x[kMaxUnknowns], in_y[kMaxUnknowns];
  for (int r = 0; r < reference_.rows; ++r) {
    RowMoments moments;
    const double v = places.V(r);
    for (int c = 0; c < reference_.columns; ++c) {
      const size_t i = static_cast<size_t>(r) * reference_.columns + c;
      if (weights_[i] == 0) continue;
      const TileTerms t = TermsOf(reference_.tiles[i], sums_[i], weights_[i]);
      const double u = places.U(c);
      moments.Add(t, u);
      MotionBasis(u, v, in_x, in_y);
      double pull[kMaxUnknowns] = {t.r, static_cast<double>(t.r) * t.tone};
      for (int k = kBrightnessUnknowns; k < n; ++k) pull[k] = in_x[k] * t.x + in_y[k] * t.y;
      for (int k = 0; k < n; ++k) {
        for (int l = k; l < n; ++l) scatter.a[k][l] += pull[k] * pull[l];
      }
    }
    system.Add(moments.Equations(v));
  }
  constexpr double kUnknown = 1e9;
  if (!Factorise(&system, n, 1e-6)) return kUnknown;
  // Covariance of the solution: inverse * scatter * inverse, column by column.
  double half[kMaxUnknowns][kMaxUnknowns], covariance[kMaxUnknowns][kMaxUnknowns];
  for (int k = 0; k < n; ++k) {
    for (int l = 0; l < n; ++l) half[k][l] = scatter.a[std::min(k, l)][std::max(k, l)];
    Solve(system, n, half[k]);
  }
  for (int k = 0; k < n; ++k) {
    for (int l = 0; l < n; ++l) covariance[k][l] = half[l][k];
    Solve(system, n, covariance[k]);
  }
  double square = 0;
  for (int r = 0; r < reference_.rows; ++r) {
    for (int c = 0; c < reference_.columns; ++c) {
      MotionBasis(places.U(c), places.V(r), in_x, in_y);
      for (int k = kBrightnessUnknowns; k < n; ++k) {
        for (int l = kBrightnessUnknowns; l < n; ++l) {
          square += (in_x[k] * in_x[l] + in_y[k] * in_y[l]) * covariance[k][l];
        }
      }
    }
  }
  const double error = std::sqrt(square / reference_.count());
  return error < kUnknown ? error : kUnknown;
}

double LevelFit::Overlap() const {
  return static_cast<double>(valid_) / reference_.count();
}

double LevelFit::MovedShare() const {
  int moved = 0, compared = 0;
  for (const float excess : excess_) {
    compared += excess >= 0 ? 1 : 0;
    moved += excess > 4 * median_ ? 1 : 0;
  }
  return compared > 0 ? static_cast<double>(moved) / compared : 0;
}

}  // namespace zolt
