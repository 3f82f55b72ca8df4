#include "fusion/half_size.h"

#include "fusion/detail_mix.h"
#include "fusion/fusion_workers.h"
#include "kernels/box_downscale.h"
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
    Upscale2Rows(source, rows, columns, destination, 2 * columns, first,
                 first + static_cast<int>(share.count));
  });
}

void LostDetail(const uint8_t* plane, const uint8_t* doubled, int16_t* detail, int64_t count) {
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(count, worker);
    DiffPlane(plane + share.first, doubled + share.first, detail + share.first, share.count);
  });
}

void RestoreDetail(uint8_t* plane, const int16_t* detail, const uint8_t* edge, int64_t count,
                   const FusionPara& fusion) {
  const DetailGains gains = {fusion.detailMin, fusion.boostDetail, fusion.weightShift};
  OnFusionWorkers([&](int worker) {
    const Share share = FusionShare(count, worker);
    DetailAdd(plane + share.first, detail + share.first, edge + share.first, fusion.weightMap + share.first,
              share.count, gains);
  });
}

}  // namespace zolt
