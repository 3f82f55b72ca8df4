// The plugin and its one element, zoltburst.
#include "element.h"
#include "properties.h"
#include "streaming.h"

#define ZOLT_CAPS                                                                                 \
  "video/x-raw, format=(string){I420, NV12, NV21}, width=(int)[16, max], height=(int)[16, max], " \
  "framerate=(fraction)[0, max]"

G_DEFINE_TYPE(ZoltBurstElement, zolt_burst_element, GST_TYPE_ELEMENT)

namespace {

GstStaticPadTemplate sink_template =
    GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS(ZOLT_CAPS));
GstStaticPadTemplate source_template =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS(ZOLT_CAPS));

GstStateChangeReturn ChangeState(GstElement* element, GstStateChange change) {
  auto* self = reinterpret_cast<ZoltBurstElement*>(element);
  if (change == GST_STATE_CHANGE_READY_TO_PAUSED && !zolt::StartStreaming(self))
    return GST_STATE_CHANGE_FAILURE;
  // The pads wait for their thread, which may be in the middle of a frame.
  if (change == GST_STATE_CHANGE_PAUSED_TO_READY) self->parts->cancelled = true;
  const GstStateChangeReturn result =
      GST_ELEMENT_CLASS(zolt_burst_element_parent_class)->change_state(element, change);
  if (change == GST_STATE_CHANGE_PAUSED_TO_READY) zolt::StopStreaming(self);
  return result;
}

void Finalize(GObject* object) {
  delete reinterpret_cast<ZoltBurstElement*>(object)->parts;
  G_OBJECT_CLASS(zolt_burst_element_parent_class)->finalize(object);
}

gboolean Register(GstPlugin* plugin) {
  return gst_element_register(plugin, "zoltburst", GST_RANK_NONE, zolt_burst_element_get_type());
}

}  // namespace

static void zolt_burst_element_class_init(ZoltBurstElementClass* type) {
  G_OBJECT_CLASS(type)->finalize = Finalize;
  GST_ELEMENT_CLASS(type)->change_state = ChangeState;
  zolt::InstallProperties(G_OBJECT_CLASS(type));
  gst_element_class_add_static_pad_template(GST_ELEMENT_CLASS(type), &sink_template);
  gst_element_class_add_static_pad_template(GST_ELEMENT_CLASS(type), &source_template);
  gst_element_class_set_static_metadata(
      GST_ELEMENT_CLASS(type), "Burst denoiser", "Filter/Effect/Video",
      "Cleans every frame with its neighbours: aligned, without what moved, merged and filtered",
      "zolt_mfdenoise's developers");
}

static void zolt_burst_element_init(ZoltBurstElement* self) {
  self->parts = new zolt::ElementParts;
  zolt::AddPads(self);
}

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, zoltburst, "Denoising of video by bursts", Register,
                  ZOLT_VERSION, "Apache 2.0", "zolt_mfdenoise", "https://localhost/zolt")
