#pragma once

#include <gst/gst.h>
#include <gst/video/video.h>

#include <atomic>
#include <string>

#include "frame_line.h"
#include "lateness.h"
#include "zolt_burst.h"

namespace zolt {

/// What the user chooses.
struct ElementSettings {
  int window = 5;
  int delay = -1;
  int mode = ZOLT_BURST_FAST;
  int iso = 0;
  std::string tuning;  ///< empty: the built-in one
};

/// What an element is beside a GStreamer object.
struct ElementParts {
  ElementSettings settings;  ///< under the object's lock, as the next three
  ElementSettings running;   ///< what the stream was opened with
  int measured_iso = 0;
  GstClockTime frame_duration = GST_CLOCK_TIME_NONE;

  FrameLine line;  ///< the streaming thread's, as the segment
  GstSegment segment;
  Lateness lateness;
  std::atomic<bool> cancelled = false;  ///< a computation that runs is of no use any more
};

}  // namespace zolt

struct ZoltBurstElement {
  GstElement element;
  GstPad* sink;
  GstPad* source;
  zolt::ElementParts* parts;
};

struct ZoltBurstElementClass {
  GstElementClass parent;
};

GType zolt_burst_element_get_type();
