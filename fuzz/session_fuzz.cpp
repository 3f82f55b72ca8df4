// Random calls of the three functions: any order, sizes, formats, tags, hooks that refuse or return odd
// addresses. The input is a burst's size, total and format, three bytes, and a list of calls, four bytes each
// (see Step).
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "zolt_mfdenoise.h"

namespace {

/// Blocks that are out, each behind a header of odd length, and the allocation that will be refused.
std::set<void*> blocks;
int allocations = 0;
int refused = -1;
constexpr size_t kOddHeader = 17;

void* Alloc(uint32_t size, const char*, uint32_t) {
  if (allocations++ == refused) return nullptr;
  auto* block = static_cast<uint8_t*>(std::malloc(size_t{size} + kOddHeader));
  if (block == nullptr) return nullptr;
  blocks.insert(block + kOddHeader);
  return block + kOddHeader;
}

void Free(void* block, const char*, uint32_t) {
  if (blocks.erase(block) == 0) std::abort();  // not ours, or given back twice
  std::free(static_cast<uint8_t*>(block) - kOddHeader);
}

/// Blocks that are lost by design: of bursts that a new first frame cut short, and of failed filters.
void FreeLostBlocks() {
  while (!blocks.empty()) Free(*blocks.begin(), nullptr, 0);
}

/// A folder with a tuning file in which every stage does something.
const char* TuningFolder() {
  static const std::string folder = [] {
    char name[] = "/tmp/zolt_session_fuzz_XXXXXX";
    if (mkdtemp(name) == nullptr) std::abort();
    const std::string path = std::string(name) + "/";
    std::ofstream(path + "multiframe.xml") << R"(<?xml version="1.0" encoding="UTF-8"?>
<Config><Global><ExposureFusionFlag>0</ExposureFusionFlag><LumaEnhancementFlag>1</LumaEnhancementFlag></Global>
<LumaEnhancement><maxGain>24</maxGain><chromaGain>20</chromaGain><lumaTH>900</lumaTH><peakTH>900</peakTH></LumaEnhancement>
<ChromaEnhancement><enhancementLevel>5</enhancementLevel></ChromaEnhancement>
<ExposureFusion><ChromaFusionFlag>1</ChromaFusionFlag><HDRFusionFlag>1</HDRFusionFlag>
<ISO1><fusion_low>900</fusion_low><fusion_high>300</fusion_high><detailRestore>90</detailRestore>
<SaturationGain>20</SaturationGain><boostDetail>3</boostDetail></ISO1></ExposureFusion>
<NoiseReduction><ISO1><lumaMed>1</lumaMed><lumaLF>-40</lumaLF><lumaHF1>-50</lumaHF1><detail>-60</detail></ISO1>
</NoiseReduction></Config>)";
    return path;
  }();
  return folder.c_str();
}

/// What a burst's frames share, unless a call departs from it.
struct Shape {
  int width, height, total;
  uint32_t format;
};

/// Small as a rule, for a hundred bursts a second; the last codes reach the filters of the finished image.
int SideOf(uint8_t code) {
  return code < 252 ? 64 + code % 4 * 8 : 256 + code % 4 * 8;
}

/// A frame with some structure, so that registration has corners to find; `seed` moves it.
std::vector<uint8_t> Paint(int width, int height, uint8_t seed) {
  std::vector<uint8_t> frame;
  frame.reserve(static_cast<size_t>(width) * static_cast<size_t>(height) * 3 / 2);
  for (int y = 0; frame.size() < frame.capacity(); ++y) {
    for (int x = seed % 8; x < width + seed % 8 && frame.size() < frame.capacity(); ++x) {
      frame.push_back(static_cast<uint8_t>((x / 12 * 37 + y / 9 * 59) * (seed | 1) + (x * y + seed) % 7));
    }
  }
  return frame;
}

/// Calls that depart from the burst, by the high half of a step's first byte; the others are plain frames.
enum { kOtherTotal = 8, kOtherFormat, kOtherSize, kNoIso, kNoTag, kNoSource, kOddSize, kNewSession };

/// One call: [0] departure and tag, [1] ISO and extra, [2] what is painted, [3] which of the next allocations
/// is refused (from 200 up: none).
void Step(const uint8_t* step, Shape shape, MfSession** session, uint8_t* result) {
  const int departure = step[0] >> 4;
  if (departure == kNewSession) {
    zolt_mfUnInitialize(*session);
    *session = nullptr;
    FreeLostBlocks();
    const MfAllocHooks hooks = {Alloc, Free};
    if (zolt_mfInitialize(session, TuningFolder(), &hooks) != ZOLT_MF_OK) *session = nullptr;
    return;
  }
  if (departure == kOtherTotal) shape.total = step[2] % 12;
  if (departure == kOtherFormat) shape.format = (shape.format + 1) % 4;
  if (departure == kOtherSize) shape.width += 8;
  if (departure == kOddSize) shape.width += 1;
  // Of exactly the frame's size each time, so that a byte read too far is seen.
  const std::vector<uint8_t> src = Paint(shape.width, shape.height, step[2]);
  const MfFrameExtra extra = {0, step[1] & 1, (step[1] >> 1) & 3, step[1] >> 3};
  refused = step[3] < 200 ? allocations + step[3] % 8 : -1;
  zolt_mfNoiseReduction(*session, departure == kNoSource ? nullptr : src.data(), result, shape.height,
                        shape.width, (step[0] & 3) - (departure == kNoTag ? 2 : 0), shape.total, shape.format,
                        departure == kNoIso ? -5 : (step[1] & 0x70) * 40,
                        (step[1] & 0x80) != 0 ? &extra : nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t kShape = 3, kStep = 4, kMostSteps = 8;
  if (size < kShape) return 0;
  const Shape shape = {SideOf(data[0]), SideOf(data[1]), data[2] >> 4, data[2] % 4u};
  // Of the largest size that a call may have; it stays where it is, as a burst's result must.
  std::vector<uint8_t> result(static_cast<size_t>(shape.width + 8) * static_cast<size_t>(shape.height) * 3 /
                              2);
  MfSession* session = nullptr;
  refused = -1;
  const MfAllocHooks hooks = {Alloc, Free};
  if (zolt_mfInitialize(&session, TuningFolder(), &hooks) != ZOLT_MF_OK) std::abort();
  for (size_t at = kShape; at + kStep <= size && at < kShape + kMostSteps * kStep; at += kStep) {
    Step(data + at, shape, &session, result.data());
  }
  zolt_mfUnInitialize(session);
  FreeLostBlocks();
  return 0;
}
