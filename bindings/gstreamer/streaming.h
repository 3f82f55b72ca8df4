#pragma once

#include "element.h"

namespace zolt {

/// Makes both pads, of the class's templates, and adds them.
void AddPads(ZoltBurstElement* self);

/// Opens the stream with the settings of now. False: an error message was posted.
bool StartStreaming(ZoltBurstElement* self);
/// No thread is inside the pads any more.
void StopStreaming(ZoltBurstElement* self);

}  // namespace zolt
