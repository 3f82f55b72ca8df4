#include "properties.h"

namespace zolt {
namespace {

enum Property { kNone, kWindow, kDelay, kMode, kIso, kTuning, kMeasuredIso, kProperties };
GParamSpec* specs[kProperties];

GType ModeType() {
  static const GEnumValue values[] = {
      {ZOLT_BURST_FAST, "Merged and filtered at the frames' own size", "fast"},
      {ZOLT_BURST_FINE, "Merged at twice the size: keeps more texture, slower, more memory", "fine"},
      {0, nullptr, nullptr}};
  static const GType type = g_enum_register_static("ZoltBurstMode", values);
  return type;
}

void Set(GObject* object, guint id, const GValue* value, GParamSpec* spec) {
  auto* self = reinterpret_cast<ZoltBurstElement*>(object);
  ElementSettings& settings = self->parts->settings;
  GST_OBJECT_LOCK(self);
  switch (id) {
    case kWindow:
      settings.window = g_value_get_int(value);
      break;
    case kDelay:
      settings.delay = g_value_get_int(value);
      break;
    case kMode:
      settings.mode = g_value_get_enum(value);
      break;
    case kIso:
      settings.iso = g_value_get_int(value);
      break;
    case kTuning: {
      const char* folder = g_value_get_string(value);
      settings.tuning = folder != nullptr ? folder : "";
      break;
    }
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
  GST_OBJECT_UNLOCK(self);
}

void Get(GObject* object, guint id, GValue* value, GParamSpec* spec) {
  auto* self = reinterpret_cast<ZoltBurstElement*>(object);
  const ElementSettings& settings = self->parts->settings;
  GST_OBJECT_LOCK(self);
  switch (id) {
    case kWindow:
      g_value_set_int(value, settings.window);
      break;
    case kDelay:
      g_value_set_int(value, settings.delay);
      break;
    case kMode:
      g_value_set_enum(value, settings.mode);
      break;
    case kIso:
      g_value_set_int(value, settings.iso);
      break;
    case kTuning:
      g_value_set_string(value, settings.tuning.empty() ? nullptr : settings.tuning.c_str());
      break;
    case kMeasuredIso:
      g_value_set_int(value, self->parts->measured_iso);
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
  GST_OBJECT_UNLOCK(self);
}

}  // namespace

void InstallProperties(GObjectClass* type) {
  type->set_property = Set;
  type->get_property = Get;
  const ElementSettings preset;
  // A stream is opened with its settings and keeps them.
  const auto set =
      static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_READY);
  const auto told = static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS);
  specs[kWindow] =
      g_param_spec_int("window", "Window", "Frames merged for one result", 2, 10, preset.window, set);
  specs[kDelay] = g_param_spec_int(
      "delay", "Delay",
      "Frames of the window that come after the frame at hand, less than window. 0: only frames of the past, "
      "for live use; -1: half the window, and a shot's first frames wait for a whole one",
      -1, 9, preset.delay, set);
  specs[kMode] = g_param_spec_enum("mode", "Mode", "How frames are merged", ModeType(), preset.mode, set);
  specs[kIso] = g_param_spec_int(
      "iso", "ISO", "Strength by the camera's ISO; 0: measured where a shot begins, then followed", 0,
      G_MAXINT, preset.iso, set);
  specs[kTuning] = g_param_spec_string(
      "tuning", "Tuning", "Folder of multiframe.xml; none: the tuning that is built in", nullptr, set);
  specs[kMeasuredIso] =
      g_param_spec_int("measured-iso", "Measured ISO",
                       "What the latest frame's noise amounts to; 0: not measured", 0, G_MAXINT, 0, told);
  g_object_class_install_properties(type, kProperties, specs);
  gst_type_mark_as_plugin_api(ModeType(), static_cast<GstPluginAPIFlags>(0));
}

void TellMeasuredIso(ZoltBurstElement* self, int iso) {
  GST_OBJECT_LOCK(self);
  const bool changed = self->parts->measured_iso != iso;
  self->parts->measured_iso = iso;
  GST_OBJECT_UNLOCK(self);
  if (changed) g_object_notify_by_pspec(G_OBJECT(self), specs[kMeasuredIso]);
}

}  // namespace zolt
