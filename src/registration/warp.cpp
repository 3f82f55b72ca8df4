#include "registration/warp.h"

#include <cstring>
#include <initializer_list>

#include "registration/mirror_border.h"
#include "registration/warp_row.h"
#include "threads/helper_threads.h"

namespace zolt {
namespace {

constexpr int32_t kThreads = 4;

/// A warp as its threads see it; only the rows that they write differ.
struct WarpJob {
  WarpGeometry geometry;
  const YuvImage* current;
  const YuvImage* aligned;
  int32_t first_row, rows;
  bool planar;
  int32_t bands;
};

/// Rows first to first + rows - 1 of the output, both even.
void WarpRows(const WarpJob& job, int32_t first, int32_t rows) {
  const int64_t pitch = job.geometry.width, x = job.geometry.first_column;
  const YuvImage &from = *job.current, &to = *job.aligned;
  for (int32_t y = first; y < first + rows; y += 2) {
    const WarpPlane luma = {from.y, to.y + y * pitch + x};
    if (job.planar) {
      const int64_t offset = y / 2 * (pitch / 2) + x / 2;
      const WarpPlane chroma[2] = {{from.u, to.u + offset}, {from.v, to.v + offset}};
      WarpRowPair(job.geometry, y, luma, chroma, 2);
    } else {
      const WarpPlane chroma = {from.u, to.u + y / 2 * pitch + x};
      WarpRowPair(job.geometry, y, luma, &chroma, 1);
    }
  }
}

int32_t WarpBand(void* argument, int32_t index) {
  const WarpJob& job = *static_cast<const WarpJob*>(argument);
  const int32_t share = job.rows / job.bands / 2 * 2;
  const int32_t first = share * index;
  WarpRows(job, job.first_row + first, index == job.bands - 1 ? job.rows - first : share);
  return 0;
}

void CopyPlanes(const YuvImage& from, const YuvImage& to) {
  const size_t luma = static_cast<size_t>(from.width) * static_cast<size_t>(from.height);
  std::memcpy(to.y, from.y, luma);
  std::memcpy(to.u, from.u, luma / 2);
}

void MirrorBorders(const YuvImage& image, const int32_t* rect) {
  MirrorBorder(image.y, image.width, image.height, {rect[0], rect[1], rect[2], rect[3]});
  const PlaneRect half = {rect[0] / 2, rect[1] / 2, rect[2] / 2, rect[3] / 2};
  for (uint8_t* plane : {image.u, image.v}) MirrorBorder(plane, image.width / 2, image.height / 2, half);
}

}  // namespace

int32_t WarpFrame(const YuvImage& current, const YuvImage& aligned, const float* homography,
                  const int32_t* motionRect, float* column_table, int32_t planeCount) {
  const int32_t groups = motionRect[2] / 8;
  for (int32_t i = 0; i < 4 * groups; ++i) column_table[i] = static_cast<float>(motionRect[0] + 2 * i);
  WarpJob job = {};
  std::memcpy(job.geometry.homography, homography, sizeof job.geometry.homography);
  job.geometry.width = current.width;
  job.geometry.height = current.height;
  job.geometry.first_column = motionRect[0];
  job.geometry.groups = groups;
  job.geometry.columns = column_table;
  job.current = &current;
  job.aligned = &aligned;
  job.first_row = motionRect[1];
  job.rows = motionRect[3];
  job.planar = planeCount == 2;
  job.bands = kThreads;
  if (!job.planar) CopyPlanes(current, aligned);
  if (RunHelperThreads(WarpBand, &job, kThreads) != 0) {
    // Some bands may have been written; all of them are written again, to the same values.
    job.bands = 1;
    WarpBand(&job, 0);
  }
  if (job.planar) MirrorBorders(aligned, motionRect);
  return 0;
}

}  // namespace zolt
