// Random calls of the three functions: any order, sizes up to 512, formats, tags, hooks that refuse or return
// odd addresses. The input is a list of calls, seven bytes each (see Step).
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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
    std::FILE* file = std::fopen((path + "multiframe.xml").c_str(), "w");
    if (file == nullptr) std::abort();
    std::fputs(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Config>\n"
        "<Global><ExposureFusionFlag>0</ExposureFusionFlag><LumaEnhancementFlag>1</LumaEnhancementFlag></"
        "Global>\n"
        "<LumaEnhancement><maxGain>24</maxGain><chromaGain>20</chromaGain><lumaTH>900</lumaTH>"
        "<peakTH>900</peakTH></LumaEnhancement>\n"
        "<ChromaEnhancement><enhancementLevel>5</enhancementLevel></ChromaEnhancement>\n"
        "<ExposureFusion><ChromaFusionFlag>1</ChromaFusionFlag><HDRFusionFlag>1</HDRFusionFlag>"
        "<ISO1><fusion_low>900</fusion_low><fusion_high>300</fusion_high><detailRestore>90</detailRestore>"
        "<SaturationGain>20</SaturationGain><boostDetail>3</boostDetail></ISO1></ExposureFusion>\n"
        "<NoiseReduction><ISO1><lumaMed>1</lumaMed><lumaLF>-40</lumaLF><lumaHF1>-50</lumaHF1>"
        "<detail>-60</detail></ISO1></NoiseReduction>\n</Config>\n",
        file);
    std::fclose(file);
    return path;
  }();
  return folder.c_str();
}

/// `src` is of exactly the frame's size each time; `result` stays where it is, as a burst's result must.
struct Buffers {
  std::vector<uint8_t> src;
  std::vector<uint8_t> result = std::vector<uint8_t>(513 * 512 * 3 / 2 + 1);
};

/// A frame with some structure, so that registration has corners to find; `seed` moves it.
void Paint(std::vector<uint8_t>* frame, int width, uint8_t seed) {
  const auto columns = static_cast<size_t>(width > 0 ? width : 1);
  for (size_t i = 0; i < frame->size(); ++i) {
    const size_t x = i % columns + seed % 8, y = i / columns;
    (*frame)[i] = static_cast<uint8_t>(((x / 12) * 37 + (y / 9) * 59) * (seed | 1) + (x * y + seed) % 7);
  }
}

/// One call: [0] what and tag, [1] width / 8, [2] height / 8, [3] format and total, [4] iso and extra, [5]
/// seed, [6] which of the next allocations is refused (from 200 up: none).
void Step(const uint8_t* step, MfSession** session, Buffers* buffers) {
  const int what = step[0] >> 4;
  if (what == 15) {
    zolt_mfUnInitialize(*session);
    *session = nullptr;
    FreeLostBlocks();
    const MfAllocHooks hooks = {Alloc, Free};
    if (zolt_mfInitialize(session, TuningFolder(), &hooks) != ZOLT_MF_OK) *session = nullptr;
    return;
  }
  int width = (step[1] & 63) * 8, height = (step[2] & 63) * 8;
  if ((step[1] & 64) != 0) width = 256;
  if ((step[2] & 64) != 0) height = 264;
  if (what == 14) width += 1;
  const size_t size = static_cast<size_t>(width) * static_cast<size_t>(height) * 3 / 2;
  buffers->src = std::vector<uint8_t>(size);
  Paint(&buffers->src, width, step[5]);
  const MfFrameExtra extra = {0, step[4] & 1, (step[4] >> 1) & 3, step[4] >> 3};
  refused = step[6] < 200 ? allocations + step[6] % 8 : -1;
  const uint8_t* src = what == 13 ? nullptr : buffers->src.data();
  zolt_mfNoiseReduction(*session, src, buffers->result.data(), height, width,
                        (step[0] & 3) - (what == 12 ? 2 : 0), step[3] >> 4, step[3] & 3,
                        what == 11 ? -5 : (step[4] & 0x70) * 40, (step[4] & 0x80) != 0 ? &extra : nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t kStep = 7, kMostSteps = 12;
  MfSession* session = nullptr;
  Buffers buffers;
  refused = -1;
  const MfAllocHooks hooks = {Alloc, Free};
  if (zolt_mfInitialize(&session, TuningFolder(), &hooks) != ZOLT_MF_OK) std::abort();
  for (size_t i = 0; i < kMostSteps && (i + 1) * kStep <= size; ++i) {
    Step(data + i * kStep, &session, &buffers);
  }
  zolt_mfUnInitialize(session);
  FreeLostBlocks();
  return 0;
}
