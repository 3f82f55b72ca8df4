#include "session/placed_frame.h"

#include <cstdlib>
#include <new>

#include "base/alloc_hooks.h"
#include "session/mf_session.h"

namespace zolt {

int32_t OpenSession(const MfConfig& config, const MfAllocHooks* hooks, MfSession** session) {
  ChooseHooks(hooks);
  void* memory = std::malloc(sizeof(MfSession));
  if (memory == nullptr) return ZOLT_MF_NO_MEMORY;
  *session = new (memory) MfSession{};
  (*session)->config = config;
  SessionOpened();
  return ZOLT_MF_OK;
}

}  // namespace zolt
