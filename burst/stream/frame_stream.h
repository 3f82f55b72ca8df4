#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "burst/alignment/alignment.h"
#include "burst/burst_run.h"
#include "burst/memory/burst_memory.h"
#include "burst/noise/noise_follower.h"
#include "burst/picture/kept_picture.h"
#include "zolt_burst.h"

namespace zolt {

/// The frames of a video on their way: which of them are one shot, which make the burst of a frame, and which
/// are still needed. Frames are prepared for alignment once, when they come. All calls under the layer's lock
/// with the memory set as the engine's; std::bad_alloc leaves the stream as it was.
class FrameStream {
 public:
  /// `mode` and `delay` as the public options have them.
  FrameStream(int window, int32_t mode, int delay, BurstMemory* memory)
      : window_(window),
        care_(CareFor(mode)),
        delay_(delay < 0 ? window / 2 : delay),
        waits_(delay < 0),
        memory_(memory) {}

  void Push(const zolt_burst_picture& picture);
  void End() { ended_ = true; }
  void Flush();
  int Ready() const;

  /// A picture of the size that the next frame must have; null: any.
  const zolt_burst_picture* Like() const;

  /// The frame whose result is next. Only if one is ready.
  const zolt_burst_picture& Upcoming() const { return frames_[next_]->picture.view(); }

  /// The frames of the next result's burst in their order, aligned.
  struct Burst {
    std::vector<const zolt_burst_picture*> pictures;
    std::vector<KnownFrame> known;
    int reference;
    std::vector<Alignment> alignments;  ///< that `known` leads to
  };
  /// Only if one is ready. Valid until the stream is changed.
  Burst Next();
  /// What chooses its band.
  NoiseFollower* Follower(const Burst& burst);
  /// On to the next frame; those that none needs any more are dropped.
  void Advance();

 private:
  struct Frame {
    Frame(const zolt_burst_picture& from, BurstMemory* memory) : picture(from, memory) {}
    KeptPicture picture;
    AlignmentReference features;
    double energy = 0, level = 0;
    int64_t shot = kUnsettled;  ///< frames of one shot have one number, which no other has
    int64_t segment = 0;        ///< between two calls of End
  };
  struct Window {
    std::vector<size_t> frames;
    size_t reference;
  };
  static constexpr int64_t kUnsettled = -1;
  void Settle(size_t index, const Alignment* to_last);
  bool Follows(size_t index) const;
  bool IsReady(size_t index) const;
  size_t Awaited(size_t index) const;
  Window WindowOf(size_t index) const;
  Burst BurstOf(const Window& window, const std::vector<AlignmentJob>& jobs) const;

  const int window_;
  const AlignmentCare care_;
  const int delay_;
  const bool waits_;  ///< for a whole window where a shot begins
  BurstMemory* memory_;
  std::deque<std::unique_ptr<Frame>> frames_;
  size_t next_ = 0;  ///< in frames_: the next result
  bool ended_ = false;
  int64_t segment_ = 0, shots_ = 0;
  NoiseFollower follower_;
  int64_t followed_ = -1;  ///< shot
};

/// Upper bound of the bytes that such a stream takes, if each result is pulled as soon as it is ready; 0 for
/// sizes that can't be.
uint64_t StreamMemoryNeed(int32_t width, int32_t height, int window, int32_t mode);

/// The part of that which is the kept frames.
uint64_t KeptFramesNeed(int32_t width, int32_t height, int window);

}  // namespace zolt
