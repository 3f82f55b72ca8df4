#include "registration/integral_image.h"

#include <algorithm>

#include "threads/worker_pool.h"

namespace zolt {
namespace {

constexpr int32_t kJobs = 4;

void RunningSum(const uint8_t* __restrict pixels, uint32_t* __restrict out, int32_t n) {
  uint32_t sum = 0;
  out[0] = 0;
  for (int32_t x = 0; x < n; ++x) out[x + 1] = sum += pixels[x];
}

void AddRow(const uint32_t* __restrict above, uint32_t* __restrict row, int32_t n) {
  for (int32_t x = 0; x < n; ++x) row[x] += above[x];
}

}  // namespace

IntegralImage BuildIntegralImage(const DetectionImage& image, uint32_t* sums) {
  const IntegralImage integral = {sums, image.width + 1, image.height + 1};
  const int64_t pitch = integral.width;
  std::fill_n(sums, pitch, 0u);
  const int32_t rows_per_job = (integral.height - 1) / kJobs;
  RunOnPool(RegistrationPool(), [&](int32_t job) {
    const int32_t first = 1 + job * rows_per_job;
    const int32_t end = job == kJobs - 1 ? integral.height : first + rows_per_job;
    for (int32_t r = first; r < end; ++r) {
      RunningSum(image.pixels + static_cast<int64_t>(r - 1) * image.width, sums + r * pitch, image.width);
    }
  });
  for (int32_t r = 1; r < integral.height; ++r) {
    AddRow(sums + (r - 1) * pitch, sums + r * pitch, integral.width);
  }
  return integral;
}

}  // namespace zolt
