#pragma once

#include <gst/video/video.h>

#include <cstdint>
#include <deque>

#include "zolt_burst.h"

namespace zolt {

/// The buffers that wait for their result, with the events that came between them, in the order in which they
/// leave. The stream copies what it compares, so a result is written into the very buffer that its frame came
/// in: time stamps, flags and metas stay without being copied. One thread at a time.
class FrameLine {
 public:
  FrameLine() { gst_video_info_init(&info_); }
  ~FrameLine() { Close(); }
  FrameLine(const FrameLine&) = delete;
  FrameLine& operator=(const FrameLine&) = delete;

  /// Results are ZOLT_BURST_OK or an error of the library, here and below.
  int32_t Open(const zolt_burst_stream_options& options);
  void Close();

  /// Form of the buffers that follow. Only while none waits.
  void SetInfo(const GstVideoInfo& info) { info_ = info; }
  bool has_info() const { return GST_VIDEO_INFO_FORMAT(&info_) != GST_VIDEO_FORMAT_UNKNOWN; }

  /// Both take what they are given, whatever the result.
  int32_t Append(GstBuffer* buffer);
  void Append(GstEvent* event) { waiting_.push_back(GST_MINI_OBJECT_CAST(event)); }

  /// No frame that follows shares a window with those that came.
  void End() { zolt_burst_stream_end(stream_); }
  /// Drops all that waits.
  void Drop();

  /// The event in front of the next buffer, or null. The caller's.
  GstEvent* TakeEvent();
  /// Whether the next buffer can be taken. With no event in front of it.
  bool IsReady() const { return zolt_burst_stream_ready(stream_) > 0; }
  /// Still the line's.
  GstBuffer* Next() const { return GST_BUFFER_CAST(waiting_.front()); }
  /// `*buffer` is the caller's; on an error it stays in line.
  int32_t TakeFiltered(GstBuffer** buffer, zolt_burst_report* report);
  int32_t TakeUnfiltered(GstBuffer** buffer);

 private:
  GstVideoInfo info_;
  zolt_burst_stream* stream_ = nullptr;
  std::deque<GstMiniObject*> waiting_;
};

}  // namespace zolt
