#include "streaming.h"

#include "properties.h"

namespace zolt {
namespace {

ZoltBurstElement* Self(GstObject* object) {
  return reinterpret_cast<ZoltBurstElement*>(object);
}

/// An element message with the library's own text.
GstFlowReturn Fail(ZoltBurstElement* self, int32_t result) {
  const char* text = zolt_burst_error_text(result);
  if (result == ZOLT_BURST_NO_MEMORY || result == ZOLT_BURST_MEMORY_LIMIT)
    GST_ELEMENT_ERROR(self, RESOURCE, NO_SPACE_LEFT, ("%s", text), (nullptr));
  else
    GST_ELEMENT_ERROR(self, LIBRARY, FAILED, ("%s", text), (nullptr));
  return GST_FLOW_ERROR;
}

// ---- results ----

GstFlowReturn TakeNext(ZoltBurstElement* self, GstBuffer** buffer) {
  ElementParts& parts = *self->parts;
  GstBuffer* next = parts.line.Next();
  const bool timed = parts.segment.format == GST_FORMAT_TIME;
  const GstClockTime running =
      timed ? gst_segment_to_running_time(&parts.segment, GST_FORMAT_TIME, GST_BUFFER_PTS(next))
            : GST_CLOCK_TIME_NONE;
  if (parts.lateness.IsLate(running)) {
    gst_element_post_message(&self->element, parts.lateness.Message(&self->element, parts.segment, next));
    const int32_t result = parts.line.TakeUnfiltered(buffer);
    return result == ZOLT_BURST_OK ? GST_FLOW_OK : Fail(self, result);
  }
  zolt_burst_report report;
  zolt_burst_report_init(&report);
  const int32_t result = parts.line.TakeFiltered(buffer, &report);
  if (result == ZOLT_BURST_CANCELLED) return GST_FLOW_FLUSHING;
  if (result != ZOLT_BURST_OK) return Fail(self, result);
  TellMeasuredIso(self, report.noise_measured != 0 ? report.iso : 0);
  return GST_FLOW_OK;
}

/// Sends all that is ready, with the events that came between.
GstFlowReturn PushReady(ZoltBurstElement* self) {
  for (;;) {
    while (GstEvent* event = self->parts->line.TakeEvent()) gst_pad_push_event(self->source, event);
    if (!self->parts->line.IsReady()) return GST_FLOW_OK;
    GstBuffer* buffer = nullptr;
    GstFlowReturn flow = TakeNext(self, &buffer);
    if (flow == GST_FLOW_OK) flow = gst_pad_push(self->source, buffer);
    if (flow != GST_FLOW_OK) return flow;
  }
}

/// Sends all that waits; what follows begins anew. What can't be sent any more is dropped.
GstFlowReturn Drain(ZoltBurstElement* self) {
  self->parts->line.End();
  const GstFlowReturn flow = PushReady(self);
  if (flow != GST_FLOW_OK) self->parts->line.Drop();
  return flow;
}

GstFlowReturn Chain(GstPad*, GstObject* parent, GstBuffer* buffer) {
  ZoltBurstElement* self = Self(parent);
  if (!self->parts->line.has_info()) {
    gst_buffer_unref(buffer);
    return GST_FLOW_NOT_NEGOTIATED;
  }
  if (GST_BUFFER_IS_DISCONT(buffer)) {
    const GstFlowReturn flow = Drain(self);
    if (flow != GST_FLOW_OK) {
      gst_buffer_unref(buffer);
      return flow;
    }
  }
  const int32_t result = self->parts->line.Append(buffer);
  return result == ZOLT_BURST_OK ? PushReady(self) : Fail(self, result);
}

// ---- latency ----

/// Frames that come before the result of one. Without a delay of its own a shot's first frame waits longest.
int FramesBehind(const ElementSettings& settings) {
  return settings.delay < 0 ? settings.window - 1 : settings.delay;
}

GstClockTime FrameDuration(const GstVideoInfo& info) {
  // Of a rate that varies nothing is known; cameras without one send about this many.
  constexpr int kUnknownRate = 25;
  if (GST_VIDEO_INFO_FPS_N(&info) <= 0) return GST_SECOND / kUnknownRate;
  return gst_util_uint64_scale(GST_SECOND, GST_VIDEO_INFO_FPS_D(&info), GST_VIDEO_INFO_FPS_N(&info));
}

/// Sinks ask again after that message.
void TellLatency(ZoltBurstElement* self, GstClockTime duration) {
  GST_OBJECT_LOCK(self);
  const bool changed = self->parts->frame_duration != duration;
  self->parts->frame_duration = duration;
  const bool tell = changed && FramesBehind(self->parts->running) > 0;
  GST_OBJECT_UNLOCK(self);
  if (tell) gst_element_post_message(&self->element, gst_message_new_latency(GST_OBJECT(self)));
}

bool AnswerLatency(ZoltBurstElement* self, GstQuery* query) {
  if (!gst_pad_peer_query(self->sink, query)) return false;
  gboolean live;
  GstClockTime least, most;
  gst_query_parse_latency(query, &live, &least, &most);
  GST_OBJECT_LOCK(self);
  const GstClockTime frame = self->parts->frame_duration;
  const GstClockTime own = GST_CLOCK_TIME_IS_VALID(frame)
                               ? static_cast<GstClockTime>(FramesBehind(self->parts->running)) * frame
                               : 0;
  GST_OBJECT_UNLOCK(self);
  if (GST_CLOCK_TIME_IS_VALID(most)) most += own;
  gst_query_set_latency(query, live, least + own, most);
  return true;
}

// ---- events ----

bool TakeCaps(ZoltBurstElement* self, GstEvent* event) {
  GstCaps* caps;
  gst_event_parse_caps(event, &caps);
  GstVideoInfo info;
  bool good = gst_video_info_from_caps(&info, caps);
  if (good && GST_VIDEO_INFO_IS_INTERLACED(&info)) {
    GST_ELEMENT_ERROR(self, STREAM, FORMAT, ("Interlaced video can't be filtered."),
                      ("Its fields show two moments: put an element such as deinterlace in front."));
    good = false;
  }
  if (!good) {
    gst_event_unref(event);
    return false;
  }
  Drain(self);
  self->parts->line.SetInfo(info);
  const bool sent = gst_pad_push_event(self->source, event);
  TellLatency(self, FrameDuration(info));
  return sent;
}

void Flush(ZoltBurstElement* self) {
  self->parts->line.Drop();
  self->parts->lateness.Reset();
  gst_segment_init(&self->parts->segment, GST_FORMAT_UNDEFINED);
  self->parts->cancelled = false;
}

gboolean SinkEvent(GstPad* pad, GstObject* parent, GstEvent* event) {
  ZoltBurstElement* self = Self(parent);
  switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_CAPS:
      return TakeCaps(self, event);
    case GST_EVENT_FLUSH_START:
      self->parts->cancelled = true;
      break;
    case GST_EVENT_FLUSH_STOP:
      Flush(self);
      break;
    case GST_EVENT_SEGMENT:
      Drain(self);
      gst_event_copy_segment(event, &self->parts->segment);
      break;
    case GST_EVENT_STREAM_START:
    case GST_EVENT_SEGMENT_DONE:
    case GST_EVENT_GAP:
    case GST_EVENT_EOS:
      Drain(self);
      break;
    default:
      if (!GST_EVENT_IS_SERIALIZED(event)) break;
      self->parts->line.Append(event);
      // What the flow is, the next buffer's sender learns.
      PushReady(self);
      return TRUE;
  }
  return gst_pad_event_default(pad, parent, event);
}

gboolean SourceEvent(GstPad* pad, GstObject* parent, GstEvent* event) {
  ZoltBurstElement* self = Self(parent);
  if (GST_EVENT_TYPE(event) == GST_EVENT_QOS) {
    GST_OBJECT_LOCK(self);
    const GstClockTime frame = self->parts->frame_duration;
    GST_OBJECT_UNLOCK(self);
    self->parts->lateness.Note(event, GST_CLOCK_TIME_IS_VALID(frame) ? frame : 0);
  }
  return gst_pad_event_default(pad, parent, event);
}

// ---- queries ----

/// Buffers are written in place: downstream's pools and its answers about strides are upstream's, with as
/// many buffers more as wait here.
bool AnswerAllocation(ZoltBurstElement* self, GstQuery* query) {
  if (!gst_pad_peer_query(self->source, query)) return false;
  GST_OBJECT_LOCK(self);
  const guint waiting = static_cast<guint>(self->parts->running.window);
  GST_OBJECT_UNLOCK(self);
  const guint pools = gst_query_get_n_allocation_pools(query);
  for (guint i = 0; i < pools; i++) {
    GstBufferPool* pool;
    guint size, least, most;
    gst_query_parse_nth_allocation_pool(query, i, &pool, &size, &least, &most);
    least += waiting;
    const bool enough = most == 0 || most >= least;
    gst_query_set_nth_allocation_pool(query, i, enough ? pool : nullptr, size, least, enough ? most : 0);
    if (pool != nullptr) gst_object_unref(pool);
  }
  GstCaps* caps;
  gst_query_parse_allocation(query, &caps, nullptr);
  GstVideoInfo info;
  if (pools == 0 && caps != nullptr && gst_video_info_from_caps(&info, caps))
    gst_query_add_allocation_pool(query, nullptr, static_cast<guint>(GST_VIDEO_INFO_SIZE(&info)), waiting, 0);
  return true;
}

gboolean SinkQuery(GstPad* pad, GstObject* parent, GstQuery* query) {
  ZoltBurstElement* self = Self(parent);
  if (GST_QUERY_TYPE(query) == GST_QUERY_ALLOCATION) return AnswerAllocation(self, query);
  // Upstream wants its buffers back.
  if (GST_QUERY_TYPE(query) == GST_QUERY_DRAIN) Drain(self);
  return gst_pad_query_default(pad, parent, query);
}

gboolean SourceQuery(GstPad* pad, GstObject* parent, GstQuery* query) {
  if (GST_QUERY_TYPE(query) == GST_QUERY_LATENCY) return AnswerLatency(Self(parent), query);
  return gst_pad_query_default(pad, parent, query);
}

int IsCancelled(void* parts, double) {
  return static_cast<ElementParts*>(parts)->cancelled ? 1 : 0;
}

GstPad* AddPad(ZoltBurstElement* self, const char* name) {
  GstPad* pad =
      gst_pad_new_from_template(gst_element_class_get_pad_template(GST_ELEMENT_GET_CLASS(self), name), name);
  GST_PAD_SET_PROXY_CAPS(pad);
  gst_element_add_pad(&self->element, pad);
  return pad;
}

}  // namespace

