#include "burst/fine/spectral_finish.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/digest.h"
#include "support/test_planes.h"
#include "support/thread_failure.h"

namespace zolt {
namespace {

constexpr int kWidth = 264, kHeight = 200, kFrames = 6;

TEST(BlockTransform, IsOrthonormalAndComesBack) {
  const std::vector<uint8_t> bytes = test::RandomPlane<uint8_t>(kBlockSize);
  float block[kBlockSize], coefficients[kBlockSize], back[kBlockSize];
  for (int i = 0; i < kBlockSize; ++i) block[i] = bytes[static_cast<size_t>(i)];
  TransformBlock(block, coefficients);
  RestoreBlock(coefficients, back);
  double energy = 0, after = 0;
  for (int i = 0; i < kBlockSize; ++i) {
    EXPECT_NEAR(back[i], block[i], 1e-3);
    energy += block[i] * block[i];
    after += coefficients[i] * coefficients[i];
  }
  EXPECT_NEAR(after / energy, 1, 1e-5);
  // A wave along the rows is one coefficient, at 8 u.
  for (int i = 0; i < kBlockSize; ++i)
    block[i] = static_cast<float>(std::cos((2 * (i % 8) + 1) * 3 * M_PI / 16));
  TransformBlock(block, coefficients);
  for (int i = 0; i < kBlockSize; ++i)
    EXPECT_NEAR(coefficients[i], i == 3 * 8 ? std::sqrt(32.0) : 0, 1e-4) << i;
}

/// A scene, its noisy reference, and a merge of kFrames that lost some of the texture.
struct Burst {
  std::vector<uint8_t> truth, reference, merge, weights;
};

Burst MakeBurst() {
  test::Frame scene = test::TexturedFrame(kWidth, kHeight);
  const auto luma = static_cast<size_t>(kWidth * kHeight);
  Burst burst;
  burst.truth.assign(scene.bytes.begin(), scene.bytes.begin() + kWidth * kHeight);
  test::Frame noisy = scene;
  test::AddNoise(&noisy, 8, 1);
  burst.reference.assign(noisy.bytes.begin(), noisy.bytes.begin() + kWidth * kHeight);
  test::Frame other = scene;
  test::AddNoise(&other, 3, 77777);
  burst.merge = burst.truth;
  for (size_t i = 1; i + 1 < luma; ++i) {
    const int soft = (burst.truth[i - 1] + 2 * burst.truth[i] + burst.truth[i + 1] + 2) / 4;
    const int own = burst.reference[i] - burst.truth[i];
    burst.merge[i] =
        static_cast<uint8_t>(std::clamp(soft + other.bytes[i] - burst.truth[i] + own / kFrames, 0, 255));
  }
  burst.weights.assign(luma, 25 * (kFrames - 1));
  return burst;
}

double Error(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  double sum = 0;
  for (int y = 16; y < kHeight - 16; ++y) {
    for (int x = 16; x < kWidth - 16; ++x) {
      const double d = a[static_cast<size_t>(y * kWidth + x)] - b[static_cast<size_t>(y * kWidth + x)];
      sum += d * d;
    }
  }
  return sum;
}

std::vector<uint8_t> Finish(const Burst& burst) {
  const auto view = [](const std::vector<uint8_t>& plane) {
    return PlaneView{plane.data(), kWidth, kHeight, kWidth};
  };
  const SpectralJob job = {
      view(burst.reference), view(burst.merge), view(burst.weights), kFrames, 8, 8, 2, 3};
  std::pmr::memory_resource* memory = std::pmr::new_delete_resource();
  const NoiseSpectrum spectrum = MeasureSpectrum(job.reference, job.merge, job.weights, kFrames, memory);
  EXPECT_TRUE(spectrum.known);
  std::vector<uint8_t> out = burst.merge;
  FinishBySpectra(job, spectrum, {out.data() + 8 * kWidth + 8, kWidth - 16, kHeight - 16, kWidth}, memory);
  return out;
}

TEST(SpectralFinish, GivesTextureBackAndTakesNoiseAwaySameOnEveryProcessor) {
  Burst burst = MakeBurst();
  const std::vector<uint8_t> out = Finish(burst);
  EXPECT_LT(Error(out, burst.truth), 0.8 * Error(burst.merge, burst.truth));
  EXPECT_EQ(test::Digest(out), 13415481193168587245u);
  {
    const test::ThreadFailure failure(1, true);
    EXPECT_EQ(Finish(burst), out);
  }
  // Where nothing was merged the merge is the noisy frame, and is filtered as that.
  for (int y = 0; y < kHeight / 2; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const auto at = static_cast<size_t>(y * kWidth + x);
      burst.merge[at] = burst.reference[at];
      burst.weights[at] = 0;
    }
  }
  EXPECT_LT(Error(Finish(burst), burst.truth), 0.8 * Error(burst.merge, burst.truth));
}

}  // namespace
}  // namespace zolt
