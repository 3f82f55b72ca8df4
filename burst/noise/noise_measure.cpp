#include "burst/noise/noise_measure.h"

#include <algorithm>
#include <cmath>

#include "burst/alignment/alignment_stripes.h"
#include "burst/memory/layer_vector.h"
#include "burst/noise/noise_blocks.h"

namespace zolt {
namespace {

constexpr int kMostBlocks = 12000;  ///< of a pair
constexpr int kThreads = 4;
constexpr size_t kFewestUnclipped = 50;
constexpr int kLevels = 16;
constexpr size_t kFewestInLevel = 40;
/// Below this share of what the flattest blocks hold nothing is taken off for texture.
constexpr float kLeastShare = 0.15f;

using Blocks = LayerVector<BlockNoise>;

template <typename Field>
float MedianOf(const Blocks& blocks, size_t from, size_t to, const Field& field) {
  LayerVector<float> values;
  for (size_t i = from; i < to; ++i) values.push_back(field(blocks[i]));
  return Median(&values);
}

struct Variances {
  double noise = 0, noise_half = 0;
};

/// Of blocks of about one brightness, sorted by texture: the flattest tenth, less what texture adds, judged
/// by how much more the second fifth holds.
Variances OfLevel(const Blocks& blocks, bool alone) {
  const size_t n = blocks.size();
  const size_t flattest = std::min(n, std::max<size_t>(8, n / 10));
  const size_t from = std::min(n / 5, n - 1), to = std::max(from + 1, 2 * n / 5);
  const auto noise = [](const BlockNoise& b) { return b.noise; };
  const auto half = [](const BlockNoise& b) { return b.noise_half; };
  const auto texture = [](const BlockNoise& b) { return b.texture; };
  const float near = MedianOf(blocks, 0, flattest, noise), far = MedianOf(blocks, from, to, noise);
  const float near_half = MedianOf(blocks, 0, flattest, half), far_half = MedianOf(blocks, from, to, half);
  if (alone) return {near, near_half};
  const float near_texture = std::max(0.0f, MedianOf(blocks, 0, flattest, texture) - near / 2);
  const float far_texture = MedianOf(blocks, from, to, texture) - far / 2;
  const float share = near_texture / std::max({far_texture - near_texture, near_texture, 1e-3f});
  const auto less = [share](float s, float t) {
    return std::max(s - std::max(t - s, 0.0f) * share, kLeastShare * s);
  };
  return {less(near, far), less(near_half, far_half)};
}

Variances OfBlocks(Blocks blocks, bool alone) {
  std::stable_sort(blocks.begin(), blocks.end(),
                   [](const BlockNoise& a, const BlockNoise& b) { return a.texture < b.texture; });
  LayerVector<Blocks> levels(kLevels);
  for (const BlockNoise& block : blocks) {
    levels[static_cast<size_t>(std::clamp(static_cast<int>(block.level) / kLevels, 0, kLevels - 1))]
        .push_back(block);
  }
  Variances sum;
  double weight = 0;
  for (const Blocks& level : levels) {
    if (level.size() < kFewestInLevel) continue;
    const Variances v = OfLevel(level, alone);
    const auto count = static_cast<double>(level.size());
    sum.noise += count * v.noise;
    sum.noise_half += count * v.noise_half;
    weight += count;
  }
  if (weight == 0) return OfLevel(blocks, alone);
  return {sum.noise / weight, sum.noise_half / weight};
}

/// Blocks of all pairs of one plane; clipped ones only where there is nothing else.
Blocks Gather(const NoiseFrame* frames, int count, PlaneView NoiseFrame::*plane, double scale,
              double offset) {
  const int pairs = std::max(count - 1, 1);
  Blocks blocks;
  for (const bool unclipped : {true, false}) {
    LayerVector<Blocks> parts(static_cast<size_t>(pairs));
    for (Blocks& part : parts) part.reserve(kMostBlocks);  // threads take no memory
    RunStripes(kThreads, pairs, [&](int i) {
      Blocks* part = &parts[static_cast<size_t>(i)];
      if (count == 1) return InspectBlocks(frames[0].*plane, kMostBlocks, unclipped, part);
      const Homography motion = InSteps(frames[i + 1].motion, scale, offset, offset);
      CompareBlocks(frames[0].*plane, frames[i + 1].*plane, motion, kMostBlocks, unclipped, part);
    });
    for (const Blocks& part : parts) blocks.insert(blocks.end(), part.begin(), part.end());
    if (blocks.size() >= kFewestUnclipped) break;
    if (unclipped) blocks.clear();
  }
  return blocks;
}

}  // namespace

NoiseMeasure MeasureNoise(const NoiseFrame* frames, int count) {
  NoiseMeasure measure;
  count = std::min(count, kMostMeasured);
  const Blocks luma = Gather(frames, count, &NoiseFrame::y, 1, 0);
  if (luma.empty()) return measure;
  const bool alone = count == 1;
  const Variances v = OfBlocks(luma, alone);
  measure.measured = true;
  measure.luma_sigma = static_cast<float>(std::sqrt(v.noise));
  measure.luma_sigma_half = static_cast<float>(std::sqrt(v.noise_half));
  measure.blotchiness = measure.luma_sigma > 0 ? 2 * measure.luma_sigma_half / measure.luma_sigma : 1;
  LayerVector<float> textures;
  for (const BlockNoise& block : luma) textures.push_back(std::max(0.0f, block.texture - block.noise / 2));
  measure.texture = std::sqrt(Median(&textures));

  if (frames[0].u.data == nullptr) return measure;
  const Blocks u = Gather(frames, count, &NoiseFrame::u, 2, 0.5),
               v_blocks = Gather(frames, count, &NoiseFrame::v, 2, 0.5);
  if (!u.empty() && !v_blocks.empty()) {
    measure.chroma_sigma =
        static_cast<float>(std::sqrt((OfBlocks(u, alone).noise + OfBlocks(v_blocks, alone).noise) / 2));
  }
  return measure;
}

}  // namespace zolt