void AddPads(ZoltBurstElement* self) {
  self->sink = AddPad(self, "sink");
  gst_pad_set_chain_function(self->sink, Chain);
  gst_pad_set_event_function(self->sink, SinkEvent);
  gst_pad_set_query_function(self->sink, SinkQuery);
  self->source = AddPad(self, "src");
  gst_pad_set_event_function(self->source, SourceEvent);
  gst_pad_set_query_function(self->source, SourceQuery);
}

bool StartStreaming(ZoltBurstElement* self) {
  ElementParts& parts = *self->parts;
  GST_OBJECT_LOCK(self);
  parts.running = parts.settings;
  parts.frame_duration = GST_CLOCK_TIME_NONE;
  const ElementSettings chosen = parts.running;
  GST_OBJECT_UNLOCK(self);
  zolt_burst_stream_options options;
  zolt_burst_stream_options_init(&options);
  options.window = chosen.window;
  options.delay = chosen.delay;
  options.burst.mode = chosen.mode;
  options.burst.iso = chosen.iso;
  if (!chosen.tuning.empty()) options.burst.tuning_folder = chosen.tuning.c_str();
  options.burst.progress = IsCancelled;
  options.burst.progress_user = &parts;
  Flush(self);
  const int32_t result = parts.line.Open(options);
  if (result == ZOLT_BURST_OK) return true;
  GST_ELEMENT_ERROR(self, LIBRARY, SETTINGS, ("%s", zolt_burst_error_text(result)),
                    ("window %d, delay %d, iso %d, tuning \"%s\"; delay must be less than window",
                     chosen.window, chosen.delay, chosen.iso, chosen.tuning.c_str()));
  return false;
}

void StopStreaming(ZoltBurstElement* self) {
  self->parts->line.Close();
  TellMeasuredIso(self, 0);
}

}  // namespace zolt
