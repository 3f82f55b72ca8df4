#include "burst/burst_run.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "burst/fine_finish.h"
#include "burst/memory_need.h"
#include "burst/noise/iso_estimate.h"
#include "burst/sharpness.h"
#include "config/iso_selection.h"

namespace zolt {
namespace {

constexpr int kMostMerged = MergeSession::kMostMerged;
/// The engine's weights wrap with eight frames when it fuses.
constexpr int kNotFused = 8;
/// Exposures nearer than this are one exposure; auto-exposure drifts by a few per cent.
constexpr double kSameExposure = 1.15;
/// The first frame shows the moment of the shutter: another one must be clearly sharper.
constexpr int kReferenceCandidates = 3;
constexpr double kClearlySharper = 1.15;
constexpr double kBlurred = 0.6;
constexpr float kMostMoved = 1.0f / 3;
constexpr float kLeastOverlap = 0.5f;
/// Share of noise in the gradient's energy above which sharpness can't be told.
constexpr double kHidden = 0.8;
constexpr int kDefaultBand = 3;

bool SameExposure(double a, double b) {
  // Half a level: a black frame has no ratio.
  const double ratio = (a + 0.5) / (b + 0.5);
  return ratio < kSameExposure && ratio > 1 / kSameExposure;
}

class Stopwatch {
 public:
  explicit Stopwatch(float* sum) : sum_(sum), start_(std::chrono::steady_clock::now()) {}
  ~Stopwatch() {
    *sum_ += std::chrono::duration<float, std::milli>(std::chrono::steady_clock::now() - start_).count();
  }
  Stopwatch(const Stopwatch&) = delete;
  Stopwatch& operator=(const Stopwatch&) = delete;

