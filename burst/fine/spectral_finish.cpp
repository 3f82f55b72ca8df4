#include "burst/fine/spectral_finish.h"

#include <algorithm>
#include <vector>

#include "base/vector_clones.h"
#include "threads/fork_join.h"

namespace zolt {
namespace {

constexpr int kStep = kBlockSide / 2;
constexpr int kStripes = 4;
/// An interpolated frame has this share of its noise.
constexpr float kInterpolated = 0.8f;
/// Grey levels of the first result, which is kept in 16 bits.
constexpr float kPilotUnit = 64;
/// sin^2((i + 1/2) pi / 8), which with itself four on sums to one.
constexpr float kWindow[kBlockSide] = {0.0380602337f, 0.308658284f, 0.691341716f, 0.961939766f,
                                       0.961939766f,  0.691341716f, 0.308658284f, 0.0380602337f};

using Block = float[kBlockSize];

struct Work {
  const SpectralJob* job;
  const NoiseSpectrum* spectrum;
  Block smooth_power;  ///< the spectrum as SmoothOver leaves it
  int16_t* pilot;      ///< of the merge's size; written by the first pass, read by the second
  const MutablePlane* out;
  bool second;
  float* rows;  ///< kBlockSide rows for each stripe
};

/// Binomial mean over neighbouring frequencies, 1 2 1 both ways: single coefficients tell little.
void SmoothOver(const float* in, float* out) {
  Block along;
  for (int v = 0; v < kBlockSide; ++v) {
    for (int u = 0; u < kBlockSide; ++u) {
      const int before = std::max(u - 1, 0), after = std::min(u + 1, kBlockSide - 1);
      along[v * kBlockSide + u] =
          (in[v * kBlockSide + before] + in[v * kBlockSide + after]) + 2 * in[v * kBlockSide + u];
    }
  }
  for (int v = 0; v < kBlockSide; ++v) {
    const float* above = along + std::max(v - 1, 0) * kBlockSide;
    const float* below = along + std::min(v + 1, kBlockSide - 1) * kBlockSide;
    const float* here = along + v * kBlockSide;
    for (int u = 0; u < kBlockSide; ++u) {
      out[v * kBlockSide + u] = ((above[u] + below[u]) + 2 * here[u]) * (1.0f / 16);
    }
  }
}

struct Place {
  float variance;  ///< of one frame's noise
  float frames;    ///< merged here
};

Place PlaceAt(const Work& work, int x, int y, float level) {
  const SpectralJob& job = *work.job;
  int sum = 0;
  for (int j = 1; j < kBlockSide; j += 2) {
    const uint8_t* row = job.weights.Row(y + j) + x;
    for (int i = 1; i < kBlockSide; i += 2) sum += row[i];
  }
  const float folded = static_cast<float>(sum) / (16 * 25.0f);
  return {work.spectrum->VarianceAt(level), 1 + std::min(folded, static_cast<float>(job.frames - 1))};
}

/// Coefficients of the cleaned block, from those of the difference and the merge; `pilot` of the first
/// result. One function for each pass: with the choice inside, the loops stayed scalar on 64-bit ARM, where
/// two divisions a coefficient take longer than all else.
template <bool kSecond>
void Clean(const Work& work, const Place& place, const float* __restrict difference,
           const float* __restrict merge, const float* __restrict pilot, float* __restrict out) {
  const float apart = place.variance * (1 - 1 / place.frames);
  const float merged = place.variance * (place.frames > 1.5f ? kInterpolated : 1) / place.frames;
  Block signal, energy;
  for (int k = 0; k < kBlockSize; ++k) {
    const float s = kSecond ? pilot[k] - merge[k] : difference[k];
    signal[k] = s * s;
  }
  SmoothOver(signal, energy);
  const float return_above = work.job->return_above, keep_above = work.job->keep_above;
  const float* __restrict power = work.spectrum->power;
  const float* __restrict smooth_power = work.smooth_power;
  Block uncleaned;
  for (int k = 0; k < kBlockSize; ++k) {
    const float noise = apart * smooth_power[k] + 1e-9f;
    const float e = energy[k] + 1e-9f;
    const float given = kSecond ? e / (e + noise) : std::max(0.0f, 1 - return_above * noise / e);
    const float y = merge[k] + given * difference[k];
    const float left = power[k] * (merged + given * given * apart) + 1e-9f;
    const float square = kSecond ? pilot[k] * pilot[k] : y * y;
    const float kept =
        kSecond ? square / (square + left) : std::max(0.0f, 1 - keep_above * left / (square + 1e-9f));
    uncleaned[k] = y;
    out[k] = kept * y;
  }
  out[0] = uncleaned[0];  // the mean stays
}

ZOLT_VECTOR_CLONES void CleanBlock(const Work& work, int x, int y, float* out) {
  const SpectralJob& job = *work.job;
  Block difference, merge, d, m, cleaned, pilot, p;
  for (int j = 0; j < kBlockSide; ++j) {
    const uint8_t* a = job.reference.Row(y + j) + x;
    const uint8_t* b = job.merge.Row(y + j) + x;
    for (int i = 0; i < kBlockSide; ++i) {
      difference[j * kBlockSide + i] = static_cast<float>(a[i] - b[i]);
      merge[j * kBlockSide + i] = b[i];
    }
  }
  TransformBlock(difference, d);
  TransformBlock(merge, m);
  if (work.second) {
    const int16_t* first = work.pilot + static_cast<ptrdiff_t>(y) * job.merge.width + x;
    for (int j = 0; j < kBlockSide; ++j) {
      for (int i = 0; i < kBlockSide; ++i) {
        pilot[j * kBlockSide + i] = first[static_cast<ptrdiff_t>(j) * job.merge.width + i] * (1 / kPilotUnit);
      }
    }
    TransformBlock(pilot, p);
  }
  const Place place = PlaceAt(work, x, y, m[0] / kBlockSide);
  if (work.second) {
    Clean<true>(work, place, d, m, p, cleaned);
  } else {
    Clean<false>(work, place, d, m, nullptr, cleaned);
  }
  RestoreBlock(cleaned, out);
}

/// Adds a block's row under the window, of which the row has `share`. Nothing is stored before all is loaded:
/// the eight steps are vectorised only then.
void AddRow(const float* block, float share, float* row) {
  float sums[kBlockSide];
  for (int i = 0; i < kBlockSide; ++i) sums[i] = row[i] + share * kWindow[i] * block[i];
  for (int i = 0; i < kBlockSide; ++i) row[i] = sums[i];
}

/// Adds a row of blocks from `y` on to kBlockSide rows of sums.
void AddBlocks(const Work& work, int y, float* rows) {
  const SpectralJob& job = *work.job;
  const int width = job.merge.width;
  for (int x = 0; x + kBlockSide <= width; x += kStep) {
    Block block;
    CleanBlock(work, x, y, block);
    for (int j = 0; j < kBlockSide; ++j) {
      AddRow(block + j * kBlockSide, kWindow[j], rows + static_cast<ptrdiff_t>(j) * width + x);
    }
  }
}

/// The upper half of the sums, which no further block reaches.
ZOLT_VECTOR_CLONES void Emit(const Work& work, int y, const float* rows) {
  const SpectralJob& job = *work.job;
  const int width = job.merge.width;
  for (int j = 0; j < kStep; ++j) {
    const float* row = rows + static_cast<ptrdiff_t>(j) * width;
    if (!work.second) {
      int16_t* to = work.pilot + static_cast<ptrdiff_t>(y + j) * width;
      for (int x = kStep; x < width - kStep; ++x) {
        to[x] = static_cast<int16_t>(std::clamp(row[x], -100.0f, 400.0f) * kPilotUnit);
      }
      continue;
    }
    const int line = y + j - job.top;
    if (line < 0 || line >= work.out->height) continue;
    const int n = work.out->width;
    const float* __restrict from = row + job.left;
    uint8_t* __restrict to = work.out->Row(line);
    for (int x = 0; x < n; ++x) {
      to[x] = static_cast<uint8_t>(static_cast<int>(std::clamp(from[x] + 0.5f, 0.0f, 255.0f)));
    }
  }
}

/// Rows of blocks from `first` to before `last`, both multiples of kStep; the row before is computed once
/// more for the half that reaches in.
int32_t RunStripe(void* argument, int32_t index) {
  const Work& work = *static_cast<const Work*>(argument);
  const int width = work.job->merge.width, rows_of_blocks = (work.job->merge.height - kBlockSide) / kStep + 1;
  const int first = rows_of_blocks * index / kStripes, last = rows_of_blocks * (index + 1) / kStripes;
  const ptrdiff_t half = static_cast<ptrdiff_t>(kStep) * width;
  float* rows = work.rows + index * 2 * half;
  std::fill(rows, rows + 2 * half, 0.0f);
  for (int k = std::max(first - 1, 0); k < last; ++k) {
    AddBlocks(work, k * kStep, rows);
    if (k >= first) Emit(work, k * kStep, rows);
    std::copy(rows + half, rows + 2 * half, rows);
    std::fill(rows + half, rows + 2 * half, 0.0f);
  }
  return 0;
}

void RunPass(Work* work) {
  int32_t ran[kStripes] = {};
  ForkJoin(
      [](void* argument, int32_t index) {
        RunStripe(argument, index);
        return 1;
      },
      work, kStripes, ran);
  // A stripe whose thread could not be started is done here.
  for (int i = 0; i < kStripes; ++i) {
    if (ran[i] == 0) RunStripe(work, i);
  }
}

/// The pilot's outermost pixels, which whole windows don't cover, are the merge's.
void PrimePilot(const SpectralJob& job, int16_t* pilot) {
  for (int y = 0; y < job.merge.height; ++y) {
    const uint8_t* from = job.merge.Row(y);
    int16_t* to = pilot + static_cast<ptrdiff_t>(y) * job.merge.width;
    for (int x = 0; x < job.merge.width; ++x)
      to[x] = static_cast<int16_t>(from[x] * static_cast<int>(kPilotUnit));
  }
}

}  // namespace

void FinishBySpectra(const SpectralJob& job, const NoiseSpectrum& spectrum, const MutablePlane& out,
                     std::pmr::memory_resource* memory) {
  const auto width = static_cast<size_t>(job.merge.width), height = static_cast<size_t>(job.merge.height);
  std::pmr::vector<int16_t> pilot(width * height, memory);
  std::pmr::vector<float> rows(width * kBlockSide * kStripes, memory);
  PrimePilot(job, pilot.data());
  Work work = {&job, &spectrum, {}, pilot.data(), &out, false, rows.data()};
  SmoothOver(spectrum.power, work.smooth_power);
  RunPass(&work);
  work.second = true;
  RunPass(&work);
}

}  // namespace zolt
