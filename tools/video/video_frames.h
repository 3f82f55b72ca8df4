#pragma once

#include "media/ffmpeg_frame.h"
#include "zolt_burst.h"

namespace zolt {

/// A frame of 8-bit 4:2:0 as the layer sees it. The frame keeps its samples.
zolt_burst_picture ViewOf(const AVFrame& frame);

/// An empty frame of 8-bit 4:2:0 with the time stamp, the colour and all else that `like` says of itself.
FrameHandle NewFrameLike(const AVFrame& like, int width, int height);

/// Turned as one of Exif's orientations tells. For containers that can't say how a video is to be looked at.
FrameHandle Turned(const AVFrame& frame, int orientation);

/// `before` on the left, `after`, which has its size, on the right. Of an odd width the last column is left
/// out.
FrameHandle Beside(const AVFrame& before, const AVFrame& after);

/// As the scaler makes it of `frame`; `scaler` is made for the first one and kept. Tags go over.
FrameHandle Scaled(const AVFrame& frame, const ScaledTo& to, ScalerHandle* scaler);

}  // namespace zolt
