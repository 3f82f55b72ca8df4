#include "lateness.h"

namespace zolt {

void Lateness::Note(GstEvent* event, GstClockTime frame) {
  GstClockTimeDiff late;
  GstClockTime at;
  double proportion;
  gst_event_parse_qos(event, nullptr, &proportion, &late, &at);
  const std::lock_guard<std::mutex> lock(lock_);
  proportion_ = proportion;
  earliest_ = GST_CLOCK_TIME_NONE;
  // Twice what was late and a frame more: the next result has to make up for it while time goes on.
  if (GST_CLOCK_TIME_IS_VALID(at) && late > 0) earliest_ = at + 2 * static_cast<GstClockTime>(late) + frame;
}

void Lateness::Reset() {
  const std::lock_guard<std::mutex> lock(lock_);
  earliest_ = GST_CLOCK_TIME_NONE;
  proportion_ = 1;
  filtered_ = passed_ = 0;
}

bool Lateness::IsLate(GstClockTime running_time) {
  const std::lock_guard<std::mutex> lock(lock_);
  const bool late = GST_CLOCK_TIME_IS_VALID(running_time) && GST_CLOCK_TIME_IS_VALID(earliest_) &&
                    running_time <= earliest_;
  (late ? passed_ : filtered_)++;
  return late;
}

GstMessage* Lateness::Message(GstElement* element, const GstSegment& segment, GstBuffer* buffer) const {
  const GstClockTime at = GST_BUFFER_PTS(buffer);
  const GstClockTime running = gst_segment_to_running_time(&segment, GST_FORMAT_TIME, at);
  const std::lock_guard<std::mutex> lock(lock_);
  GstMessage* message = gst_message_new_qos(GST_OBJECT(element), FALSE, running,
                                            gst_segment_to_stream_time(&segment, GST_FORMAT_TIME, at), at,
                                            GST_BUFFER_DURATION(buffer));
  const bool known = GST_CLOCK_TIME_IS_VALID(earliest_);
  gst_message_set_qos_values(message, known ? GST_CLOCK_DIFF(running, earliest_) : 0, proportion_, 1000000);
  gst_message_set_qos_stats(message, GST_FORMAT_BUFFERS, filtered_, passed_);
  return message;
}

}  // namespace zolt
