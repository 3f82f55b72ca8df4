#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "media/picture.h"

namespace zolt {

/// Row-major 3 x 3, last entry 1: a pixel (x, y) of a frame shows what frame 0 shows at
/// ((h0 x + h1 y + h2) / w, (h3 x + h4 y + h5) / w), w = h6 x + h7 y + 1. Pixel centres have whole
/// coordinates.
using FrameMotion = std::array<double, 9>;

struct CameraSettings {
  int frames = 6;
  int iso = 1600;
  double motion = 1;   // 1 is a hand that holds the phone; 0 a tripod
  bool ghost = false;  // a ball rolls through the scene
  bool white = false;  // leave out the correlation of the noise
  bool video = false;  // the hand and the ball move on smoothly from frame to frame, 30 in a second
  double last_ev = 0;  // exposure of the last frame beside the others, in stops
  int max_width = 0;   // 0: no limit; else the photo is reduced by a whole number until a frame fits
  int crop_width = 0;  // 0: the whole photo; else the middle part of this size
  int crop_height = 0;
  uint64_t seed = 1;
};

/// Takes a burst of a photo with a modelled phone camera; docs/simulation.md tells the model.
///
/// The photo is cut so that a frame at motion 1 stays inside it, and to multiples of 8. Frame() and Truth()
/// may be called from several threads at once.
class Camera {
 public:
  /// ToolError (usage) if the photo is too small for frames of 64 x 64.
  Camera(const RgbPicture& photo, const CameraSettings& settings);

  int width() const { return width_; }
  int height() const { return height_; }
  const std::vector<FrameMotion>& homographies() const { return homographies_; }

  /// Frame `index` with its noise, 8 bits.
  YuvPicture Frame(int index) const;

  /// What frame 0 would be without noise, at the exposure of frame `exposure_of`.
  YuvPicture Truth(int exposure_of) const { return Clean(0, exposure_of); }

  /// Frame `index` without its noise.
  YuvPicture CleanFrame(int index) const { return Clean(index, index); }

 private:
  void KeepPhoto(const RgbPicture& photo);
  YuvPicture Clean(int geometry, int exposure_of) const;
  double Exposure(int index) const;
  void ScenePoint(double x, double y, int channel, int ball_frame, float* out) const;
  std::vector<float> Mosaic(int geometry, int exposure_of) const;
  std::array<std::vector<float>, 3> MosaicNoise(const std::vector<float>& mosaic, int index) const;
  std::array<std::vector<float>, 3> WhiteNoise(const std::array<std::vector<float>, 3>& rgb, int index) const;

  CameraSettings settings_;
  int width_ = 0;
  int height_ = 0;
  int left_ = 0;  // of frame 0 in the reduced photo
  int top_ = 0;
  int lens_width_ = 0;
  int lens_height_ = 0;
  std::array<std::vector<uint16_t>, 3> lens_;  // linear, blurred by the lens; twice as dense as a frame
  std::vector<FrameMotion> homographies_;
};

}  // namespace zolt
