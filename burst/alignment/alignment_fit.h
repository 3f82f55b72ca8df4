#pragma once

#include "burst/alignment/alignment_tiles.h"
#include "burst/memory/layer_vector.h"

namespace zolt {

enum class MotionKind { kTranslation, kAffine, kHomography };

/// The fit of a frame to a reference on one level of their pyramids, by Gauss-Newton steps of the inverse
/// compositional form (Baker and Matthews, "Lucas-Kanade 20 years on", 2004): the reference's gradients tell
/// the small motion that would explain the difference, and its inverse goes before the motion so far. Beside
/// the motion each step solves for an offset and a slope of brightness, so that a frame of another exposure
/// pulls nowhere. Pixels are summed by tiles in whole numbers, tiles by rows of tiles in a fixed order.
///
/// Three things differ from the textbook. The gradient is the mean of both pictures': noise that grows with
/// brightness makes the product of a picture with its own gradient lean to one side, and in the mean the two
/// cancel. The matrix is made of products of the one's gradients with the other's: their noise is independent
/// and drops out, where a gradient's own square would contain it and hold the steps back at high ISO. And
/// tiles are weighted by 1 / (1 + (e / 3 m)^2)^2 (Geman and McClure 1987), e being the tile's mean squared
/// difference over what noise and a small misalignment explain, m its median.
class LevelFit {
 public:
  /// `about_means`: each tile is compared about its own mean.
  LevelFit(const TemplateLevel& reference, const GreyPlane& frame, bool about_means, int threads)
      : reference_(reference), frame_(frame), about_means_(about_means), threads_(threads) {}

  /// Sets out from `motion`, in pixels of this level, and improves it until a step moves no corner by more
  /// than `tolerance` pixels, at most `steps` times. `slack`: misalignment in pixels that the first step
  /// allows for. False if the system could not be solved or led out of the picture; `motion` is then what it
  /// was.
  bool Run(MotionKind kind, int steps, double tolerance, double slack, Homography* motion);

  /// The last Run ended by a step below its tolerance, and not by its first, which allows for more: what
  /// Measure would tell is known.
  bool settled() const { return settled_; }

  /// Compares at `motion` and sets weights, for what follows.
  void Measure(const Homography& motion, double slack);

  /// Correlation of the grey values about each tile's mean, over all tiles with their weights: 1 for a
  /// noise-free frame in place, near 0 where noise or another scene is seen.
  double Correlation() const;

  /// The same with equal weights: what tells a wrong place of which some tiles happen to fit.
  double PlainCorrelation() const;

  /// Standard error of `motion` in pixels of this level, root of the mean square over the tiles' places: from
  /// how much the tiles contradict each other.
  double StandardError(MotionKind kind) const;

  /// What the last step took off the frame's grey value g, Q5, to compare it: offset + slope * (g / 4096 -
  /// 1).
  double offset() const { return offset_; }
  double slope() const { return slope_; }

  double Overlap() const;     ///< share of the tiles that the frame shows
  double MovedShare() const;  ///< share of these that differ by more than noise
  int valid_tiles() const { return valid_; }

 private:
  static constexpr int kNoiseBins = 16;
  static int NoiseBin(const TileTemplate& tile) { return tile.sum / (kTilePixels * 8192 / kNoiseBins); }

  /// Starting threads costs more than they do for few tiles.
  int Threads() const { return reference_.count() > 4000 ? threads_ : 1; }
  double CorrelationOf(const LayerVector<float>* weights) const;
  void Compare(const Homography& motion);
  bool Tells(size_t tile) const;
  void MeasureNoise();
  void Weigh(double slack);

  const TemplateLevel& reference_;
  const GreyPlane& frame_;
  bool about_means_;
  int threads_;
  bool settled_ = false;
  int valid_ = 0;
  double offset_ = 0, slope_ = 0;
  float noise_[kNoiseBins] = {};  // mean squared difference of a still tile by brightness, Q5 squared
  float median_ = 0;              // of the excess
  LayerVector<TileSums> sums_;
  LayerVector<float> excess_;   // e of valid tiles, below 0 of others
  LayerVector<float> weights_;  // 0 of tiles outside the frame
};

}  // namespace zolt
