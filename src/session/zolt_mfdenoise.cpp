#include "zolt_mfdenoise.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/alloc_hooks.h"
#include "base/log.h"
#include "base/result_codes.h"
#include "config/configuration.h"
#include "config/xml_document.h"
#include "session/burst.h"
#include "session/mf_session.h"
#include "threads/worker_pool.h"

namespace zolt {
namespace {

constexpr char kTuningFile[] = "multiframe.xml";
constexpr size_t kLongestFolder = 479;

/// Process-wide and for good: a caller that delivers every other frame for another purpose keeps doing so.
bool halved_mode = false;

int32_t Refuse(const char* message, int32_t result) {
  LogError("%s", message);
  return result;
}

struct FileName {
  char text[500];
};

FileName TuningFileName(const char* folder) {
  FileName name;
  const bool usable = folder != nullptr && std::strlen(folder) <= kLongestFolder;
  std::snprintf(name.text, sizeof name.text, "%s%s", usable ? folder : "", kTuningFile);
  return name;
}

int32_t LoadTuning(MfSession* session, const char* folder) {
  const FileName file = TuningFileName(folder);
  LogInfo("LoadConfig file = %s.", file.text);
  XmlDocument document;
  if (!document.LoadConfig(file.text)) return Refuse("m_cXmlConfig.LoadConfig failed!", kLoadFailure);
  return FillConfig(&session->config, document);
}

/// True when the frame is dropped. Otherwise frame_total counts half of the frames once the mode is on, and
/// the frame that completes the half is the last whatever its tag.
bool DropFrame(FrameCall* call) {
  const MfFrameExtra* extra = call->extra;
  if (extra == nullptr || extra->eis_mode != 0 || call->total % 2 != 0) return false;
  const bool dropped = extra->frame_kind == 1;
  if (!halved_mode) {
    halved_mode = dropped;
    return dropped;
  }
  call->total /= 2;
  if (dropped) return true;
  if (extra->frame_kind == 0 && call->total - 1 == extra->frame_index / 2) call->tag = ZOLT_MF_TAG_LAST;
  return false;
}

int32_t Validate(const FrameCall& call) {
  if (call.src == nullptr || call.result == nullptr) {
    return Refuse("Input or Output Data Is Null!", kBadArgument);
  }
  if (call.width % 8 != 0 || call.height % 8 != 0 || call.width < 64 || call.height < 64) {
    return Refuse("ImageSize Not Support", kBadFrameSize);
  }
  if (call.format > ZOLT_MF_FORMAT_I420) return Refuse("Image Format Not Support", kBadArgument);
  if (call.iso < 0) return Refuse("iso_speed Not Support", kBadArgument);
  if (call.total < 2 || call.total > 10) return Refuse("frame_total Not Support", kBadArgument);
  if (call.tag < ZOLT_MF_TAG_FIRST || call.tag > ZOLT_MF_TAG_LAST) {
    return Refuse("frame_tag Error", kBadArgument);
  }
  return kOk;
}

/// No thread outlives a call, whichever way it ends: a pool whose start failed keeps the workers that it got,
/// and the stage that wanted it does not stop it.
struct PoolEnder {
  ~PoolEnder() {
    RegistrationPool().EndLeftOver();
    DenoisePool().EndLeftOver();
  }
};

void LogFrameCall(const FrameCall& call) {
  LogInfo("Tarvos EIS Version : __%s__%s__%s__%s__ ", "Lumora Video 1.2.70", __DATE__, __TIME__, __VERSION__);
  LogInfo("zolt_mfNoiseReduction, height = %d, width = %d, frame = %d/%d, format = %d, iso = %d.",
          call.height, call.width, call.tag, call.total, static_cast<int32_t>(call.format), call.iso);
  LogInfo("zolt_mfNoiseReduction, image_src = %p, image_result = %p.", static_cast<const void*>(call.src),
          static_cast<const void*>(call.result));
  if (call.extra != nullptr) {
    LogInfo("zolt_mfNoiseReduction, frame_index = %d/%d, eis_mode = %d.", call.extra->frame_index,
            call.extra->frame_kind, call.extra->eis_mode);
  }
}

}  // namespace
}  // namespace zolt

int32_t zolt_mfInitialize(MfSession** session_out, const char* path, const MfAllocHooks* hooks) {
  using namespace zolt;
  LogInfo("enter %s()", __func__);
  if (session_out == nullptr) return Refuse("Session Is Null!", kBadArgument);
  ChooseHooks(hooks);
  void* memory = std::malloc(sizeof(MfSession));
  if (memory == nullptr) return kNoMemory;
  auto* session = new (memory) MfSession{};
  LogInfo("zolt_mfInitialize, path = %s.", path != nullptr ? path : "(null)");
  const int32_t result = LoadTuning(session, path);
  if (result != kOk) {
    std::free(session);
    return result;
  }
  SessionOpened();
  *session_out = session;
  return kOk;
}

int32_t zolt_mfNoiseReduction(MfSession* session, const uint8_t* image_src, uint8_t* image_result,
                              int32_t height, int32_t width, int32_t frame_tag, int32_t frame_total,
                              uint32_t format, int32_t iso, const MfFrameExtra* extra) {
  using namespace zolt;
  const PoolEnder ender;
  LogInfo("enter %s()", __func__);
  FrameCall call = {image_src,   image_result, height, width, frame_tag,
                    frame_total, format,       iso,    extra, std::clock()};
  LogFrameCall(call);
  if (session == nullptr) return Refuse("Session Is Null!", kBadArgument);
  if (DropFrame(&call)) return kOk;
  const int32_t invalid = Validate(call);
  if (invalid != kOk) return invalid;
  return call.tag == ZOLT_MF_TAG_FIRST ? TakeFirstFrame(session, call) : TakeLaterFrame(session, call);
}

int32_t zolt_mfUnInitialize(MfSession* session) {
  using namespace zolt;
  LogInfo("enter %s()", __func__);
  if (session == nullptr) return kOk;
  if (session->arenaBlock != nullptr) CurrentHooks().free(session->arenaBlock, kDenoisePool, 0);
  std::free(session);
  SessionEnded();
  return kOk;
}
