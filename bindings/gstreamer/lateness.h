#pragma once

#include <gst/gst.h>

#include <cstdint>
#include <mutex>

namespace zolt {

/// What the sink says about buffers that reached it too late, and which frames are too late for filtering
/// therefore. Sinks report on threads of their own.
class Lateness {
 public:
  /// A QoS event of downstream; `frame` is a frame's duration.
  void Note(GstEvent* event, GstClockTime frame);
  void Reset();

  /// Whether a result of this running time would be shown no more. Counts.
  bool IsLate(GstClockTime running_time);
  /// Tells of the buffer that has just been found late.
  GstMessage* Message(GstElement* element, const GstSegment& segment, GstBuffer* buffer) const;

 private:
  mutable std::mutex lock_;
  GstClockTime earliest_ = GST_CLOCK_TIME_NONE;
  double proportion_ = 1;
  uint64_t filtered_ = 0, passed_ = 0;
};

}  // namespace zolt
