#pragma once

#include <cstdint>
#include <memory>

#include "burst/alignment/alignment_motion.h"
#include "burst/picture/plane.h"

namespace zolt {

inline constexpr int kAlignmentThreads = 4;

/// How exactly frames of 0.6 to 1.2 megapixels are aligned. kQuick compares them at half their size, in a
/// third of the time: single pixels are mostly noise, and what is lost is a hundredth of a pixel.
enum class AlignmentCare { kThorough, kQuick };

/// A reference, prepared once and compared with each frame of its burst: its luma at halving sizes with
/// gradients. Keeps no pointer to the picture.
class AlignmentReference {
 public:
  AlignmentReference();
  ~AlignmentReference();
  AlignmentReference(AlignmentReference&&) noexcept;
  AlignmentReference& operator=(AlignmentReference&&) noexcept;

  /// False if memory was refused or a side is below 16; nothing can be aligned then.
  bool Prepare(PlaneView luma, AlignmentCare care, int threads = kAlignmentThreads);

  struct Data;
  const Data* data() const { return data_.get(); }  ///< null until prepared

 private:
  std::unique_ptr<Data> data_;
};

/// Where a frame shows what the reference shows.
struct Alignment {
  bool aligned = false;        ///< false: nothing to align by, or no place where the frame fits
  bool out_of_memory = false;  ///< why it is not aligned, then
  Homography motion = Homography::Identity();  ///< in full pixels; valid if aligned
  /// Correlation of the grey values about their local means, after alignment, at the finest level that was
  /// compared: 1 for noise-free frames in place, less for noise and blur. Comparable between frames of a
  /// burst.
  float correlation = 0;
  float error = 0;        ///< expected error of `motion` in pixels, root of the mean square over the picture
  float moved_share = 0;  ///< share of the overlap, 0..1, that differs by more than noise: what moved
  float overlap = 0;      ///< share of the reference's area that the frame shows
  float gain = 1;         ///< brightness of the reference beside the frame's
  uint8_t tone[256];  ///< takes the frame's luma to the reference's brightness; identity if it is the same
};

/// Finds the motion of a frame of the reference's size: every shift at the smallest size of a pyramid, then
/// least squares on the difference of brightness from size to size, tiles that contradict left out more and
/// more (alignment_fit.h). Shifts up to a tenth of the width and rotations up to 3 degrees are found without
/// a guess; `guess` (or null) is one more place to start from. The same bytes for any number of threads.
Alignment Align(const AlignmentReference& reference, PlaneView frame_luma, const Homography* guess = nullptr,
                int threads = kAlignmentThreads);

/// The same with a frame that was prepared before, with the same care, as a video's next reference is.
Alignment Align(const AlignmentReference& reference, const AlignmentReference& frame,
                const Homography* guess = nullptr, int threads = kAlignmentThreads);

/// One of many pairs to align; `frame` or, for one that was not prepared, `luma`.
struct AlignmentJob {
  const AlignmentReference* reference = nullptr;
  const AlignmentReference* frame = nullptr;
  PlaneView luma = {};
  Alignment result = {};
  float milliseconds = 0;
};

/// Aligns each as Align does, several at a time, each on one thread: a pair alone has too little for the
/// cores to share. What memory they need is taken on the caller's thread.
void AlignAll(AlignmentJob* jobs, int count);

}  // namespace zolt
