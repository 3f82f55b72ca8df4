#include "burst/fine/noise_spectrum.h"
#include "burst/memory/layer_vector.h"

#include <algorithm>
#include <numeric>

namespace zolt {
namespace {

constexpr int kMostBlocks = 30000;
constexpr size_t kFewestInLevel = 60;
/// Median of the square of a normal variable.
constexpr float kMedianSquare = 0.4549364f;
/// Interpolation takes of a block that it softens at all more than what the step to a rougher block tells.
/// Fitted on photographs that are fine texture all over, where nothing else tells texture from noise.
constexpr float kTakenBetween = 5;
/// Below this share of what the flattest blocks hold nothing is taken off for texture.
constexpr float kLeastShare = 0.15f;
constexpr float kDarkest = 6, kBrightest = 249;

struct Sample {
  float texture;
  int at;  ///< which block
};

struct Samples {
  explicit Samples(std::pmr::memory_resource* memory) : squares(memory) {
    for (auto& level : levels) level = std::pmr::vector<Sample>(memory);
  }
  std::pmr::vector<float> squares;  ///< kBlockSize for each block: of the difference's coefficients
  std::pmr::vector<Sample> levels[NoiseSpectrum::kLevels];
};

void LoadBlocks(PlaneView frame, PlaneView merge, int x, int y, float* difference, float* merged) {
  for (int j = 0; j < kBlockSide; ++j) {
    const uint8_t* a = frame.Row(y + j) + x;
    const uint8_t* b = merge.Row(y + j) + x;
    for (int i = 0; i < kBlockSide; ++i) {
      difference[j * kBlockSide + i] = static_cast<float>(a[i] - b[i]);
      merged[j * kBlockSide + i] = b[i];
    }
  }
}

void Gather(PlaneView frame, PlaneView merge, PlaneView weights, int frames, Samples* out) {
  const int columns = frame.width / kBlockSide, rows = frame.height / kBlockSide;
  const int64_t all = int64_t{columns} * rows, step = (all + kMostBlocks - 1) / kMostBlocks;
  for (int64_t i = 0; i < all; i += step) {
    const auto row = static_cast<int>(i / columns);
    const int x = static_cast<int>((i + row) % columns) * kBlockSide, y = row * kBlockSide;
    const auto whole = [&](int dx, int dy) { return weights.Row(y + dy)[x + dx] >= 25 * (frames - 1); };
    if (!whole(0, 0) || !whole(7, 0) || !whole(0, 7) || !whole(7, 7)) continue;
    float difference[kBlockSize], merged[kBlockSize], d[kBlockSize], m[kBlockSize];
    LoadBlocks(frame, merge, x, y, difference, merged);
    TransformBlock(difference, d);
    TransformBlock(merged, m);
    const float level = m[0] / kBlockSide;
    if (level < kDarkest || level > kBrightest) continue;
    float texture = 0;
    for (int k = 1; k < kBlockSize; ++k) texture += m[k] * m[k];
    auto& bin = out->levels[static_cast<int>(level) / NoiseSpectrum::kLevels];
    bin.push_back({texture, static_cast<int>(out->squares.size() / kBlockSize)});
    for (const float v : d) out->squares.push_back(v * v);
  }
}

/// Medians over blocks `from` to `to` of a level.
struct Medians {
  float power[kBlockSize];
  float texture;  ///< of the merge, with what noise it has

  Medians(const Samples& samples, const std::pmr::vector<Sample>& level, size_t from, size_t to) {
    LayerVector<float> values(to - from);
    for (int k = 0; k < kBlockSize; ++k) {
      for (size_t i = from; i < to; ++i) {
        values[i - from] =
            samples.squares[static_cast<size_t>(level[i].at) * kBlockSize + static_cast<size_t>(k)];
      }
      power[k] = Median(&values) / kMedianSquare;
    }
    for (size_t i = from; i < to; ++i) values[i - from] = level[i].texture;
    texture = Median(&values);
  }

  float Mean() const { return std::accumulate(power + 1, power + kBlockSize, 0.0f) / (kBlockSize - 1); }
};

/// The flattest tenth of a level's blocks, less what interpolation took of their texture, judged by how much
/// more the second fifth differs.
void LevelPower(const Samples& samples, std::pmr::vector<Sample>* level, int frames, float* power) {
  std::stable_sort(level->begin(), level->end(),
                   [](const Sample& a, const Sample& b) { return a.texture < b.texture; });
  const size_t n = level->size();
  const Medians near(samples, *level, 0, std::max<size_t>(n / 10, 40));
  const Medians far(samples, *level, n / 5, std::max<size_t>(2 * n / 5, n / 5 + 40));
  const auto clear = [&](const Medians& m) {
    return m.texture - static_cast<float>(kBlockSize - 1) * m.Mean() / static_cast<float>(frames - 1);
  };
  const float near_texture = std::max(0.0f, clear(near));
  const float share = near_texture / std::max({clear(far) - near_texture, near_texture, 1e-3f});
  for (int k = 0; k < kBlockSize; ++k) {
    const float more = std::max(0.0f, far.power[k] - near.power[k]);
    power[k] = std::max(near.power[k] - kTakenBetween * share * more, kLeastShare * near.power[k]);
  }
}

/// Levels without blocks take the nearest one's variance.
void FillGaps(const bool* known, float* variance) {
  for (int level = 0; level < NoiseSpectrum::kLevels; ++level) {
    for (int distance = 1; !known[level] && distance < NoiseSpectrum::kLevels; ++distance) {
      const int below = level - distance, above = level + distance;
      const bool down = below >= 0 && known[below], up = above < NoiseSpectrum::kLevels && known[above];
      if (!down && !up) continue;
      variance[level] = down ? variance[below] : variance[above];
      break;
    }
  }
}

}  // namespace

float NoiseSpectrum::VarianceAt(float level) const {
  const float at = std::clamp(level / kLevels - 0.5f, 0.0f, static_cast<float>(kLevels - 1));
  const int below = std::min(static_cast<int>(at), kLevels - 2);
  const float share = at - static_cast<float>(below);
  return level_variance[below] + share * (level_variance[below + 1] - level_variance[below]);
}

NoiseSpectrum MeasureSpectrum(PlaneView frame, PlaneView merge, PlaneView weights, int frames,
                              std::pmr::memory_resource* memory) {
  NoiseSpectrum spectrum = {};
  Samples samples(memory);
  Gather(frame, merge, weights, frames, &samples);
  bool known[NoiseSpectrum::kLevels] = {};
  float weight = 0;
  // The reference has its share in the merge, which takes as much from the difference.
  const float whole = static_cast<float>(frames) / static_cast<float>(frames - 1);
  for (int level = 0; level < NoiseSpectrum::kLevels; ++level) {
    if (samples.levels[level].size() < kFewestInLevel) continue;
    float power[kBlockSize];
    LevelPower(samples, &samples.levels[level], frames, power);
    float mean = 0;
    for (int k = 1; k < kBlockSize; ++k) mean += power[k];
    mean /= kBlockSize - 1;
    if (!(mean > 0)) continue;
    const auto count = static_cast<float>(samples.levels[level].size());
    for (int k = 0; k < kBlockSize; ++k) spectrum.power[k] += power[k] / mean * count;
    weight += count;
    spectrum.level_variance[level] = mean * whole;
    known[level] = true;
  }
  if (weight == 0) return spectrum;
  for (float& p : spectrum.power) p /= weight;
  FillGaps(known, spectrum.level_variance);
  spectrum.known = true;
  return spectrum;
}

}  // namespace zolt
