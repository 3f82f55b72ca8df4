#include <gst/check/gstharness.h>
#include <gst/video/video.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "zolt_burst.h"

namespace {

constexpr int kWidth = 82, kHeight = 66;
constexpr GstClockTime kFrame = GST_SECOND / 25;

std::string Caps(const char* format, int width = kWidth) {
  return "video/x-raw,format=" + std::string(format) + ",width=" + std::to_string(width) +
         ",height=" + std::to_string(kHeight) + ",framerate=25/1";
}

/// A still, shaded scene with noise; strides as GStreamer has them by default, wider than the odd rows.
GstBuffer* NoisyBuffer(const std::string& caps, int index) {
  GstCaps* parsed = gst_caps_from_string(caps.c_str());
  GstVideoInfo info;
  EXPECT_TRUE(gst_video_info_from_caps(&info, parsed));
  gst_caps_unref(parsed);
  std::vector<uint8_t> bytes(info.size);
  std::mt19937 random(static_cast<uint32_t>(index) + 1);
  for (size_t i = 0; i < bytes.size(); i++)
    bytes[i] = static_cast<uint8_t>(60 + (i / 24 % 5) * 25 + random() % 24);
  GstBuffer* buffer = gst_buffer_new_memdup(bytes.data(), bytes.size());
  GST_BUFFER_PTS(buffer) = static_cast<GstClockTime>(index) * kFrame;
  GST_BUFFER_DURATION(buffer) = kFrame;
  GST_BUFFER_OFFSET(buffer) = static_cast<guint64>(index);
  if (index % 3 == 1) GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_MARKER);
  return buffer;
}

std::vector<uint8_t> BytesOf(GstBuffer* buffer) {
  std::vector<uint8_t> out(gst_buffer_get_size(buffer));
  gst_buffer_extract(buffer, 0, out.data(), out.size());
  return out;
}

class Element {
 public:
  explicit Element(const std::string& launch, const std::string& caps = Caps("I420"))
      : harness_(gst_harness_new_parse(launch.c_str())), caps_(caps) {
    gst_harness_set_src_caps_str(harness_, caps.c_str());
  }
  ~Element() { gst_harness_teardown(harness_); }
  GstHarness* get() { return harness_; }
  void Push(int index, guint flags = 0) {
    GstBuffer* buffer = NoisyBuffer(caps_, index);
    GST_BUFFER_FLAG_SET(buffer, flags);
    EXPECT_EQ(GST_FLOW_OK, gst_harness_push(harness_, buffer));
  }
  void ChangeCaps(const std::string& caps) { gst_harness_set_src_caps_str(harness_, (caps_ = caps).c_str()); }
  /// The next `count` results have the stamps of the frames from `first`.
  void Expect(int first, int count) {
    EXPECT_EQ(count, static_cast<int>(gst_harness_buffers_in_queue(harness_)));
    for (int i = first; i < first + count; i++) {
      GstBuffer* buffer = gst_harness_try_pull(harness_);
      ASSERT_NE(nullptr, buffer);
      EXPECT_EQ(static_cast<GstClockTime>(i) * kFrame, GST_BUFFER_PTS(buffer));
      EXPECT_EQ(kFrame, GST_BUFFER_DURATION(buffer));
      EXPECT_EQ(static_cast<guint64>(i), GST_BUFFER_OFFSET(buffer));
      EXPECT_EQ(i % 3 == 1, GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_MARKER) != 0);
      gst_buffer_unref(buffer);
    }
  }

 private:
  GstHarness* harness_;
  std::string caps_;
};

