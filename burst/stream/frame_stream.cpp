#include "burst/stream/frame_stream.h"

#include <algorithm>
#include <new>
#include <utility>

#include "burst/alignment/pyramid.h"
#include "burst/memory_need.h"
#include "burst/picture/picture.h"
#include "burst/sharpness.h"

namespace zolt {
namespace {

/// A frame that fits neither its neighbour nor the one before that begins another shot. One alone that fits
/// nothing, a flash or a frame out of the decoder's order, must not part what it stands between.
constexpr size_t kLookedBack = 2;
/// Of a frame that is prepared for alignment, for a pixel of the largest size that is compared: grey values,
/// a tile's sums, and a third of that for the smaller sizes.
constexpr uint64_t kFeatureBytes = 4;
constexpr uint64_t kSmallFeatures = 256 << 10;

}  // namespace

const zolt_burst_picture* FrameStream::Like() const {
  const bool begins_anew = ended_ && next_ == frames_.size();
  return frames_.empty() || begins_anew ? nullptr : &frames_.back()->picture.view();
}

void FrameStream::Flush() {
  frames_.clear();
  next_ = 0;
  ended_ = false;
  ++segment_;
}

bool FrameStream::Follows(size_t index) const {
  return index > 0 && frames_[index - 1]->segment == frames_[index]->segment;
}

// Which shot a frame belongs to, all before it being settled. `to_last`: the frame before it aligned with it,
// if that is known already.
void FrameStream::Settle(size_t index, const Alignment* to_last) {
  Frame& frame = *frames_[index];
  if (frame.shot != kUnsettled) return;
  for (size_t back = 1; back <= std::min(kLookedBack, index); ++back) {
    const Frame& before = *frames_[index - back];
    if (before.segment != frame.segment) break;
    const Alignment found =
        back == 1 && to_last != nullptr ? *to_last : zolt::Align(before.features, frame.features);
    if (found.out_of_memory) throw std::bad_alloc();
    if (!found.aligned) continue;
    frame.shot = before.shot;
    return;
  }
  frame.shot = shots_++;
}

void FrameStream::Push(const zolt_burst_picture& picture) {
  auto frame = std::make_unique<Frame>(picture, memory_);
  OwnedPlane own(memory_);
  const PlaneView luma = LumaOf(frame->picture.view(), &own);
  if (!frame->features.Prepare(luma, care_)) throw std::bad_alloc();
  frame->energy = GradientEnergy(luma);
  frame->level = MeanLevel(luma);
  frame->segment = segment_ + (ended_ ? 1 : 0);
  // The last one waits until a result needs it, whose other pairs are aligned at the same time.
  if (!frames_.empty()) Settle(frames_.size() - 1, nullptr);
  frames_.push_back(std::move(frame));
  if (ended_ && next_ + 1 == frames_.size()) {
    frames_.erase(frames_.begin(), frames_.end() - 1);
    next_ = 0;
  }
  segment_ = frames_.back()->segment;
  ended_ = false;
}

// How many frames behind it a frame waits for.
size_t FrameStream::Awaited(size_t index) const {
  const auto delay = static_cast<size_t>(delay_), others = static_cast<size_t>(window_) - 1;
  if (!waits_) return delay;
  size_t past = 0;
  for (size_t back = 1; back <= std::min(others, index); ++back) {
    if (frames_[index - back]->shot == frames_[index]->shot) ++past;
  }
  return std::max(delay, others - past);
}

bool FrameStream::IsReady(size_t index) const {
  if (ended_ || frames_[index]->segment != segment_) return true;
  return frames_.size() - 1 - index >= Awaited(index);
}

int FrameStream::Ready() const {
  size_t index = next_;
  while (index < frames_.size() && IsReady(index)) ++index;
  return static_cast<int>(index - next_);
}

// The nearest frames of the shot, `delay` of them behind in time; where the shot has fewer on one side, more
// of the other. It looks no further than the frame had to wait, so that the result does not depend on when it
// is pulled.
FrameStream::Window FrameStream::WindowOf(size_t index) const {
  const size_t others = static_cast<size_t>(window_) - 1;
  std::vector<size_t> past, future;
  const auto same_shot = [&](size_t i) { return frames_[i]->shot == frames_[index]->shot; };
  for (size_t i = index; i-- > index - std::min(others, index);) {
    if (same_shot(i)) past.push_back(i);
  }
  const size_t last = std::min(frames_.size() - 1, index + Awaited(index));
  for (size_t i = index + 1; i <= last; ++i) {
    if (same_shot(i)) future.push_back(i);
  }
  const size_t wanted = std::min(future.size(), static_cast<size_t>(delay_));
  past.resize(std::min(past.size(), others - wanted));
  future.resize(std::min(future.size(), waits_ ? others - past.size() : wanted));
  Window window;
  window.frames.assign(past.rbegin(), past.rend());
  window.reference = window.frames.size();
  window.frames.push_back(index);
  window.frames.insert(window.frames.end(), future.begin(), future.end());
  return window;
}

// Of the newest frame it is not known yet whether a cut lies before it. It is taken as the same shot, and
// that pair aligned beside those of the window.
FrameStream::Burst FrameStream::Next() {
  const size_t newest = frames_.size() - 1;
  const bool unsettled = frames_[newest]->shot == kUnsettled;
  if (unsettled && Follows(newest)) frames_[newest]->shot = frames_[newest - 1]->shot;
  Window window = WindowOf(next_);
  std::vector<AlignmentJob> jobs;
  const auto job = [&](size_t reference, size_t frame) {
    jobs.push_back({&frames_[reference]->features, &frames_[frame]->features});
  };
  for (const size_t i : window.frames) {
    if (i != next_) job(next_, i);
  }
  size_t to_last = jobs.size();
  if (unsettled && Follows(newest)) {
    if (next_ + 1 == newest && window.frames.back() == newest) {
      --to_last;
    } else {
      job(newest - 1, newest);
    }
  }
  if (unsettled) frames_[newest]->shot = kUnsettled;
  AlignAll(jobs.data(), static_cast<int>(jobs.size()));
  if (unsettled) {
    Settle(newest, to_last < jobs.size() ? &jobs[to_last].result : nullptr);
    window = WindowOf(next_);
  }
  return BurstOf(window, jobs);
}

FrameStream::Burst FrameStream::BurstOf(const Window& window, const std::vector<AlignmentJob>& jobs) const {
  Burst burst;
  burst.reference = static_cast<int>(window.reference);
  burst.alignments.reserve(window.frames.size());
  const AlignmentReference* reference = &frames_[next_]->features;
  for (const size_t i : window.frames) {
    const Frame& frame = *frames_[i];
    const auto found = std::find_if(jobs.begin(), jobs.end(), [&](const AlignmentJob& job) {
      return job.reference == reference && job.frame == &frame.features;
    });
    const Alignment* alignment = nullptr;
    if (found != jobs.end()) alignment = &burst.alignments.emplace_back(found->result);
    burst.pictures.push_back(&frame.picture.view());
    burst.known.push_back({&frame.features, frame.energy, frame.level, alignment});
  }
  return burst;
}

// A frame alone, between two cuts or a flash, tells no shot's noise.
NoiseFollower* FrameStream::Follower(const Burst& burst) {
  const int64_t shot = frames_[next_]->shot;
  if (burst.pictures.size() > 1 && shot != followed_) {
    follower_.Restart();
    followed_ = shot;
  }
  return &follower_;
}

void FrameStream::Advance() {
  ++next_;
  for (const auto most = static_cast<size_t>(window_) - 1; next_ > most; --next_) frames_.pop_front();
}

uint64_t KeptFramesNeed(int32_t width, int32_t height, int window) {
  const uint64_t pixels = static_cast<uint64_t>(width) * static_cast<uint64_t>(height);
  const uint64_t compared = std::min<uint64_t>(pixels, Pyramid::kFinestPixels);
  const uint64_t each = pixels * KeptPicture::kMostBytesPerPixel + compared * kFeatureBytes + kSmallFeatures;
  return each * (2 * static_cast<uint64_t>(window) - 1);
}

uint64_t StreamMemoryNeed(int32_t width, int32_t height, int window, int32_t mode) {
  const uint64_t burst = MemoryNeed(width, height, 0, mode);
  return burst == 0 ? 0 : burst + KeptFramesNeed(width, height, window);
}

}  // namespace zolt
