#pragma once

#include <cstdint>

#include "base/yuv_image.h"
#include "config/iso_selection.h"
#include "noise/nr_stage_context.h"

struct MfSession;

namespace zolt {

/// Takes one later frame through registration, ghost detection and noise reduction: `output` becomes the
/// running result of session->images[0] (the reference so far) and images[1] (the frame). 0, or a failure
/// that the log tells; the session's count of folded frames then stays.
int32_t TwoFramesDeNoise(MfSession* session, const YuvImage& output);

/// The noise reduction's parameters as far as the tuning decides them, luma and chroma both switched on. What
/// belongs to a burst or a frame is 0.
NrParameters TunedNrParameters(const IsoParameters& parameters);

/// Mean squared displacement, in pixels, of a width x height frame's four corners under the homography
/// x' = (h0 x + h1 y + h2) / (h6 x + h7 y + 1), y' = (h3 x + h4 y + h5) / (h6 x + h7 y + 1), in single
/// precision; each corner's share is rounded to an integer. The sum wraps.
int32_t CornerMotion(const float homography[9], int32_t width, int32_t height);

}  // namespace zolt
