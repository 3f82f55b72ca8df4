#pragma once

#include <cstddef>
#include <cstdint>

#include "base/yuv_image.h"
#include "zolt_mfdenoise.h"

namespace zolt {

struct MatchSet;

/// What ImgRegistration is asked to do with one frame.
struct RegistrationInput {
  uint8_t isFirstFrame;  ///< nonzero: find and store the reference's features; zero: reuse the stored ones
  uint8_t flagB;   ///< nonzero: remap the frame's luma first so that its histogram matches the reference's
  uint8_t flagC;   ///< nonzero: measure the two brightness levels on an isFirstFrame call
  uint8_t doWarp;  ///< zero: stop after the motion rectangle
  uint8_t flagE;   ///< nonzero: the homography maps the other way
  int32_t iso;     ///< selects detection threshold and match ratio
  int32_t planeCount;  ///< 2: separate chroma planes; any other value: one interleaved plane at `u`
  YuvImage reference;
  YuvImage input;
  uint8_t* workMem;      ///< per-call scratch; null: taken through `alloc` for the call
  uint64_t workMemSize;  ///< bytes at workMem
  void* (*alloc)(uint32_t size, const char* pool, uint32_t flags);
  void (*free)(void* block, const char* pool, uint32_t flags);
};

/// What ImgRegistration finds.
struct MotionModel {
  YuvImage aligned;             ///< destination of the warp, filled in by the caller
  int32_t motionRect[4];        ///< x, y, width, height of the part of `aligned` that comes from the input
  const MatchSet* matchSetRef;  ///< dangling once ImgRegistration has returned
  float homography[9];  ///< row-major, h8 = 1: point of the reference to point of the frame, in full-size
                        ///< pixels
  uint8_t peakLevel;    ///< most frequent luma of the reference
  uint8_t lumaLevel;    ///< mean luma of the reference's brightest 5 per cent
};

/// Aligns `request->input` with `request->reference`: keypoints, descriptors, matches, a robust homography,
/// then the warp into `model->aligned`. `arena` holds the reference's features from call to call:
/// `arena_size` bytes, at least what the memory plan gives (RegistrationHead less the aligned frame), kept
/// untouched by the caller between frames. A request with a null hook gets malloc and free instead of both.
/// 0: aligned; 3: the frame can't be aligned, `aligned` is not to be used; -1000, -997: failures.
int32_t ImgRegistration(RegistrationInput* request, MotionModel* model, uint8_t* arena, uint64_t arena_size);

}  // namespace zolt
