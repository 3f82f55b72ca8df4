#include "burst/alignment/pyramid.h"

#include <algorithm>
#include <cstring>

#include "burst/alignment/alignment_stripes.h"
#include "burst/memory/layer_vector.h"

namespace zolt {
namespace {

constexpr int kStripes = 16;

/// Rows first..end of stripe i of kStripes.
struct Stripe {
  Stripe(int i, int height)
      : first(static_cast<int>(static_cast<int64_t>(height) * i / kStripes)),
        end(static_cast<int>(static_cast<int64_t>(height) * (i + 1) / kStripes)) {}
  int first, end;
};

void Widen(PlaneView from, int threads, GreyPlane* to) {
  to->Resize(from.width, from.height);
  RunStripes(threads, kStripes, [&](int i) {
    const Stripe stripe(i, to->height);
    for (int y = stripe.first; y < stripe.end; ++y) {
      const uint8_t* __restrict in = from.Row(y);
      int16_t* __restrict out = to->Row(y);
      for (int x = 0; x < to->width; ++x) out[x] = static_cast<int16_t>(in[x] << 5);
    }
  });
}

/// Sums of 2 x 2 pixels, at most 1020, as Q5: 8 times the sum.
void HalveBytes(PlaneView from, int threads, GreyPlane* to) {
  to->Resize(from.width / 2, from.height / 2);
  RunStripes(threads, kStripes, [&](int i) {
    const Stripe stripe(i, to->height);
    for (int y = stripe.first; y < stripe.end; ++y) {
      const uint8_t* __restrict upper = from.Row(2 * y);
      const uint8_t* __restrict lower = from.Row(2 * y + 1);
      int16_t* __restrict out = to->Row(y);
      for (int x = 0; x < to->width; ++x) {
        const int sum = upper[2 * x] + upper[2 * x + 1] + lower[2 * x] + lower[2 * x + 1];
        out[x] = static_cast<int16_t>(sum * 8);
      }
    }
  });
}

/// Taps 1 3 3 1 down the columns, (a + 3 b + 3 c + d + 4) >> 3: at most 65284 before the shift, 16 bits.
void Binomial4Rows(const int16_t* __restrict a, const int16_t* __restrict b, const int16_t* __restrict c,
                   const int16_t* __restrict d, int16_t* __restrict out, int n) {
  for (int x = 0; x < n; ++x) {
    const auto outer = static_cast<uint16_t>(a[x] + d[x]);
    const auto inner = static_cast<uint16_t>(b[x] + c[x]);
    out[x] = static_cast<int16_t>(static_cast<uint16_t>(outer + 3 * inner + 4) >> 3);
  }
}

void Halve(const GreyPlane& from, int threads, GreyPlane* to) {
  to->Resize(from.width / 2, from.height / 2);
  const int pitch = from.width + 2;
  LayerVector<int16_t> scratch(static_cast<size_t>(pitch) * kStripes);
  RunStripes(threads, kStripes, [&](int i) {
    const Stripe stripe(i, to->height);
    int16_t* __restrict line = scratch.data() + static_cast<ptrdiff_t>(pitch) * i + 1;
    const int last = from.height - 1;
    for (int y = stripe.first; y < stripe.end; ++y) {
      Binomial4Rows(from.Row(std::max(2 * y - 1, 0)), from.Row(2 * y), from.Row(2 * y + 1),
                    from.Row(std::min(2 * y + 2, last)), line, from.width);
      line[-1] = line[0];
      line[from.width] = line[from.width - 1];
      int16_t* __restrict out = to->Row(y);
      for (int x = 0; x < to->width; ++x) {
        const auto outer = static_cast<uint16_t>(line[2 * x - 1] + line[2 * x + 2]);
        const auto inner = static_cast<uint16_t>(line[2 * x] + line[2 * x + 1]);
        out[x] = static_cast<int16_t>(static_cast<uint16_t>(outer + 3 * inner + 4) >> 3);
      }
    }
  });
}

/// Taps 1 4 6 4 1 over 16 as 1 2 1 over 4 twice: at most 32642 before a shift.
void Binomial5Line(int16_t* __restrict line, int16_t* __restrict between, int n) {
  const auto pass = [n](const int16_t* __restrict in, int16_t* __restrict out) {
    for (int x = 1; x < n - 1; ++x)
      out[x] = static_cast<int16_t>((in[x - 1] + 2 * in[x] + in[x + 1] + 2) >> 2);
    out[0] = static_cast<int16_t>((3 * in[0] + in[1] + 2) >> 2);
    out[n - 1] = static_cast<int16_t>((3 * in[n - 1] + in[n - 2] + 2) >> 2);
  };
  pass(line, between);
  pass(between, line);
}

void Binomial5Rows(const int16_t* const rows[5], int16_t* __restrict out, int n) {
  const int16_t* __restrict a = rows[0];
  const int16_t* __restrict b = rows[1];
  const int16_t* __restrict c = rows[2];
  const int16_t* __restrict d = rows[3];
  const int16_t* __restrict e = rows[4];
  for (int x = 0; x < n; ++x) {
    // Over 4 in two steps, so that 16 bits hold every sum: at most 32642.
    const auto outer = static_cast<int16_t>((a[x] + e[x] + 2) >> 2);
    const auto middle = static_cast<int16_t>((3 * c[x] + 1) >> 1);
    out[x] = static_cast<int16_t>((outer + b[x] + d[x] + middle + 2) >> 2);
  }
}

void Smooth(const GreyPlane& from, int threads, GreyPlane* to) {
  to->Resize(from.width, from.height);
  LayerVector<int16_t> scratch(static_cast<size_t>(from.width) * kStripes);
  RunStripes(threads, kStripes, [&](int i) {
    const Stripe stripe(i, to->height);
    int16_t* between = scratch.data() + static_cast<ptrdiff_t>(from.width) * i;
    for (int y = stripe.first; y < stripe.end; ++y) {
      const int16_t* rows[5];
      for (int k = 0; k < 5; ++k) rows[k] = from.Row(std::clamp(y + k - 2, 0, from.height - 1));
      Binomial5Rows(rows, to->Row(y), to->width);
      Binomial5Line(to->Row(y), between, to->width);
    }
  });
}

int FinestLevel(PlaneView picture, int64_t full_size_pixels) {
  int k = 0;
  const auto most = [&] { return k == 0 ? full_size_pixels : Pyramid::kFinestPixels; };
  while (static_cast<int64_t>(picture.width >> k) * (picture.height >> k) > most() &&
         std::min(picture.width, picture.height) >> (k + 1) >= Pyramid::kLeastSide) {
    ++k;
  }
  return k;
}

int CoarsestLevel(PlaneView picture, int finest) {
  int k = finest;
  while (std::max(picture.width, picture.height) >> k > Pyramid::kCoarsestSide &&
         std::min(picture.width, picture.height) >> (k + 1) >= Pyramid::kLeastSide) {
    ++k;
  }
  return k;
}

}  // namespace

void GreyPlane::RepeatEdges() {
  for (int y = 0; y < height; ++y) {
    int16_t* row = Row(y);
    for (int i = 1; i <= kPad; ++i) {
      row[-i] = row[0];
      row[width - 1 + i] = row[width - 1];
    }
  }
  const size_t bytes = static_cast<size_t>(pitch) * sizeof(int16_t);
  for (int i = 1; i <= kPad; ++i) {
    std::memcpy(Row(-i) - kPad, Row(0) - kPad, bytes);
    std::memcpy(Row(height - 1 + i) - kPad, Row(height - 1) - kPad, bytes);
  }
}

void Pyramid::Build(PlaneView picture, int threads, int64_t full_size_pixels) {
  finest_ = FinestLevel(picture, full_size_pixels);
  coarsest_ = CoarsestLevel(picture, finest_);
  levels_.resize(static_cast<size_t>(coarsest_ - finest_) + 1);
  GreyPlane plane, half;
  if (finest_ == 0) {
    Widen(picture, threads, &plane);
  } else {
    HalveBytes(picture, threads, &plane);
  }
  for (int k = finest_ == 0 ? 0 : 1; k <= coarsest_; ++k) {
    if (k >= finest_) {
      Smooth(plane, threads, &levels_[k - finest_]);
      levels_[k - finest_].RepeatEdges();
    }
    if (k == coarsest_) break;
    Halve(plane, threads, &half);
    std::swap(plane, half);
  }
}

}  // namespace zolt
