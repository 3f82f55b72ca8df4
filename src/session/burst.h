#pragma once

#include <cstdint>

#include "session/mf_session.h"

namespace zolt {

/// Starts a burst with a validated frame: takes the block, selects the parameters for the frame's ISO and
/// stores the frame as reference. A block still held by an earlier burst is forgotten, not freed. 0, or -1000
/// with no burst running.
int32_t TakeFirstFrame(MfSession* session, const FrameCall& call);

/// Takes a validated later frame; the last one finishes the result in the caller's layout and frees the
/// block. A frame that fails loses the burst: the result becomes the first frame, its code is stored and
/// given to every further frame, and the last of these becomes the result itself.
int32_t TakeLaterFrame(MfSession* session, const FrameCall& call);

}  // namespace zolt
