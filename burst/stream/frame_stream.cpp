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
/// Of a frame that is prepared for alignment, for a pixel of the largest size that is compared: grey values, a
/// tile's sums, and a third of that for the smaller sizes.
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

int64_t FrameStream::ShotOf(const Frame& frame, Alignment* to_last, bool* known) const {
  for (size_t back = 1; back <= std::min(kLookedBack, frames_.size()); ++back) {
    const Frame& before = *frames_[frames_.size() - back];
    if (before.segment != frame.segment) break;
    const Alignment found = zolt::Align(before.features, frame.features);
    if (found.out_of_memory) throw std::bad_alloc();
    if (back == 1) *to_last = found, *known = true;
    if (found.aligned) return before.shot;
  }
  return shots_;
}

void FrameStream::Push(const zolt_burst_picture& picture) {
  auto frame = std::make_unique<Frame>(picture, memory_);
  OwnedPlane own(memory_);
  const PlaneView luma = LumaOf(frame->picture.view(), &own);
  if (!frame->features.Prepare(luma)) throw std::bad_alloc();
  frame->energy = GradientEnergy(luma);
  frame->level = MeanLevel(luma);
  frame->segment = segment_ + (ended_ ? 1 : 0);
  Alignment to_last;
  bool known = false;
  frame->shot = ShotOf(*frame, &to_last, &known);
  frames_.push_back(std::move(frame));
  const auto& added = *frames_.back();
  if (known) {
    Frame& before = *frames_[frames_.size() - 2];
    before.next = to_last;
    before.next_known = true;
  }
  if (added.shot == shots_) ++shots_;
  if (ended_ && next_ + 1 == frames_.size()) {
    frames_.erase(frames_.begin(), frames_.end() - 1);
    next_ = 0;
  }
  segment_ = added.segment;
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

FrameStream::Burst FrameStream::Next() const {
  const Window window = WindowOf(next_);
  Burst burst;
  burst.reference = static_cast<int>(window.reference);
  const Frame& reference = *frames_[next_];
  for (const size_t i : window.frames) {
    const Frame& frame = *frames_[i];
    const bool known = i == next_ + 1 && reference.next_known;
    burst.pictures.push_back(&frame.picture.view());
    burst.known.push_back({&frame.features, frame.energy, frame.level, known ? &reference.next : nullptr});
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