TEST(ZoltBurstElement, BytesAreTheStreams) {
  for (const char* format : {"I420", "NV12", "NV21"}) {
    const std::string caps = Caps(format);
    Element element("zoltburst window=3 delay=1", caps);
    zolt_burst_stream_options options;
    zolt_burst_stream_options_init(&options);
    options.window = 3;
    options.delay = 1;
    zolt_burst_stream* stream;
    ASSERT_EQ(ZOLT_BURST_OK, zolt_burst_stream_open(&stream, &options));
    GstVideoInfo info;
    gst_video_info_set_format(&info, gst_video_format_from_string(format), kWidth, kHeight);
    auto view = [&](std::vector<uint8_t>& bytes) {
      const uint8_t* at[3];
      for (int i = 0; i < 3; i++) at[i] = bytes.data() + GST_VIDEO_INFO_COMP_OFFSET(&info, i);
      return zolt_burst_yuv420(at[0], at[1], at[2], kWidth, kHeight, info.stride[0], info.stride[1],
                               GST_VIDEO_INFO_COMP_PSTRIDE(&info, 1));
    };
    for (int i = 0; i < 5; i++) {
      element.Push(i);
      GstBuffer* buffer = NoisyBuffer(caps, i);
      std::vector<uint8_t> bytes = BytesOf(buffer);
      gst_buffer_unref(buffer);
      const zolt_burst_picture picture = view(bytes);
      ASSERT_EQ(ZOLT_BURST_OK, zolt_burst_stream_push(stream, &picture));
    }
    gst_harness_push_event(element.get(), gst_event_new_eos());
    zolt_burst_stream_end(stream);
    for (int i = 0; i < 5; i++) {
      GstBuffer* input = NoisyBuffer(caps, i);
      std::vector<uint8_t> expected = BytesOf(input), raw = expected;
      gst_buffer_unref(input);
      const zolt_burst_picture picture = view(expected);
      ASSERT_EQ(ZOLT_BURST_OK, zolt_burst_stream_pull(stream, &picture, nullptr, nullptr, 0));
      GstBuffer* result = gst_harness_try_pull(element.get());
      ASSERT_NE(nullptr, result) << format << i;
      EXPECT_EQ(expected, BytesOf(result)) << format << i;
      EXPECT_NE(raw, expected);
      gst_buffer_unref(result);
    }
    zolt_burst_stream_close(stream);
  }
}

TEST(ZoltBurstElement, AllFramesComeOutInOrderWithTheirStamps) {
  Element element("zoltburst window=4 delay=2");
  for (int i = 0; i < 6; i++) element.Push(i);
  element.Expect(0, 4);
  element.Push(6, GST_BUFFER_FLAG_DISCONT);  // what waited comes first, before the window begins anew
  element.Expect(4, 2);
  element.ChangeCaps(Caps("NV12", 100));
  element.Expect(6, 1);
  element.Push(7);
  gst_harness_push_event(element.get(), gst_event_new_flush_start());
  gst_harness_push_event(element.get(), gst_event_new_flush_stop(TRUE));
  element.Expect(8, 0);  // dropped
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_TIME);
  gst_harness_push_event(element.get(), gst_event_new_segment(&segment));
  element.Push(8);
  gst_harness_push_event(element.get(), gst_event_new_eos());  // part of a window
  element.Expect(8, 1);
}

TEST(ZoltBurstElement, LatencyIsTheFramesThatFollow) {
  for (const auto& [launch, frames] :
       {std::pair{"zoltburst window=5 delay=0", 0}, {"zoltburst delay=3", 3}, {"zoltburst window=6", 5}}) {
    Element element(launch);
    element.Push(0);
    gst_harness_set_upstream_latency(element.get(), GST_SECOND);
    EXPECT_EQ(GST_SECOND + static_cast<GstClockTime>(frames) * kFrame,
              gst_harness_query_latency(element.get()));
  }
}

TEST(ZoltBurstElement, LateFramesPassUnfilteredAndAreTold) {
  Element element("zoltburst window=3 delay=0");
  GstBus* bus = gst_bus_new();
  gst_element_set_bus(element.get()->element, bus);
  gst_harness_push_upstream_event(element.get(), gst_event_new_qos(GST_QOS_TYPE_UNDERFLOW, 1.5, kFrame, 0));
  for (int i = 2; i < 5; i++) {
    element.Push(i);
    GstBuffer *given = NoisyBuffer(Caps("I420"), i), *got = gst_harness_try_pull(element.get());
    ASSERT_NE(nullptr, got);
    EXPECT_EQ(i <= 3, BytesOf(given) == BytesOf(got)) << i;  // twice the lateness and a frame: up to frame 3
    gst_buffer_unref(given);
    gst_buffer_unref(got);
  }
  int told = 0;
  while (GstMessage* message = gst_bus_pop_filtered(bus, GST_MESSAGE_QOS)) {
    told++;
    gst_message_unref(message);
  }
  EXPECT_EQ(2, told);
  gint iso = 0;
  gst_harness_get(element.get(), "zoltburst", "measured-iso", &iso, nullptr);
  EXPECT_GT(iso, 0);
  gst_element_set_bus(element.get()->element, nullptr);
  gst_object_unref(bus);
}

