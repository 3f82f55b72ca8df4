#pragma once

#include "media/picture.h"

namespace zolt {

constexpr int kSceneWidth = 1712;
constexpr int kSceneHeight = 1280;

/// The picture that `simulate` photographs when it is given none: a table with balls, cloth and a plant
/// before a wall with two posters. It holds what a denoiser finds hard: small text, edges of every direction,
/// smooth gradients, saturated colours, fine regular and irregular texture. Painted by arithmetic alone, the
/// same on every run.
RgbPicture RenderScene();

}  // namespace zolt
