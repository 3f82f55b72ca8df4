#include "burst/alignment.h"

#include <algorithm>
#include <new>
#include <vector>

#include "burst/alignment_fit.h"
#include "burst/alignment_search.h"

namespace zolt {

struct AlignmentReference::Data {
  int width = 0, height = 0;
  Pyramid pyramid;
  std::vector<TemplateLevel> levels;  // finest first

  const TemplateLevel& Level(int k) const { return levels[static_cast<size_t>(k - pyramid.finest())]; }
};

AlignmentReference::AlignmentReference() = default;
AlignmentReference::~AlignmentReference() = default;
AlignmentReference::AlignmentReference(AlignmentReference&&) noexcept = default;
AlignmentReference& AlignmentReference::operator=(AlignmentReference&&) noexcept = default;

namespace {

constexpr int kLeastSide = 16;
constexpr int kLeastTilesForAffine = 9;
constexpr int kLeastTilesForHomography = 48;

Homography ToLevel(const Homography& motion, int k) {
  const double s = 1 << k;
  return InSteps(motion, s, 0.5 * (s - 1), 0.5 * (s - 1));
}

Homography FromLevel(const Homography& motion, int k) {
  const double s = 1 << k;
  return InSteps(motion, 1 / s, -0.5 * (s - 1) / s, -0.5 * (s - 1) / s);
}

MotionKind KindFor(const TemplateLevel& level) {
  if (level.count() >= kLeastTilesForHomography && level.rows >= 4 && level.columns >= 4)
    return MotionKind::kHomography;
  if (level.count() >= kLeastTilesForAffine && level.rows >= 2 && level.columns >= 2)
    return MotionKind::kAffine;
  return MotionKind::kTranslation;
}

/// One pair on its way from the smallest size to the largest.
class PairAlignment {
 public:
  PairAlignment(const AlignmentReference::Data& reference, const Pyramid& frame, int threads)
      : reference_(reference), frame_(frame), threads_(threads) {}

  void Run(const Homography* guess, Alignment* result) {
    Homography motion = Start(guess);
    const int finest = frame_.finest(), coarsest = frame_.coarsest();
    for (int k = coarsest - 1; k >= finest; --k) Refine(k, k == finest ? 0.003 : 0.02, 0.7, &motion);
    LevelFit fit(reference_.Level(finest), frame_.Level(finest), threads_);
    fit.Measure(ToLevel(motion, finest), 0.2);
    const MotionKind kind = KindFor(reference_.Level(finest));
    result->motion = motion;
    result->correlation = static_cast<float>(fit.Correlation());
    result->error = static_cast<float>(fit.StandardError(kind) * (1 << finest));
    result->moved_share = static_cast<float>(fit.MovedShare());
    result->overlap = static_cast<float>(fit.Overlap());
    result->aligned = result->error < 1.0f;
  }

 private:
  struct Candidate {
    Homography motion;
    double score;
  };

  bool Refine(int k, double tolerance, double slack, Homography* motion) const {
    LevelFit fit(reference_.Level(k), frame_.Level(k), threads_);
    Homography at = ToLevel(*motion, k);
    if (!fit.Run(KindFor(reference_.Level(k)), 10, tolerance, slack, &at)) return false;
    *motion = FromLevel(at, k);
    return true;
  }

  double Score(int k, const Homography& motion) const {
    LevelFit fit(reference_.Level(k), frame_.Level(k), 1);
    fit.Measure(ToLevel(motion, k), 1);
    return fit.Correlation() * std::min(1.0, 2 * fit.Overlap());
  }

  /// The best of the places that the smallest level knows, the identity and the guess.
  Homography Start(const Homography* guess) const {
    const int k = frame_.coarsest();
    const GreyPlane& small = frame_.Level(k);
    std::vector<Homography> places = {Homography::Identity()};
    if (guess != nullptr && IsUsable(*guess, reference_.width, reference_.height)) places.push_back(*guess);
    const int reach = std::min(small.width / 8 + 1, 24);
    for (const ShiftScore& shift :
         SearchShifts(reference_.pyramid.Level(k), small, reach, reach, 3, threads_)) {
      places.push_back(FromLevel(Homography::Translation(shift.x, shift.y), k));
    }
    Candidate best = {Homography::Identity(), -2};
    for (Homography place : places) {
      Refine(k, 0.02, 2, &place);
      const double score = Score(k, place);
      if (score > best.score) best = {place, score};
    }
    return best.motion;
  }

  const AlignmentReference::Data& reference_;
  const Pyramid& frame_;
  int threads_;
};

}  // namespace

bool AlignmentReference::Prepare(PlaneView luma, int threads) {
  data_.reset();
  if (std::min(luma.width, luma.height) < kLeastSide) return false;
  try {
    auto data = std::make_unique<Data>();
    data->width = luma.width;
    data->height = luma.height;
    data->pyramid.Build(luma, threads);
    for (int k = data->pyramid.finest(); k <= data->pyramid.coarsest(); ++k) {
      data->levels.emplace_back().Prepare(data->pyramid.Level(k), threads);
    }
    data_ = std::move(data);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

Alignment Align(const AlignmentReference& reference, PlaneView frame_luma, const Homography* guess,
                int threads) {
  Alignment result;
  for (int v = 0; v < 256; ++v) result.tone[v] = static_cast<uint8_t>(v);
  const AlignmentReference::Data* data = reference.data();
  if (data == nullptr || frame_luma.width != data->width || frame_luma.height != data->height) return result;
  try {
    Pyramid frame;
    frame.Build(frame_luma, threads);
    PairAlignment(*data, frame, threads).Run(guess, &result);
  } catch (const std::bad_alloc&) {
    result.aligned = false;
    result.out_of_memory = true;
  }
  return result;
}

}  // namespace zolt
