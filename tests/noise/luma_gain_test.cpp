#include "noise/luma_gain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/test_planes.h"

namespace zolt {
namespace {

TEST(LumaGain, EveryGainOnEveryLevel) {
  test::Frame before(72, 64);
  for (size_t i = 0; i < before.bytes.size(); ++i) before.bytes[i] = static_cast<uint8_t>(i);
  const size_t luma = 72 * 64;
  for (int gain = 0; gain < 256; ++gain) {
    const int chroma_gain = 255 - gain;
    test::Frame frame = before;
    LumaEnhance(frame.image(), 72, 64, static_cast<uint8_t>(gain), static_cast<uint8_t>(chroma_gain));
    for (size_t i = 0; i < frame.bytes.size(); ++i) {
      const int v = before.bytes[i];
      const int expected = i < luma ? std::min((v * gain + 8) / 16, 255)
                                    : std::clamp((((v - 128) * chroma_gain + 8) >> 4) + 128, 0, 255);
      ASSERT_EQ(frame.bytes[i], expected) << "gain " << gain << " level " << v << " at " << i;
    }
  }
}

}  // namespace
}  // namespace zolt
