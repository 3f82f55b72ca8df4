#include "burst/placed_planes.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include "burst/alignment/warp.h"
#include "burst/picture/mirror.h"

namespace zolt {
namespace {

constexpr int kThreads = 4;

size_t Bytes(int64_t count) {
  return static_cast<size_t>(count);
}

/// Colour differences grow with the exposure like the luma does.
std::array<uint8_t, 256> ChromaTone(double gain) {
  std::array<uint8_t, 256> tone;
  for (int c = 0; c < 256; ++c) {
    const double evened = 128 + (c - 128) * gain;
    tone[static_cast<size_t>(c)] = static_cast<uint8_t>(std::clamp(evened + 0.5, 0.0, 255.0));
  }
  return tone;
}

/// Null for a tone that changes nothing.
const uint8_t* ToneIfAny(const uint8_t* tone) {
  int level = 0;
  while (level < 256 && tone[level] == level) ++level;
  return level < 256 ? tone : nullptr;
}

}  // namespace

PlacedPlanes::PlacedPlanes(const WorkGeometry& work, std::pmr::memory_resource* memory)
    : work_(work),
      block_(memory),
      outside_(memory),
      chroma_outside_(memory),
      luma_(memory),
      u_(memory),
      v_(memory) {
  block_.resize(Bytes(work.block_size()));
  outside_.resize(Bytes(work.pixels()));
  chroma_outside_.resize(Bytes(work.pixels() / 4));
}

PlacedPlanes::Plane PlacedPlanes::PlaneAt(int index) {
  const int half = index == 0 ? 1 : 2;
  const int w = work_.work_width / half, h = work_.work_height / half;
  const int64_t luma = work_.pixels();
  uint8_t* begin = block_.data() + (index == 0 ? 0 : index == 1 ? luma : luma / 4 * 5);
  const int left = work_.left / half, top = work_.top / half;
  const int inner_width = (work_.width + half - 1) / half;
  const int inner_height = (work_.height + half - 1) / half;
  return {{begin, w, h, w}, {begin + ptrdiff_t{top} * w + left, inner_width, inner_height, w}, left, top};
}

MutablePlane PlacedPlanes::MaskOf(const Plane& plane, bool luma) {
  uint8_t* mask = luma ? outside_.data() : chroma_outside_.data();
  return {mask, plane.whole.width, plane.whole.height, plane.whole.width};
}

// Where the frame ends the reference goes on; around the picture both are mirrored.
void PlacedPlanes::Put(int index, PlaneView from, const Homography& motion, const uint8_t* tone,
                       const YuvImage& reference) {
  const Plane plane = PlaneAt(index);
  const bool luma = index == 0;
  const auto inner = [&](uint8_t* whole) {
    return MutablePlane{whole + (plane.inner.data - plane.whole.data), plane.inner.width, plane.inner.height,
                        plane.inner.pitch};
  };
  const MutablePlane mask = MaskOf(plane, luma);
  const PlaneView beyond = inner(luma ? reference.y : index == 1 ? reference.u : reference.v);
  const PlaneGrid grid = luma ? kLumaGrid : kChromaGrid;
  if (!WarpPlane(plane.inner, inner(mask.data), from, ForPlane(motion, grid, grid), {tone, beyond}, kThreads))
    throw std::bad_alloc();
  MirrorAround(plane.whole, plane.left, plane.top, plane.inner.width, plane.inner.height);
  if (luma) MirrorAround(mask, plane.left, plane.top, plane.inner.width, plane.inner.height);
}

void PlacedPlanes::PutReference(const zolt_burst_picture& picture) {
  const ChromaViews chroma = HalfChromaOf(picture, &u_, &v_);
  const PlaneView planes[] = {LumaOf(picture, &luma_), chroma.u, chroma.v};
  for (int i = 0; i < 3; ++i) {
    const Plane plane = PlaneAt(i);
    for (int y = 0; y < plane.inner.height; ++y) {
      std::memcpy(plane.inner.Row(y), planes[i].Row(y), Bytes(plane.inner.width));
    }
    MirrorAround(plane.whole, plane.left, plane.top, plane.inner.width, plane.inner.height);
  }
  std::fill(outside_.begin(), outside_.end(), uint8_t{0});
}

void PlacedPlanes::PutFrame(const zolt_burst_picture& picture, const Alignment& alignment, bool even_out,
                            const YuvImage& reference) {
  const ChromaViews chroma = HalfChromaOf(picture, &u_, &v_);
  const std::array<uint8_t, 256> chroma_tone = ChromaTone(alignment.gain);
  const uint8_t* tone = even_out ? ToneIfAny(chroma_tone.data()) : nullptr;
  Put(0, LumaOf(picture, &luma_), alignment.motion, even_out ? ToneIfAny(alignment.tone) : nullptr,
      reference);
  Put(1, chroma.u, alignment.motion, tone, reference);
  Put(2, chroma.v, alignment.motion, tone, reference);
}

}  // namespace zolt
