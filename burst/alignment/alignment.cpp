#include "burst/alignment/alignment.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <chrono>
#include <cmath>
#include <exception>
#include <new>
#include <thread>
#include <vector>

#include "burst/alignment/alignment_fit.h"
#include "burst/alignment/alignment_search.h"
#include "burst/alignment/tone_match.h"
#include "burst/memory/layer_vector.h"
#include "burst/memory/served_memory.h"

namespace zolt {

struct AlignmentReference::Data {
  int width = 0, height = 0;
  int64_t full_size_pixels = 0;
  Pyramid pyramid;
  LayerVector<TemplateLevel> levels;  // finest first

  const TemplateLevel& Level(int k) const { return levels[static_cast<size_t>(k - pyramid.finest())]; }
};

AlignmentReference::AlignmentReference() = default;
AlignmentReference::~AlignmentReference() = default;
AlignmentReference::AlignmentReference(AlignmentReference&&) noexcept = default;
AlignmentReference& AlignmentReference::operator=(AlignmentReference&&) noexcept = default;

namespace {

constexpr int kLeastSide = 16;
constexpr int64_t kQuickFullSizePixels = 600000;
constexpr int kLeastTilesForAffine = 9;
constexpr int kLeastTilesForHomography = 48;
// Noise alone reaches a correlation of 0.05 on 40000 tiles and 0.4 on 24, other scenes have no stable place
// at all.
constexpr double kLeastCorrelation = 0.6;
constexpr double kLeastOverlap = 0.5;
constexpr float kLargestError = 1.5f;  // pixels; expected, not seen
// A frame of which much differs may fit by chance somewhere: its place has to be sure.
constexpr float kMuchMoved = 0.15f;
constexpr float kSureError = 0.25f;

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
    const int finest = frame_.finest(), coarsest = frame_.coarsest();
    Homography motion = Start(guess);
    std::unique_ptr<Level> told;
    for (int k = coarsest == finest ? finest : coarsest - 1; k >= finest; --k) {
      CompareTones(k, &motion);
      auto at_level = std::make_unique<Level>(At(k));
      Level& level = *at_level;
      Homography finer = motion;
      const bool there = Refine(level, k == finest ? 0.01 : 0.05, 0.7, &finer);
      // Where the last step led nowhere it compared at this place, if not for the first time.
      if (!there || !level.fit->settled()) level.fit->Measure(ToLevel(finer, k), 0.2);
      const double correlation = level.fit->Correlation();
      result->correlation = static_cast<float>(correlation);
      // Where noise prevails a step follows the noise: the size above knew better.
      if (correlation < kLeastCorrelation && result->aligned) break;
      motion = finer;
      if (correlation < kLeastCorrelation) continue;
      Tell(level, motion, result);
      told = std::move(at_level);
    }
    if (told != nullptr) {
      const double error = told->fit->StandardError(KindFor(*told->reference));
      result->error = static_cast<float>(error * (1 << told->k));
    }
    const bool sure = result->moved_share < kMuchMoved || result->error < kSureError;
    result->aligned =
        result->aligned && sure && result->error < kLargestError && result->overlap > kLeastOverlap;
    if (!result->aligned) result->motion = Homography::Identity();
  }

 private:
  /// What is compared at one level. The two planes of an own exposure are only made if there is one.
  struct Level {
    int k;
    const GreyPlane* frame;
    const TemplateLevel* reference;
    GreyPlane mapped, limited;
    TemplateLevel limited_reference;
    std::unique_ptr<LevelFit> fit;
  };

  /// Learns the curve between the pictures' tones at a level: of all they show, or of what they show both at
  /// `motion`. Each level has its own: where bright and dark are averaged, a mean of blown-out pixels is
  /// another.
  void CompareTones(int k, const Homography* motion) {
    GreyHistogram reference, frame;
    if (motion != nullptr) {
      OverlapHistograms(reference_.pyramid.Level(k), frame_.Level(k), ToLevel(*motion, k), &reference,
                        &frame);
    } else {
      reference = HistogramOf(reference_.pyramid.Level(k));
      frame = HistogramOf(frame_.Level(k));
    }
    if (frame.total == 0) return;
    curve_ = MatchTones(frame, reference);
    differs_ = !curve_.IsSame(frame);
    shown_ = frame;
  }

  Level At(int k) const {
    Level level = {};
    level.k = k;
    level.frame = &frame_.Level(k);
    level.reference = &reference_.Level(k);
    return level;
  }