/// The same frame with rows further apart, as decoders and cameras hand them out.
GstBuffer* Padded(GstBuffer* plain) {
  GstVideoInfo info;
  gst_video_info_set_format(&info, GST_VIDEO_FORMAT_I420, kWidth, kHeight);
  GstVideoInfo wide = info;
  GstVideoAlignment around;
  gst_video_alignment_reset(&around);
  around.padding_left = 32, around.padding_right = 64, around.padding_top = 4, around.padding_bottom = 2;
  gst_video_info_align(&wide, &around);
  GstBuffer* buffer = gst_buffer_new_allocate(nullptr, wide.size, nullptr);
  gst_buffer_add_video_meta_full(buffer, GST_VIDEO_FRAME_FLAG_NONE, GST_VIDEO_FORMAT_I420, kWidth, kHeight, 3,
                                 wide.offset, wide.stride);
  GstVideoFrame from, to;
  EXPECT_TRUE(gst_video_frame_map(&from, &info, plain, GST_MAP_READ));
  EXPECT_TRUE(gst_video_frame_map(&to, &info, buffer, GST_MAP_WRITE));
  gst_video_frame_copy(&to, &from);
  gst_video_frame_unmap(&from);
  gst_video_frame_unmap(&to);
  gst_buffer_unref(plain);
  return buffer;
}

std::vector<uint8_t> PixelsOf(GstBuffer* buffer) {
  GstVideoInfo info;
  gst_video_info_set_format(&info, GST_VIDEO_FORMAT_I420, kWidth, kHeight);
  GstVideoFrame frame;
  EXPECT_TRUE(gst_video_frame_map(&frame, &info, buffer, GST_MAP_READ));
  std::vector<uint8_t> out;
  for (guint c = 0; c < 3; c++) {
    for (int y = 0; y < GST_VIDEO_FRAME_COMP_HEIGHT(&frame, c); y++) {
      const auto* row = static_cast<uint8_t*>(GST_VIDEO_FRAME_COMP_DATA(&frame, c)) +
                        ptrdiff_t{y} * GST_VIDEO_FRAME_COMP_STRIDE(&frame, c);
      out.insert(out.end(), row, row + GST_VIDEO_FRAME_COMP_WIDTH(&frame, c));
    }
  }
  gst_video_frame_unmap(&frame);
  return out;
}

TEST(ZoltBurstElement, StridesChangeNothingAndSharedBuffersStayAsTheyAre) {
  Element plain("zoltburst window=3 delay=1 mode=fine"), padded("zoltburst window=3 delay=1 mode=fine");
  std::vector<GstBuffer*> shared;  // as behind a tee
  for (int i = 0; i < 4; i++) {
    plain.Push(i);
    shared.push_back(Padded(NoisyBuffer(Caps("I420"), i)));
    EXPECT_EQ(GST_FLOW_OK, gst_harness_push(padded.get(), gst_buffer_ref(shared.back())));
  }
  for (Element* element : {&plain, &padded}) gst_harness_push_event(element->get(), gst_event_new_eos());
  for (int i = 0; i < 4; i++) {
    GstBuffer *a = gst_harness_try_pull(plain.get()), *b = gst_harness_try_pull(padded.get());
    GstBuffer* given = NoisyBuffer(Caps("I420"), i);
    ASSERT_TRUE(a != nullptr && b != nullptr);
    EXPECT_TRUE(PixelsOf(a) == PixelsOf(b)) << i;
    EXPECT_TRUE(PixelsOf(shared[static_cast<size_t>(i)]) == PixelsOf(given)) << i;
    for (GstBuffer* buffer : {a, b, given, shared[static_cast<size_t>(i)]}) gst_buffer_unref(buffer);
  }
}

