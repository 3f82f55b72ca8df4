#pragma once

#include "element.h"

namespace zolt {

/// Properties of the element with their texts and ranges.
void InstallProperties(GObjectClass* type);

/// Keeps what the noise was measured to be and notifies of a change.
void TellMeasuredIso(ZoltBurstElement* self, int iso);

}  // namespace zolt
