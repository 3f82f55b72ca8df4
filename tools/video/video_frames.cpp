#include "video/video_frames.h"

#include <cstring>
#include <vector>

#include "common/errors.h"
#include "media/orientation.h"

namespace zolt {
namespace {

void CopyRows(const uint8_t* from, ptrdiff_t from_stride, uint8_t* to, ptrdiff_t to_stride, int width,
              int height) {
  for (int y = 0; y < height; ++y, from += from_stride, to += to_stride)
    std::memcpy(to, from, static_cast<size_t>(width));
}

void CopyTags(const AVFrame& from, AVFrame* to) {
  if (av_frame_copy_props(to, &from) < 0) FailFile("no memory for a frame");
  if (IsFullRange(from)) to->color_range = AVCOL_RANGE_JPEG;
}

}  // namespace

zolt_burst_picture ViewOf(const AVFrame& frame) {
  zolt_burst_picture view = zolt_burst_yuv420(frame.data[0], frame.data[1], frame.data[2], frame.width,
                                              frame.height, frame.linesize[0], frame.linesize[1], 1);
  view.row_stride[2] = frame.linesize[2];
  return view;
}

FrameHandle NewFrameLike(const AVFrame& like, int width, int height) {
  FrameHandle frame = NewFrame(width, height, AV_PIX_FMT_YUV420P);
  CopyTags(like, frame.get());
  return frame;
}

FrameHandle Turned(const AVFrame& frame, int orientation) {
  YuvPicture picture(frame.width, frame.height);
  std::vector<uint8_t>* const planes[] = {&picture.y, &picture.u, &picture.v};
  for (int p = 0; p < 3; ++p) {
    const int width = p == 0 ? frame.width : picture.ChromaWidth();
    const int height = p == 0 ? frame.height : picture.ChromaHeight();
    CopyRows(frame.data[p], frame.linesize[p], planes[p]->data(), width, width, height);
  }
  picture = Turned(picture, orientation);
  FrameHandle out = NewFrameLike(frame, picture.width, picture.height);
  for (int p = 0; p < 3; ++p) {
    const int width = p == 0 ? picture.width : picture.ChromaWidth();
    const int height = p == 0 ? picture.height : picture.ChromaHeight();
    CopyRows(planes[p]->data(), width, out->data[p], out->linesize[p], width, height);
  }
  if (ExchangesSides(orientation) && frame.sample_aspect_ratio.num > 0)
    out->sample_aspect_ratio = av_inv_q(frame.sample_aspect_ratio);
  return out;
}

FrameHandle Beside(const AVFrame& before, const AVFrame& after) {
  // Chroma has a sample for two pixels: the right half begins at an even one.
  const int even = before.width & ~1;
  FrameHandle both = NewFrameLike(after, 2 * even, after.height);
  for (int p = 0; p < 3; ++p) {
    const int half = p > 0 ? 1 : 0, width = even >> half, height = (before.height + half) >> half;
    CopyRows(before.data[p], before.linesize[p], both->data[p], both->linesize[p], width, height);
    CopyRows(after.data[p], after.linesize[p], both->data[p] + width, both->linesize[p], width, height);
  }
  return both;
}

FrameHandle Scaled(const AVFrame& frame, const ScaledTo& to, ScalerHandle* scaler) {
  if (!*scaler) *scaler = ScalerFor(frame, to);
  FrameHandle out = NewFrame(frame.width, frame.height, to.format);
  CopyTags(frame, out.get());
  sws_scale(scaler->get(), frame.data, frame.linesize, 0, frame.height, out->data, out->linesize);
  return out;
}

}  // namespace zolt