TEST(ZoltBurstElement, ASeekDropsWhatWaited) {
  GstElement* pipeline = gst_parse_launch(
      "videotestsrc num-buffers=500 ! video/x-raw,format=NV12,width=64,height=48,framerate=25/1 ! "
      "zoltburst window=5 ! fakesink name=sink sync=true",
      nullptr);
  GstBus* bus = gst_element_get_bus(pipeline);
  GstElement* sink = gst_bin_get_by_name(GST_BIN(pipeline), "sink");
  gst_element_set_state(pipeline, GST_STATE_PAUSED);
  ASSERT_EQ(GST_STATE_CHANGE_SUCCESS, gst_element_get_state(pipeline, nullptr, nullptr, 20 * GST_SECOND));
  GstClockTime first = GST_CLOCK_TIME_NONE;
  GstPad* pad = gst_element_get_static_pad(sink, "sink");
  const auto keep_first = [](GstPad*, GstPadProbeInfo* info, gpointer to) -> GstPadProbeReturn {
    auto* stamp = static_cast<GstClockTime*>(to);
    if (*stamp == GST_CLOCK_TIME_NONE) *stamp = GST_BUFFER_PTS(GST_PAD_PROBE_INFO_BUFFER(info));
    return GST_PAD_PROBE_OK;
  };
  const GstClockTime from = 80 * kFrame, until = 90 * kFrame;
  gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, keep_first, &first, nullptr);
  EXPECT_TRUE(gst_element_seek(pipeline, 1, GST_FORMAT_TIME, GST_SEEK_FLAG_FLUSH, GST_SEEK_TYPE_SET,
                               static_cast<gint64>(from), GST_SEEK_TYPE_SET, static_cast<gint64>(until)));
  gst_element_set_state(pipeline, GST_STATE_PLAYING);
  GstMessage* message = gst_bus_timed_pop_filtered(
      bus, 20 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_ERROR | GST_MESSAGE_EOS));
  ASSERT_NE(nullptr, message);
  EXPECT_EQ(GST_MESSAGE_EOS, GST_MESSAGE_TYPE(message));
  EXPECT_EQ(from, first);
  gst_message_unref(message);
  gst_element_set_state(pipeline, GST_STATE_NULL);
  for (gpointer object : {static_cast<gpointer>(pad), static_cast<gpointer>(sink), static_cast<gpointer>(bus),
                          static_cast<gpointer>(pipeline)})
    gst_object_unref(object);
}

TEST(ZoltBurstElement, RefusesInterlacedVideoAndWrongSettingsByAMessage) {
  for (const char* launch : {"videotestsrc num-buffers=2 ! "
                             "video/x-raw,format=I420,interlace-mode=interleaved ! zoltburst ! fakesink",
                             "videotestsrc ! zoltburst window=2 delay=5 ! fakesink",
                             "videotestsrc ! zoltburst tuning=/none ! fakesink"}) {
    GstElement* pipeline = gst_parse_launch(launch, nullptr);
    GstBus* bus = gst_element_get_bus(pipeline);
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    GstMessage* message = gst_bus_timed_pop_filtered(
        bus, 20 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_ERROR | GST_MESSAGE_EOS));
    ASSERT_NE(nullptr, message);
    EXPECT_EQ(GST_MESSAGE_ERROR, GST_MESSAGE_TYPE(message)) << launch;
    EXPECT_TRUE(g_str_has_prefix(GST_OBJECT_NAME(GST_MESSAGE_SRC(message)), "zoltburst")) << launch;
    gst_message_unref(message);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(bus);
    gst_object_unref(pipeline);
  }
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  gst_init(&argc, &argv);
  const int result = RUN_ALL_TESTS();
  gst_deinit();  // the leaks tracer reports here
  return result;
}
