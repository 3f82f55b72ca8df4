#pragma once

#include <optional>

#include "media/ffmpeg_handles.h"

namespace zolt {

/// The layout without what the deprecated "yuvj" names say beside it: full range, which the scaler and the
/// encoders want apart.
AVPixelFormat PlainFormat(int format);

/// RGB, a palette or grey.
bool IsRgbLike(AVPixelFormat format);

/// Samples from 0 to 255 instead of video's 16 to 235.
bool IsFullRange(const AVFrame& frame);

/// The scaler's number for the frame's matrix between RGB and YUV; BT.601 if it has no tag.
int MatrixOf(const AVFrame& frame);

/// How the video is to be looked at, as one of Exif's eight; nothing if it doesn't say.
std::optional<int> OrientationOf(const AVStream& stream);

/// What a scaler makes of frames.
struct ScaledTo {
  AVPixelFormat format;
  int matrix;  ///< as MatrixOf
  bool full;
  bool dither;  ///< of what is deeper than 8 bits
};

/// FFmpeg's scaler at unchanged size for frames like this one. ToolError (file).
ScalerHandle ScalerFor(const AVFrame& frame, const ScaledTo& to);

/// A frame of its own with room for samples; no tags. ToolError (file).
FrameHandle NewFrame(int width, int height, AVPixelFormat format);

}  // namespace zolt
