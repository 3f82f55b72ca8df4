#include "burst/alignment/warp.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "burst/alignment/alignment_stripes.h"
#include "burst/alignment/warp_row.h"
#include "burst/memory/layer_vector.h"

namespace zolt {
namespace {

constexpr int kStripes = 32;
constexpr int kLinePad = 4 * kWarpBlock;  // columns beside the frame that a line can be read at
constexpr int kBlocksAStretch = 4;  // a hand's motion is straight for so long: off by 1/1000 pixel at most
constexpr int64_t kOne = 65536;
constexpr int64_t kTolerance = kOne / 4;

/// Q16, rounded, saturated far outside any picture; not-a-number is far outside too. Without negative numbers
/// truncation is all it takes to round.
int64_t ToFixed(double place) {
  constexpr double kFar = 1e8;
  if (!(place > -kFar)) place = -kFar;
  if (place > kFar) place = kFar;
  return static_cast<int64_t>((place + kFar) * kOne + 0.5) - static_cast<int64_t>(kFar) * kOne;
}

/// A place in the frame, Q16.
struct Place {
  int64_t x, y;
};

/// Where a stretch of a row of `out` begins in the frame, and the step from pixel to pixel, Q16.
struct Stretch {
  int64_t x, y, step_x, step_y;
};

/// A row of `out` on its way through the frame.
class RowWarp {
 public:
  /// `shown`: columns of `from` that are the picture's own.
  RowWarp(PlaneView from, int shown, const Homography& motion, int width, int16_t* line)
      : from_(from), shown_(shown), motion_(motion), width_(width), line_(line) {}

  /// False if the row runs too steeply for its columns.
  bool Begin(int y) {
    y_ = y;
    double x0, y0, x1, y1;
    motion_.Map(0, y, &x0, &y0);
    motion_.Map(width_ - 1, y, &x1, &y1);
    const double run = x1 - x0, rise = y1 - y0;
    if (!(run > 0.25 * (width_ - 1)) || !(std::fabs(rise) <= run)) return false;
    phases_ = run < 0.75 * (width_ - 1) ? 2 : 1;
    FillLine(x0, y0, x1, rise / run);
    return true;
  }

  /// `outside` may be null. True if all of the row is shown; told with `outside` only.
  bool Run(uint8_t* out, uint8_t* outside) const {
    bool whole = true;
    const int length = kWarpBlock * phases_;
    for (int x = 0; x < width_; x += kBlocksAStretch * length) {
      const Stretch all = StretchAt(x, kBlocksAStretch * length);
      const int end = std::min(width_, x + kBlocksAStretch * length);
      for (int at = x; at < end; at += length) {
        const int64_t from = at - x;
        const Stretch part = {all.x + all.step_x * from, all.y + all.step_y * from, all.step_x, all.step_y};
        const int count = std::min(length, width_ - at);
        Pixels(part, count, out + at);
        if (outside != nullptr) whole &= Outside(part, count, outside + at);
      }
    }
    return whole;
  }

 private:
  /// The columns of the frame that the row needs, each where the row crosses it, into the line.
  void FillLine(double x0, double y0, double x1, double slope) {
    const int last = from_.width - 1;
    first_ = static_cast<int>(std::clamp(std::floor(x0) - 2, 0.0, static_cast<double>(last)));
    last_ = static_cast<int>(std::clamp(std::floor(x1) + 3, 0.0, static_cast<double>(last)));
    const auto step = static_cast<int32_t>(ToFixed(slope));
    for (int column = first_;; column += kWarpBlock) {
      column = std::min(column, std::max(last + 1 - kWarpBlock, 0));
      InterpolateColumns(from_, column, {ToFixed(y0 + (column - x0) * slope), step}, line_ + column);
      if (column + kWarpBlock > last_) break;
    }
    for (int i = 1; i <= kLinePad; ++i) {
      line_[first_ - i] = line_[first_];
      line_[last_ + i] = line_[last_];
    }
  }

  /// Straight through the places of its first pixel and the one after its last.
  Stretch StretchAt(int x, int length) const {
    double x0, y0, x1, y1;
    motion_.Map(x, y_, &x0, &y0);
    motion_.Map(x + length, y_, &x1, &y1);
    const Place here = {ToFixed(x0), ToFixed(y0)}, next = {ToFixed(x1), ToFixed(y1)};
    return {here.x, here.y, (next.x - here.x) / length, (next.y - here.y) / length};
  }

  void Pixels(const Stretch& stretch, int count, uint8_t* out) const {
    if (phases_ == 1 && count == kWarpBlock)
      return Sample({stretch.x, static_cast<int32_t>(stretch.step_x)}, out);
    uint8_t values[kWarpBlock];
    for (int phase = 0; phase < phases_; ++phase) {
      Sample({stretch.x + stretch.step_x * phase, static_cast<int32_t>(stretch.step_x * phases_)}, values);
      for (int i = 0; phase + i * phases_ < count; ++i) out[phase + i * phases_] = values[i];
    }
  }

