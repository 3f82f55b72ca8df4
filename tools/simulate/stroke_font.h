#pragma once

#include <string>
#include <vector>

namespace zolt {

/// A straight stroke of a letter, in cells: a letter is 4 cells wide and 6 high, y grows downwards.
struct Stroke {
  float x0, y0, x1, y1;
};

/// Strokes of a line of text from (0, 0) on; letters stand 6 cells apart. Knows A to Z, 0 to 9, '-' and '.';
/// anything else is a gap.
std::vector<Stroke> TextStrokes(const std::string& text);

}  // namespace zolt
