#pragma once

#include <cstdint>

#include "zolt_mfdenoise.h"

namespace zolt {

/// Status of every function that can fail: 0 for success, negative for failure. The positive ones are no
/// failure of the library: 1 a bad frame size, 2 noise reduction off, 3 a frame that a stage hands back.
enum Result : int32_t {
  kOk = ZOLT_MF_OK,
  kBadFrameSize = ZOLT_MF_BAD_SIZE,
  kNoiseReductionOff = ZOLT_MF_OFF,
  kNotAligned = 3,    ///< from ImgRegistration: the frame goes on unaligned
  kTooMuchGhost = 3,  ///< from ExposureFusion: filter the accumulated image alone
  kThreadFailure = ZOLT_MF_LOAD_FAILURE,
  kLoadFailure = ZOLT_MF_LOAD_FAILURE,
  kBadArgument = ZOLT_MF_BAD_ARGUMENT,
  kNoMemory = ZOLT_MF_NO_MEMORY,
};

}  // namespace zolt