  /// To be called where the level stays.
  void Prepare(Level* level) const {
    if (differs_) {
      level->mapped = frame_.Level(level->k);
      ApplyCurve(curve_, threads_, &level->mapped);
      level->frame = &level->mapped;
      level->limited = reference_.pyramid.Level(level->k);
      LimitTo(curve_.ceiling, threads_, &level->limited);
      level->limited_reference.Prepare(level->limited, threads_);
      level->reference = &level->limited_reference;
    }
    level->fit = std::make_unique<LevelFit>(*level->reference, *level->frame, differs_, threads_);
  }

  bool Refine(Level& level, double tolerance, double slack, Homography* motion) const {
    if (level.fit == nullptr) Prepare(&level);
    Homography at = ToLevel(*motion, level.k);
    if (!level.fit->Run(KindFor(*level.reference), 10, tolerance, slack, &at)) return false;
    *motion = FromLevel(at, level.k);
    return true;
  }

  /// Whole shifts at the smallest level, best first. A large shift alone changes a histogram, so the
  /// pictures' tones are taken for different only where the shift that then fits is better than what fits
  /// without.
  LayerVector<ShiftScore> Shifts() {
    constexpr int kCount = 3;
    const int k = frame_.coarsest();
    const int reach = std::min(frame_.Level(k).width / 8 + 1, 24);
    LayerVector<ShiftScore> plain =
        SearchShifts(reference_.pyramid.Level(k), frame_.Level(k), reach, reach, kCount, threads_);
    CompareTones(k, nullptr);
    if (!differs_) return plain;
    Level level = At(k);
    Prepare(&level);
    LayerVector<ShiftScore> mapped =
        SearchShifts(level.limited, *level.frame, reach, reach, kCount, threads_);
    return mapped[0].correlation > plain[0].correlation ? mapped : plain;
  }

  /// The best of the places that the smallest level knows, the identity and the guess.
  Homography Start(const Homography* guess) {
    const int k = frame_.coarsest();
    LayerVector<Homography> places;
    for (const ShiftScore& shift : Shifts())
      places.push_back(FromLevel(Homography::Translation(shift.x, shift.y), k));
    places.push_back(Homography::Identity());
    if (guess != nullptr && IsUsable(*guess, reference_.width, reference_.height)) places.push_back(*guess);
    CompareTones(k, &places[0]);
    Level level = At(k);
    Prepare(&level);
    Homography best = Homography::Identity();
    double best_score = -2;
    const auto judge = [&](const Homography& place) {
      level.fit->Measure(ToLevel(place, k), 1);
      const double score = level.fit->PlainCorrelation() * std::min(1.0, 2 * level.fit->Overlap());
      if (score <= best_score) return;
      best_score = score;
      best = place;
    };
    for (Homography place : places) {
      Homography at = ToLevel(place, k);
      level.fit->Run(MotionKind::kTranslation, 3, 0.1, 2, &at);
      place = FromLevel(at, k);
      judge(place);
      Refine(level, 0.02, 2, &place);
      judge(place);
    }
    return best;
  }

  void Tell(const Level& level, const Homography& motion, Alignment* result) const {
    const LevelFit& fit = *level.fit;
    result->aligned = true;
    result->motion = motion;
    result->moved_share = static_cast<float>(fit.MovedShare());
    result->overlap = Overlap(motion);
    TellTones(fit, result);
  }

  /// Share of a grid of points of the reference that lie inside the frame.
  float Overlap(const Homography& motion) const {
    constexpr int kPoints = 64;
    const double right = reference_.width - 0.5, bottom = reference_.height - 0.5;
    int inside = 0;
    for (int i = 0; i < kPoints * kPoints; ++i) {
      double x, y;
      motion.Map((i % kPoints + 0.5) * reference_.width / kPoints - 0.5,
                 (i / kPoints + 0.5) * reference_.height / kPoints - 0.5, &x, &y);
      inside += x >= -0.5 && y >= -0.5 && x <= right && y <= bottom ? 1 : 0;
    }
    return static_cast<float>(inside) / (kPoints * kPoints);
  }

  /// The curve between exposures, if there is one, less what the fit found left over.
  void TellTones(const LevelFit& fit, Alignment* result) const {
    constexpr double kNoDifference = 0.6;  // levels
    double level[256], largest = 0;
    for (int v = 0; v < 256; ++v) {
      const double mapped = differs_ ? curve_.value[v] : 32 * v;
      level[v] = (mapped - fit.offset() - fit.slope() * (mapped / 4096 - 1)) / 32;
      largest = std::max(largest, std::abs(level[v] - v));
    }
    double before = 0, after = 0;
    for (int v = 0; v < 256; ++v) {
      const double rounded = std::clamp(level[v] + 0.5, 0.0, 255.0);
      if (largest > kNoDifference) result->tone[v] = static_cast<uint8_t>(rounded);
      if (v >= 250) continue;
      before += static_cast<double>(shown_.count[v]) * (v + 0.5);
      after += static_cast<double>(shown_.count[v]) * (level[v] + 0.5);
    }
    if (before > 0 && largest > kNoDifference) result->gain = static_cast<float>(after / before);
  }

