#include "session/plane_conversion.h"

#include <cstring>

#include "threads/helper_threads.h"
#include "zolt_mfdenoise.h"

namespace zolt {
namespace {

constexpr int32_t kThreads = 4;

/// pairs[2i] to `even`, pairs[2i + 1] to `odd`.
void SplitPairs(const uint8_t* __restrict pairs, uint8_t* __restrict even, uint8_t* __restrict odd,
                size_t count) {
  for (size_t i = 0; i < count; ++i) {
    even[i] = pairs[2 * i];
    odd[i] = pairs[2 * i + 1];
  }
}

void MergePairs(const uint8_t* __restrict even, const uint8_t* __restrict odd, uint8_t* __restrict pairs,
                size_t count) {
  for (size_t i = 0; i < count; ++i) {
    pairs[2 * i] = even[i];
    pairs[2 * i + 1] = odd[i];
  }
}

/// Both directions: `count` pairs, a multiple of 4 as frame sides are multiples of 8.
struct Conversion {
  const uint8_t* source;  ///< the pairs, or the plane of even bytes
  const uint8_t* source_odd;
  uint8_t* destination;  ///< the plane of even bytes, or the pairs
  uint8_t* destination_odd;
  size_t count;
};

int32_t SplitStripe(void* argument, int32_t index) {
  const auto& job = *static_cast<const Conversion*>(argument);
  const size_t stripe = job.count / kThreads, first = stripe * static_cast<size_t>(index);
  SplitPairs(job.source + 2 * first, job.destination + first, job.destination_odd + first, stripe);
  return 0;
}

int32_t MergeStripe(void* argument, int32_t index) {
  const auto& job = *static_cast<const Conversion*>(argument);
  const size_t stripe = job.count / kThreads, first = stripe * static_cast<size_t>(index);
  MergePairs(job.source + first, job.source_odd + first, job.destination + 2 * first, stripe);
  return 0;
}

struct Copy {
  uint8_t* destination;
  const uint8_t* source;
  size_t length;
};

int32_t CopyRoutine(void* argument, int32_t index) {
  const auto& job = *static_cast<const Copy*>(argument);
  const size_t quarter = job.length / kThreads / 16 * 16, first = quarter * static_cast<size_t>(index);
  const size_t length = index < kThreads - 1 ? quarter : job.length - first;
  std::memcpy(job.destination + first, job.source + first, length);
  return 0;
}

size_t LumaSize(int32_t width, int32_t height) {
  return static_cast<size_t>(width) * static_cast<size_t>(height);
}

}  // namespace

void SplitChroma(const uint8_t* frame, uint8_t* planes, int32_t width, int32_t height, uint32_t format) {
  const size_t luma = LumaSize(width, height);
  uint8_t* u = planes;
  uint8_t* v = planes + luma / 4;
  const bool v_first = format == ZOLT_MF_FORMAT_NV21;
  Conversion job = {frame + luma, nullptr, v_first ? v : u, v_first ? u : v, luma / 4};
  if (RunHelperThreads(SplitStripe, &job, kThreads) != 0) {
    SplitPairs(job.source, job.destination, job.destination_odd, job.count);
  }
}

void MergeChroma(const uint8_t* image, uint8_t* pairs, int32_t width, int32_t height, uint32_t format) {
  const size_t luma = LumaSize(width, height);
  const uint8_t* u = image + luma;
  const uint8_t* v = u + luma / 4;
  const bool v_first = format == ZOLT_MF_FORMAT_NV21;
  Conversion job = {v_first ? v : u, v_first ? u : v, pairs, nullptr, luma / 4};
  if (RunHelperThreads(MergeStripe, &job, kThreads) != 0) {
    MergePairs(job.source, job.source_odd, job.destination, job.count);
  }
}

void CopyInThreads(uint8_t* destination, const uint8_t* source, size_t length) {
  Copy job = {destination, source, length};
  if (RunHelperThreads(CopyRoutine, &job, kThreads) != 0) std::memcpy(destination, source, length);
}

}  // namespace zolt
