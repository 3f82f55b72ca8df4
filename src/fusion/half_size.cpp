#include "fusion/half_size.h"

#include "fusion/detail_mix.h"
#include "fusion/fusion_workers.h"
#include "kernels/box_downscale.h"
#include "kernels/sobel_magnitude.h"
#include "kernels/upscale2.h"

namespace zolt {

void Down2Plane(const uint8_t* source, int rows, int columns, uint8_t* destination) {
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(rows / 2, worker);
    Box2Down(source + 2 * share.first * columns, columns, destination + share.first * (columns / 2), columns,
             static_cast<int>(2 * share.count));
  });
}

void Down2Planes(const YuvImage& source, const PlaneSet& destination) {
  Down2Plane(source.y, source.height, source.width, destination.plane[0]);
  Down2Plane(source.u, source.height / 2, source.width / 2, destination.plane[1]);
  Down2Plane(source.v, source.height / 2, source.width / 2, destination.plane[2]);
}

void Up2Plane(const uint8_t* source, int rows, int columns, uint8_t* destination) {
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(rows, worker);
    const int first = static_cast<int>(share.first);
    Upscale2Rows(source, rows, columns, destination + 4 * share.first * columns, 2 * columns, first,
                 first + static_cast<int>(share.count));
  });
}

uint64_t RestoreDetailScratchSize(int columns) {
  return kFusionWorkers * 4 * static_cast<uint64_t>(columns);  // two doubled rows and their edges
}

void RestoreDetail(const uint8_t* half, const uint8_t* original, const uint8_t* original_half, int rows,
                   int columns, uint8_t* out, const FusionPara& fusion, uint8_t* scratch) {
  const DetailGains gains = {fusion.detailMin, fusion.boostDetail, fusion.weightShift};
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(rows / 2, worker);
    const int64_t pair = 2 * int64_t{columns};
    uint8_t* doubled = scratch + 2 * pair * worker;
    uint8_t* edge = doubled + pair;
    for (int y = static_cast<int>(share.first); y < share.first + share.count; ++y) {
      Upscale2Rows(half, rows / 2, columns / 2, out + pair * y, columns, y, y + 1);
      Upscale2Rows(original_half, rows / 2, columns / 2, doubled, columns, y, y + 1);
      SobelMagnitudeRows(original, edge, columns, rows, columns, columns, 2 * y, 2 * y + 2);
      DetailAdd(out + pair * y, original + pair * y, doubled, edge, fusion.weightMap + pair * y, pair, gains);
    }
  });
}

}  // namespace zolt