  const AlignmentReference::Data& reference_;
  const Pyramid& frame_;
  int threads_;
  bool differs_ = false;  // in exposure, by more than the fit's own offset and slope take care of
  LevelCurve curve_ = {};
  GreyHistogram shown_;  // of the frame
};

}  // namespace

bool AlignmentReference::Prepare(PlaneView luma, AlignmentCare care, int threads) {
  data_.reset();
  if (std::min(luma.width, luma.height) < kLeastSide) return false;
  try {
    auto data = std::make_unique<Data>();
    data->width = luma.width;
    data->height = luma.height;
    data->full_size_pixels = care == AlignmentCare::kQuick ? kQuickFullSizePixels : Pyramid::kFinestPixels;
    data->pyramid.Build(luma, threads, data->full_size_pixels);
    for (int k = data->pyramid.finest(); k <= data->pyramid.coarsest(); ++k) {
      data->levels.emplace_back().Prepare(data->pyramid.Level(k), threads);
    }
    data_ = std::move(data);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

namespace {

Alignment NotAligned() {
  Alignment result;
  for (int v = 0; v < 256; ++v) result.tone[v] = static_cast<uint8_t>(v);
  return result;
}

Alignment AlignPyramid(const AlignmentReference::Data& reference, const Pyramid& frame,
                       const Homography* guess, int threads) {
  Alignment result = NotAligned();
  try {
    PairAlignment(reference, frame, threads).Run(guess, &result);
  } catch (const std::bad_alloc&) {
    result = NotAligned();
    result.out_of_memory = true;
  }
  return result;
}

}  // namespace

Alignment Align(const AlignmentReference& reference, PlaneView frame_luma, const Homography* guess,
                int threads) {
  const AlignmentReference::Data* data = reference.data();
  if (data == nullptr || frame_luma.width != data->width || frame_luma.height != data->height)
    return NotAligned();
  try {
    Pyramid frame;
    frame.Build(frame_luma, threads, data->full_size_pixels);
    return AlignPyramid(*data, frame, guess, threads);
  } catch (const std::bad_alloc&) {
    Alignment result = NotAligned();
    result.out_of_memory = true;
    return result;
  }
}

Alignment Align(const AlignmentReference& reference, const AlignmentReference& frame, const Homography* guess,
                int threads) {
  const AlignmentReference::Data *data = reference.data(), *of_frame = frame.data();
  if (data == nullptr || of_frame == nullptr) return NotAligned();
  if (of_frame->width != data->width || of_frame->height != data->height) return NotAligned();
  assert(of_frame->full_size_pixels == data->full_size_pixels);
  return AlignPyramid(*data, of_frame->pyramid, guess, threads);
}

void AlignAll(AlignmentJob* jobs, int count) {
  const auto run = [&](AlignmentJob* job, int threads) {
    const auto start = std::chrono::steady_clock::now();
    job->result = job->frame != nullptr ? Align(*job->reference, *job->frame, nullptr, threads)
                                        : Align(*job->reference, job->luma, nullptr, threads);
    job->milliseconds =
        std::chrono::duration<float, std::milli>(std::chrono::steady_clock::now() - start).count();
  };
  std::atomic<int> next = 0;
  if (count > 1) {
    ServedMemory memory(LayerMemory());
    const auto work = [&] {
      const ServedMemory::Worker worker(&memory);
      for (int i; (i = next.fetch_add(1, std::memory_order_relaxed)) < count;) run(&jobs[i], 1);
    };
    std::vector<std::thread> threads;
    try {
      // More than there are cores take memory and win nothing.
      const int cores = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
      while (static_cast<int>(threads.size()) < std::min({count, cores, kAlignmentThreads})) {
        memory.Expect();
        threads.emplace_back(work);
        pthread_setname_np(threads.back().native_handle(), "zolt_align");
      }
    } catch (const std::exception&) {
      memory.Forget();  // this one did not start: the others, at last the caller, do its part
    }
    memory.Serve();
    for (std::thread& thread : threads) thread.join();
  }
  for (int i; (i = next.fetch_add(1, std::memory_order_relaxed)) < count;) run(&jobs[i], kAlignmentThreads);
}

}  // namespace zolt
