// How a burst was exposed, in words.
#include <cmath>
#include <cstdio>

#include "media/metadata.h"

namespace zolt {
namespace {

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3g", value);
  return text;
}

std::string Seconds(double exposure) {
  if (exposure >= 0.4) return Number(exposure) + " s";
  return "1/" + std::to_string(std::lround(1 / exposure)) + " s";
}

std::string Exposure(const ShotFacts& shot) {
  std::string text;
  if (shot.exposure) text += " of " + Seconds(*shot.exposure);
  if (shot.f_number) text += " at f/" + Number(*shot.f_number);
  if (shot.iso) text += (text.empty() ? " at ISO " : ", ISO ") + std::to_string(*shot.iso);
  return text;
}

}  // namespace

std::string ExposureLine(const std::vector<ShotFacts>& frames) {
  std::string line;
  for (size_t i = 0; i < frames.size();) {
    const std::string exposure = Exposure(frames[i]);
    size_t run = i;
    while (run < frames.size() && Exposure(frames[run]) == exposure) ++run;
    if (!line.empty()) line += ", then ";
    line += std::to_string(run - i) + (run - i == 1 ? " frame" : " frames") + exposure;
    i = run;
  }
  return line;
}

}  // namespace zolt