  bool Outside(const Stretch& stretch, int count, uint8_t* out) const {
    if (Shown(stretch, 0) && Shown(stretch, count - 1)) {
      std::memset(out, 0, static_cast<size_t>(count));
      return true;
    }
    for (int i = 0; i < count; ++i) out[i] = Shown(stretch, i) ? 0 : 255;
    return false;
  }

  void Sample(const WarpRun& places, uint8_t* values) const {
    const int64_t left = places.start >> 16;
    const int64_t right = (places.start + int64_t{places.step} * (kWarpBlock - 1)) >> 16;
    constexpr int kReach = kLinePad - 2 * kWarpBlock;  // a block reads up to two blocks beside its places
    if (left >= first_ - kReach && right >= left && right <= last_ + kReach) {
      InterpolateLine(line_, places, values);
      return;
    }
    for (int i = 0; i < kWarpBlock; ++i) {  // outside, or a motion that no hand makes
      const int nearest = line_[std::clamp<int64_t>(places.Whole(i), first_, last_)];
      values[i] = static_cast<uint8_t>(std::clamp((nearest + 9) >> 4, 0, 255));
    }
  }

  bool Shown(const Stretch& s, int i) const {
    const int64_t x = s.x + s.step_x * i, y = s.y + s.step_y * i;
    return x >= -kTolerance && x <= (shown_ - 1) * kOne + kTolerance && y >= -kTolerance &&
           y <= (from_.height - 1) * kOne + kTolerance;
  }

  PlaneView from_;
  int shown_;
  const Homography& motion_;
  int width_;
  int16_t* line_;  // at column 0
  int y_ = 0;
  int phases_ = 1;  // neighbours in `out` are this many to a pixel of the frame
  int first_ = 0, last_ = 0;
};

void WarpRow(const MutablePlane& out, const MutablePlane& outside, const WarpFinish& finish, int y,
             RowWarp* warp) {
  const auto bytes = static_cast<size_t>(out.width);
  uint8_t* row = out.Row(y);
  uint8_t* mask = outside.data != nullptr ? outside.Row(y) : nullptr;
  bool whole = false;
  if (warp->Begin(y)) {
    whole = warp->Run(row, mask);
    if (finish.tone != nullptr) {
      for (int x = 0; x < out.width; ++x) row[x] = finish.tone[row[x]];
    }
  } else {
    std::memset(row, 0, bytes);
    if (mask != nullptr) std::memset(mask, 255, bytes);
  }
  if (whole || mask == nullptr || finish.beyond.data == nullptr) return;
  const uint8_t* beyond = finish.beyond.Row(y);
  for (int x = 0; x < out.width; ++x) row[x] = mask[x] != 0 ? beyond[x] : row[x];
}

/// A plane narrower than a block, widened to one by repeating its last column.
PlaneView Widened(PlaneView from, LayerVector<uint8_t>* room) {
  room->resize(static_cast<size_t>(kWarpBlock) * from.height);
  for (int y = 0; y < from.height; ++y) {
    uint8_t* row = room->data() + static_cast<ptrdiff_t>(y) * kWarpBlock;
    std::memcpy(row, from.Row(y), static_cast<size_t>(from.width));
    std::memset(row + from.width, row[from.width - 1], static_cast<size_t>(kWarpBlock - from.width));
  }
  return {room->data(), kWarpBlock, from.height, kWarpBlock};
}

}  // namespace

Homography ForPlane(const Homography& luma_motion, PlaneGrid out, PlaneGrid from) {
  const Homography to_luma = {{out.step, 0, out.offset, 0, out.step, out.offset, 0, 0}};
  const Homography to_plane = {
      {1 / from.step, 0, -from.offset / from.step, 0, 1 / from.step, -from.offset / from.step, 0, 0}};
  return Compose(to_plane, Compose(luma_motion, to_luma));
}

bool WarpPlane(const MutablePlane& out, const MutablePlane& outside, PlaneView from, const Homography& motion,
               const WarpFinish& finish, int threads) {
  try {
    LayerVector<uint8_t> room;
    PlaneView source = from;
    if (from.width < kWarpBlock) source = Widened(from, &room);
    const size_t pitch = static_cast<size_t>(source.width) + 2 * kLinePad + kWarpBlock;
    LayerVector<int16_t> lines(pitch * kStripes);
    RunStripes(threads, kStripes, [&](int i) {
      RowWarp warp(source, from.width, motion, out.width,
                   lines.data() + pitch * static_cast<size_t>(i) + kLinePad);
      const auto edge = [&](int k) {
        return static_cast<int>(static_cast<int64_t>(out.height) * k / kStripes);
      };
      for (int y = edge(i); y < edge(i + 1); ++y) WarpRow(out, outside, finish, y, &warp);
    });
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace zolt
