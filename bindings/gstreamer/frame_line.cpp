#include "frame_line.h"

namespace zolt {
namespace {

/// A buffer's samples while they are looked at.
class MappedFrame {
 public:
  MappedFrame(const GstVideoInfo& info, GstBuffer* buffer, int flags)
      : mapped_(gst_video_frame_map(&frame_, const_cast<GstVideoInfo*>(&info), buffer,
                                    static_cast<GstMapFlags>(flags))) {}
  ~MappedFrame() {
    if (mapped_) gst_video_frame_unmap(&frame_);
  }
  MappedFrame(const MappedFrame&) = delete;
  MappedFrame& operator=(const MappedFrame&) = delete;

  /// Without planes, which every call refuses, where the memory can't be mapped.
  zolt_burst_picture picture() const {
    zolt_burst_picture out = {};
    out.size = sizeof out;
    if (!mapped_) return out;
    out.layout = ZOLT_BURST_YUV420;
    out.width = GST_VIDEO_FRAME_WIDTH(&frame_);
    out.height = GST_VIDEO_FRAME_HEIGHT(&frame_);
    for (int i = 0; i < 3; i++) {
      out.planes[i] = GST_VIDEO_FRAME_COMP_DATA(&frame_, i);
      out.row_stride[i] = GST_VIDEO_FRAME_COMP_STRIDE(&frame_, i);
      out.pixel_stride[i] = GST_VIDEO_FRAME_COMP_PSTRIDE(&frame_, i);
    }
    return out;
  }

 private:
  GstVideoFrame frame_;
  const bool mapped_;
};

}  // namespace

int32_t FrameLine::Open(const zolt_burst_stream_options& options) {
  Close();
  return zolt_burst_stream_open(&stream_, &options);
}

void FrameLine::Close() {
  Drop();
  zolt_burst_stream_close(stream_);
  stream_ = nullptr;
  gst_video_info_init(&info_);
}

int32_t FrameLine::Append(GstBuffer* buffer) {
  int32_t result;
  {
    const MappedFrame frame(info_, buffer, GST_MAP_READ);
    const zolt_burst_picture picture = frame.picture();
    result = zolt_burst_stream_push(stream_, &picture);
  }
  if (result == ZOLT_BURST_OK)
    waiting_.push_back(GST_MINI_OBJECT_CAST(buffer));
  else
    gst_buffer_unref(buffer);
  return result;
}

void FrameLine::Drop() {
  for (GstMiniObject* each : waiting_) gst_mini_object_unref(each);
  waiting_.clear();
  zolt_burst_stream_flush(stream_);
}

GstEvent* FrameLine::TakeEvent() {
  if (waiting_.empty() || !GST_IS_EVENT(waiting_.front())) return nullptr;
  GstEvent* event = GST_EVENT_CAST(waiting_.front());
  waiting_.pop_front();
  return event;
}

int32_t FrameLine::TakeFiltered(GstBuffer** buffer, zolt_burst_report* report) {
  // Others may look at this buffer or its memory, behind a tee for one: then it is copied here or by the map.
  GstBuffer* own = gst_buffer_make_writable(Next());
  waiting_.front() = GST_MINI_OBJECT_CAST(own);
  int32_t result;
  {
    const MappedFrame frame(info_, own, GST_MAP_READWRITE);
    const zolt_burst_picture picture = frame.picture();
    result = zolt_burst_stream_pull(stream_, &picture, report, nullptr, 0);
  }
  if (result != ZOLT_BURST_OK) return result;
  waiting_.pop_front();
  *buffer = own;
  return result;
}

int32_t FrameLine::TakeUnfiltered(GstBuffer** buffer) {
  const int32_t result = zolt_burst_stream_pull(stream_, nullptr, nullptr, nullptr, 0);
  if (result != ZOLT_BURST_OK) return result;
  *buffer = Next();
  waiting_.pop_front();
  return result;
}

}  // namespace zolt
