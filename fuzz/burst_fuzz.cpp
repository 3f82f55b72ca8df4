// Random bursts through the layer: layouts, strides right and wrong, options, hooks that refuse. The input is
// a head of eight bytes (see Plan) and three bytes for each frame (see AddFrame).
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>
#include <vector>

#include "zolt_burst.h"

namespace {

std::set<void*> blocks;
int allocations = 0;
int refused = -1;
int progress_calls = 0;
int cancel_at = -1;

void* Alloc(uint32_t size, const char*, uint32_t) {
  if (allocations++ == refused) return nullptr;
  void* block = std::malloc(size);
  if (block == nullptr) return nullptr;
  blocks.insert(block);
  return block;
}

void Free(void* block, const char*, uint32_t) {
  if (blocks.erase(block) == 0) std::abort();  // not ours, or given back twice
  std::free(block);
}

int Progress(void*, double done) {
  if (!(done >= 0 && done <= 1)) std::abort();
  return progress_calls++ == cancel_at ? 1 : 0;
}

/// A picture over memory of exactly its extent, so that the address sanitizer sees a byte too far.
struct Picture {
  std::vector<uint8_t> planes[4];
  zolt_burst_picture view;
};

/// `form`: layout and departure; `gap`: how much longer rows and pixels are than they must be, wrongly
/// shorter in some forms; `seed`: what is painted, 0 to 63 moves it.
Picture MakePicture(int width, int height, uint8_t form, uint8_t gap, uint8_t seed) {
  Picture picture = {};
  zolt_burst_picture& view = picture.view;
  view.size = sizeof view;
  view.layout = form % 3;
  view.width = width;
  view.height = height;
  const int channels = view.layout == ZOLT_BURST_GREY ? 1 : view.layout == ZOLT_BURST_RGB && gap & 64 ? 4 : 3;
  for (int c = 0; c < channels; ++c) {
    const bool half = view.layout == ZOLT_BURST_YUV420 && c > 0;
    const int w = half ? (width + 1) / 2 : width, h = half ? (height + 1) / 2 : height;
    const int step = 1 + gap % 3, row = (w - 1) * step + 1 + gap / 8 % 5;
    std::vector<uint8_t>& bytes = picture.planes[c];
    bytes.resize(static_cast<size_t>((h - 1) * row + (w - 1) * step + 1));
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        const int u = x + seed % 8, v = y + seed / 8 % 8;
        bytes[static_cast<size_t>(y * row + x * step)] = static_cast<uint8_t>(
            60 + (u / 5 * 37 + v / 4 * 59) % 90 * (seed < 64 ? 1 : seed) + (x * 7 + y * seed) % 11);
      }
    }
    const bool flipped = form & 8;
    view.planes[c] = bytes.data() + (flipped ? (h - 1) * row : 0);
    view.row_stride[c] = flipped ? -row : row;
    view.pixel_stride[c] = step;
  }
  switch (form >> 4) {  // most pictures are right
    case 12:
      view.row_stride[0] = gap - 128;
      break;
    case 13:
      view.planes[gap % 4] = nullptr;
      break;
    case 14:
      view.height = gap - 100;
      break;
    case 15:
      view.pixel_stride[gap % 4] = gap / 16 - 8;
      break;
    default:
      break;
  }
  // A stride that is wrong but holds would read past the memory that this picture has.
  for (int c = 0; c < 4; ++c) {
    const bool changed = form >> 4 == 12 || form >> 4 == 15;
    if (changed && view.planes[c] != nullptr) view.row_stride[c] = view.row_stride[c] % 3;
  }
  if (form >> 4 == 14 && view.height > height) view.height = height;
  return picture;
}

void OneByOne(const std::vector<Picture>& frames, const zolt_burst_options& options,
              const zolt_burst_picture& out) {
  zolt_burst* burst = nullptr;
  if (zolt_burst_open(&burst, &options) != ZOLT_BURST_OK) return;
  for (const Picture& frame : frames) zolt_burst_add(burst, &frame.view);
  zolt_burst_report report;
  zolt_burst_report_init(&report);
  zolt_burst_finish(burst, &out, &report, nullptr, 0);
  zolt_burst_close(burst);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 8) return 0;
  const int width = 12 + data[0] % 64, height = 12 + data[1] % 64;
  std::vector<Picture> frames;
  for (size_t at = 8; at + 2 < size && frames.size() < 6; at += 3) {
    frames.push_back(MakePicture(width, height, data[at], data[at + 1], data[at + 2]));
  }
  Picture out = MakePicture(width, height, data[2], data[3], 0);
  zolt_burst_options options;
  zolt_burst_options_init(&options);
  options.mode = data[4] & 1;
  options.fusion = data[4] >> 1 & 1;
  options.keep_all = data[4] >> 2 & 1;
  options.reference = data[4] >> 4 < 8 ? -1 : (data[4] >> 4) - 8;
  options.iso = data[5] % 4 == 3 ? 100 << data[5] / 4 % 8 : 0;
  options.expected_frames = data[6] % 16 < 8 ? 0 : data[6] % 16 - 5;
  options.hooks = {&Alloc, &Free};
  options.progress = &Progress;
  allocations = progress_calls = 0;
  refused = data[7] % 2 == 0 ? -1 : data[7] / 2;
  cancel_at = data[6] / 16 - 8;
  if (data[2] & 4) {
    OneByOne(frames, options, out.view);
  } else {
    std::vector<zolt_burst_picture> views;
    for (const Picture& frame : frames) views.push_back(frame.view);
    const auto count = static_cast<int32_t>(views.size());
    zolt_burst_denoise(views.data(), count, &options, &out.view, nullptr, nullptr);
    zolt_burst_report report;
    zolt_burst_report_init(&report);
    zolt_burst_measure_noise(views.data(), count, &options, &report);
  }
  if (!blocks.empty()) std::abort();
  return 0;
}