 private:
  float* sum_;
  std::chrono::steady_clock::time_point start_;
};

// Aligning and merging cost about the same; the filter at the end as much as two frames.
double Steps(int count) {
  return 2.0 * count + 3;
}

bool Takes(const FrameState& state) {
  return state.told.use == ZOLT_BURST_USED || state.told.use == ZOLT_BURST_FUSED;
}

}  // namespace

BurstRun::BurstRun(const zolt_burst_options& options, const Tunings& tunings, BurstMemory* memory)
    : options_(options), tunings_(tunings), memory_(memory), started_(Clock::now()) {}

void BurstRun::Check(int32_t result) {
  if (result == ZOLT_BURST_NO_MEMORY) throw std::bad_alloc();
  if (result != ZOLT_BURST_OK) throw BurstStopped{result};
}

void BurstRun::Progress(double done) {
  done_ = std::max(done_, done);
  if (options_.progress != nullptr && options_.progress(options_.progress_user, done_) != 0) {
    throw BurstStopped{ZOLT_BURST_CANCELLED};
  }
}

const KnownFrame* BurstRun::KnownOf(const FrameState& state) const {
  return known_ != nullptr ? known_ + (&state - frames_.data()) : nullptr;
}

void BurstRun::Inspect(const zolt_burst_picture& frame, FrameState* state) {
  if (state->inspected) return;
  const Stopwatch watch(&state->told.milliseconds);
  state->inspected = true;
  if (const KnownFrame* known = KnownOf(*state); known != nullptr) {
    state->energy = known->energy;
    state->level = known->level;
    return;
  }
  OwnedPlane own(memory_);
  const PlaneView luma = LumaOf(frame, &own);
  state->energy = GradientEnergy(luma);
  state->level = MeanLevel(luma);
}

// Of the first frames the sharpest, unless its exposure is not the burst's.
int BurstRun::PickReference(const zolt_burst_picture* const* frames, int count) {
  if (options_.reference >= 0) {
    if (options_.reference >= count) throw BurstStopped{ZOLT_BURST_BAD_ARGUMENT};
    return options_.reference;
  }
  std::vector<double> levels;
  for (int i = 0; i < count; ++i) {
    Inspect(*frames[i], &frames_[i]);
    levels.push_back(frames_[i].level);
  }
  std::nth_element(levels.begin(), levels.begin() + (count - 1) / 2, levels.end());
  const double usual = levels[(count - 1) / 2];
  int best = -1;
  for (int i = 0; i < std::min(count, kReferenceCandidates); ++i) {
    if (!SameExposure(frames_[i].level, usual)) continue;
    if (best < 0 || frames_[i].energy > kClearlySharper * frames_[best].energy) best = i;
  }
  return std::max(best, 0);
}

void BurstRun::TakeReference(const zolt_burst_picture& frame) {
  FrameState& state = frames_[report_.reference];
  Inspect(frame, &state);
  const Stopwatch watch(&state.told.milliseconds);
  state.told.use = ZOLT_BURST_IS_REFERENCE;
  state.told.sharpness = state.told.gain = 1;
  work_ = MakeWorkGeometry(frame.width, frame.height);
  const uint64_t fine = MemoryNeed(frame.width, frame.height, 0, ZOLT_BURST_FINE);
  const bool fits = options_.memory_limit == 0 || fine <= options_.memory_limit;
  report_.mode = options_.mode == ZOLT_BURST_FINE && fits ? ZOLT_BURST_FINE : ZOLT_BURST_FAST;
  if (const KnownFrame* known = KnownOf(state); known != nullptr) {
    reference_ = known->features;
  } else {
    OwnedPlane own(memory_);
    own_reference_ = std::make_unique<AlignmentReference>();
    if (!own_reference_->Prepare(LumaOf(frame, &own), CareFor(options_.mode))) throw std::bad_alloc();
    reference_ = own_reference_.get();
  }
  merge_ = std::make_unique<MergeSession>(memory_);
  placed_ = std::make_unique<PlacedPlanes>(work_, memory_);
  placed_->PutReference(frame);
}

// Of the reference and the nearest frames that fit it.
void BurstRun::MeasureNoise(const zolt_burst_picture* const* frames, int count) {
  struct Planes {
    explicit Planes(BurstMemory* memory) : y(memory), u(memory), v(memory) {}
    OwnedPlane y, u, v;
  };
  std::vector<std::unique_ptr<Planes>> own;
  std::vector<NoiseFrame> chosen;
  const auto choose = [&](int i, const Homography& motion) {
    own.push_back(std::make_unique<Planes>(memory_));
    Planes& planes = *own.back();
    const ChromaViews chroma = HalfChromaOf(*frames[i], &planes.u, &planes.v);
    const bool grey = frames[i]->layout == ZOLT_BURST_GREY;
    chosen.push_back({LumaOf(*frames[i], &planes.y), grey ? PlaneView{} : chroma.u,
                      grey ? PlaneView{} : chroma.v, motion});
  };
  choose(report_.reference, Homography::Identity());
  for (int distance = 1; distance < count; ++distance) {
    for (const int i : {report_.reference + distance, report_.reference - distance}) {
      if (i < 0 || i >= count || chosen.size() == kMostMeasured) continue;
      const Alignment& found = frames_[i].alignment;
      if (found.aligned && SameExposure(frames_[i].told.gain, 1)) choose(i, found.motion);
    }
  }
  measured_from_ = static_cast<int>(chosen.size());
  noise_ = zolt::MeasureNoise(chosen.data(), measured_from_);
}

void BurstRun::ChooseBand(const zolt_burst_picture* const* frames, int count, int frames_merged) {
  // Also beside a named ISO: sharpness is judged without the noise's share.
  MeasureNoise(frames, count);
  report_.noise_measured = noise_.measured;
  report_.luma_sigma = noise_.luma_sigma;
  report_.chroma_sigma = noise_.chroma_sigma;
  report_.blotchiness = noise_.blotchiness;
  report_.texture = noise_.texture;
  if (options_.iso > 0) {
    report_.iso = options_.iso;
    report_.band = BandOfIso(options_.iso, tunings_.plain) + 1;
    return;
  }
  int band = noise_.measured ? BandOfNoise(noise_, frames_merged) : kDefaultBand;
  if (follower_ != nullptr) band = follower_->Follow(noise_, measured_from_, frames_merged, kDefaultBand);
  report_.band = band + 1;
  report_.iso = IsoOfBand(tunings_.plain, band);
}

// Up to four frames at a time: each brings planes of its own if it is not planar.
void BurstRun::AlignEach(const zolt_burst_picture* const* frames, FrameState* const* states, int count) {
  constexpr int kAtOnce = kAlignmentThreads;
  for (int first = 0; first < count; first += kAtOnce) {
    std::vector<std::unique_ptr<OwnedPlane>> own;
    std::vector<AlignmentJob> jobs;
    std::vector<FrameState*> of_jobs;
    for (int i = first; i < std::min(first + kAtOnce, count); ++i) {
      Inspect(*frames[i], states[i]);
      const KnownFrame* known = KnownOf(*states[i]);
      if (known != nullptr && known->alignment != nullptr) {
        TakeAlignment(*known->alignment, states[i]);
        continue;
      }
      of_jobs.push_back(states[i]);
      AlignmentJob& job = jobs.emplace_back();
      job.reference = reference_;
      if (known != nullptr) {
        job.frame = known->features;
      } else {
        own.push_back(std::make_unique<OwnedPlane>(memory_));
        job.luma = LumaOf(*frames[i], own.back().get());
      }
    }
    zolt::AlignAll(jobs.data(), static_cast<int>(jobs.size()));
    for (size_t i = 0; i < jobs.size(); ++i) {
      of_jobs[i]->told.milliseconds += jobs[i].milliseconds;
      TakeAlignment(jobs[i].result, of_jobs[i]);
    }
    Progress((first + kAtOnce + 1) / Steps(count + 1));
  }
}

void BurstRun::TakeAlignment(const Alignment& found, FrameState* state) {
  if (found.out_of_memory) throw std::bad_alloc();
  state->alignment = found;
  const FrameState& reference = frames_[report_.reference];
  state->told.gain = static_cast<float>((state->level + 0.5) / (reference.level + 0.5));
  state->told.moved_share = found.moved_share;
  if (!found.aligned) return;
  const double x = (work_.width - 1) / 2.0, y = (work_.height - 1) / 2.0;
  double to_x = 0, to_y = 0;
  found.motion.Map(x, y, &to_x, &to_y);
  state->told.shift_x = static_cast<float>(to_x - x);
  state->told.shift_y = static_cast<float>(to_y - y);
  if (found.gain != 1) state->told.gain = 1 / found.gain;
}

// Noise adds to the gradients of every frame alike, so it is taken off before they are compared.
void BurstRun::Judge(bool last, FrameState* state) const {
  zolt_burst_frame_report& told = state->told;
  const FrameState& reference = frames_[report_.reference];
  const double gain = std::max(0.1, static_cast<double>(told.gain));
  const double noise = 4.0 * noise_.luma_sigma_half * noise_.luma_sigma_half;
  const double clear = std::max(reference.energy - noise, (1 - kHidden) * reference.energy);
  told.sharpness =
      clear > 0 ? static_cast<float>(std::max(0.0, (state->energy - noise) / (gain * gain) / clear)) : 1.0f;
  const bool can_tell = reference.energy * kHidden > noise && reference.energy > 0;
  if (!SameExposure(told.gain, 1)) {
    const bool fuses = last && options_.fusion == ZOLT_BURST_FUSION_AUTO && told.gain > 1;
    told.use = fuses && state->alignment.aligned ? ZOLT_BURST_FUSED : ZOLT_BURST_OTHER_EXPOSURE;
  } else if (!state->alignment.aligned || state->alignment.overlap < kLeastOverlap) {
    told.use = ZOLT_BURST_OTHER_SCENE;
  } else if (can_tell && told.sharpness < kBlurred && options_.keep_all == 0) {
    told.use = ZOLT_BURST_BLURRED;
  } else if (told.moved_share > kMostMoved) {
    told.use = ZOLT_BURST_MOVED;
  }
}

// At most ten frames; not eight if one of them is fused, and then at least four others.
void BurstRun::KeepTheBest() {
  const auto count = [&](int use) {
    return static_cast<int>(std::count_if(frames_.begin(), frames_.end(),
                                          [use](const FrameState& f) { return f.told.use == use; }));
  };
  FrameState& final = frames_.back();
  if (final.told.use == ZOLT_BURST_FUSED && count(ZOLT_BURST_USED) + 1 < MergeSession::kFewestFused) {
    final.told.use = ZOLT_BURST_OTHER_EXPOSURE;
  }
  const int fused = count(ZOLT_BURST_FUSED);
  int room = kMostMerged - 1 - fused;
  const int used = count(ZOLT_BURST_USED);
  if (fused == 1 && std::min(used, room) + 1 + fused == kNotFused) room = kNotFused - 2 - fused;
  std::vector<FrameState*> ranked;
  for (FrameState& f : frames_) {
    if (f.told.use == ZOLT_BURST_USED) ranked.push_back(&f);
  }
  const auto worth = [](const FrameState* f) {
    return std::min(f->told.sharpness, 1.0f) + f->alignment.overlap - 2 * f->told.moved_share;
  };
  std::stable_sort(ranked.begin(), ranked.end(),
                   [&](const FrameState* a, const FrameState* b) { return worth(a) > worth(b); });
  for (size_t i = static_cast<size_t>(room); i < ranked.size(); ++i)
    ranked[i]->told.use = ZOLT_BURST_TOO_MANY;
}

void BurstRun::StartMerge() {
  FrameState& state = frames_[report_.reference];
  const Stopwatch watch(&state.told.milliseconds);
  // Of frames that come one by one the last is not known yet: they are merged as plain ones.
  const bool fuses = std::any_of(frames_.begin(), frames_.end(),
                                 [](const FrameState& f) { return f.told.use == ZOLT_BURST_FUSED; });
  const MfConfig& config = tunings_.Of(KindOf(report_.mode, fuses));
  Check(merge_->Start(config, report_.iso, work_, placed_->block()));
}

void BurstRun::Merge(const zolt_burst_picture& frame, FrameState* state) {
  const Stopwatch watch(&state->told.milliseconds);
  const bool fuse = state->told.use == ZOLT_BURST_FUSED;
  if (fuse && merge_->merged() < MergeSession::kFewestFused) {
    state->told.use = ZOLT_BURST_OTHER_EXPOSURE;
    return;
  }
  placed_->PutFrame(frame, state->alignment, !fuse, merge_->first());
  const auto index = static_cast<int32_t>(state - frames_.data());
  const int before = merge_->merged();
  if (fuse) {
    Check(merge_->Fuse(tunings_.fused, index, placed_->block(), state->alignment.motion));
    report_.fused = 1;
    return;
  }
  Check(merge_->Fold(index, placed_->block(), placed_->outside(), state->alignment.motion));
  // The engine leaves out what it finds to have moved by a third.
  if (merge_->merged() == before) state->told.use = ZOLT_BURST_MOVED;
}

void BurstRun::Finish(const zolt_burst_picture& output, const zolt_burst_picture& reference) {
  report_.merged = merge_->merged() + report_.fused;
  FineFinish fine(memory_);
  const bool wants_fine = report_.mode == ZOLT_BURST_FINE && !merge_->ended();
  if (wants_fine && fine.Finish(*merge_, work_, reference)) {
    Progress(1);
    WritePicture(fine.luma(), fine.chroma(), &reference, output, memory_);
  } else {
    report_.fell_back = options_.mode == ZOLT_BURST_FINE;
    report_.mode = ZOLT_BURST_FAST;
    if (!merge_->ended()) Check(merge_->End());
    Progress(1);
    WriteResult(output, reference);
  }
  report_.frames = static_cast<int32_t>(frames_.size());
  report_.peak_memory = memory_->peak();
  report_.milliseconds = std::chrono::duration<float, std::milli>(Clock::now() - started_).count();
}

void BurstRun::WriteResult(const zolt_burst_picture& output, const zolt_burst_picture& reference) {
  const YuvImage& result = merge_->result();
  const ptrdiff_t pitch = result.pitch, half = pitch / 2;
  const PlaneView luma = {result.y + work_.top * pitch + work_.left, work_.width, work_.height, pitch};
  const auto chroma = [&](const uint8_t* plane) {
    return PlaneView{plane + work_.top / 2 * half + work_.left / 2, HalfOf(work_.width), HalfOf(work_.height),
                     half};
  };
  WritePicture(luma, {chroma(result.u), chroma(result.v)}, &reference, output, memory_);
}

void BurstRun::Run(const zolt_burst_picture* const* frames, int count, const zolt_burst_picture& output) {
  Choose(frames, count);
  StartMerge();
  for (int i = 0; i < count; ++i) {
    if (Takes(frames_[i])) Merge(*frames[i], &frames_[i]);
    Progress((count + 1 + i) / Steps(count));
  }
  Finish(output, *frames[report_.reference]);
}

void BurstRun::Run(const zolt_burst_picture* const* frames, int count, const KnownFrame* known,
                   NoiseFollower* follower, const zolt_burst_picture& output) {
  known_ = known;
  follower_ = follower;
  Run(frames, count, output);
}

void BurstRun::AlignAll(const zolt_burst_picture* const* frames, int count) {
  TakeReference(*frames[report_.reference]);
  Progress(1 / Steps(count));
  std::vector<const zolt_burst_picture*> others;
  std::vector<FrameState*> states;
  for (int i = 0; i < count; ++i) {
    if (i == report_.reference) continue;
    others.push_back(frames[i]);
    states.push_back(&frames_[i]);
  }
  AlignEach(others.data(), states.data(), count - 1);
}

void BurstRun::Choose(const zolt_burst_picture* const* frames, int count) {
  frames_.resize(static_cast<size_t>(count));
  Progress(0);
  report_.reference = PickReference(frames, count);
  AlignAll(frames, count);
  const bool others =
      std::any_of(frames_.begin(), frames_.end(), [](const FrameState& f) { return f.alignment.aligned; });
  if (options_.reference < 0 && count > 2 && !others) {
    // The sharpest frame shows something else than the rest, noise perhaps.
    frames_[report_.reference].told = {};
    report_.reference = report_.reference == 0 ? 1 : 0;
    AlignAll(frames, count);
  }
  const bool in_pairs = options_.reference == 0 && options_.expected_frames > 0;
  ChooseBand(frames, in_pairs ? std::min(count, 2) : count, std::min(count, kMostMerged));
  for (int i = 0; i < count; ++i) {
    if (i != report_.reference) Judge(i == count - 1, &frames_[i]);
  }
  KeepTheBest();
}

void BurstRun::MeasureAlone(const zolt_burst_picture* const* frames, int count) {
  frames_.resize(static_cast<size_t>(count));
  TakeReference(*frames[0]);
  std::vector<FrameState*> states;
  for (int i = 1; i < std::min(count, 2 * kMostMeasured); ++i) states.push_back(&frames_[i]);
  AlignEach(frames + 1, states.data(), static_cast<int>(states.size()));
  ChooseBand(frames, count, std::min(count, kMostMerged));
  report_.frames = count;
}

void BurstRun::Begin(const zolt_burst_picture& reference) {
  frames_.emplace_back();
  TakeReference(reference);
}

void BurstRun::StartOfKnownLength(const zolt_burst_picture* const* frames, int count) {
  ChooseBand(frames, count, options_.expected_frames);
  StartMerge();
}

void BurstRun::Add(const zolt_burst_picture& reference, const zolt_burst_picture& frame) {
  frames_.emplace_back();
  FrameState& state = frames_.back();
  if (static_cast<int>(frames_.size()) > options_.expected_frames) {
    state.told.use = ZOLT_BURST_TOO_MANY;
    return;
  }
  const zolt_burst_picture* one = &frame;
  FrameState* its_state = &state;
  AlignEach(&one, &its_state, 1);
  if (!merge_->running()) {
    const zolt_burst_picture* pair[] = {&reference, &frame};
    StartOfKnownLength(pair, 2);
  }
  const bool last = static_cast<int>(frames_.size()) == options_.expected_frames;
  Judge(last && options_.expected_frames != kNotFused, &state);
  if (Takes(state)) Merge(frame, &state);
}

void BurstRun::End(const zolt_burst_picture& reference, const zolt_burst_picture& output) {
  if (!merge_->running()) {
    const zolt_burst_picture* alone = &reference;
    StartOfKnownLength(&alone, 1);
  }
  Finish(output, reference);
}

}  // namespace zolt
