#pragma once

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "common/file_io.h"

namespace zolt {

/// A raw file of one colour, for a camera whose primaries are those of sRGB: light of red, green and blue, 0
/// to 1, on an RGGB sensor. `neutral` is what grey looks like to it.
struct DngFile {
  int width = 96;
  int height = 64;
  std::array<double, 3> light = {0.5, 0.2, 0.1};
  std::array<double, 3> neutral = {1, 1, 1};
  int orientation = 1;

  void Write(const std::string& path) {
    tags_.clear();
    std::vector<uint8_t> pixels;
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x)
        Append(&pixels, 2, kBlack + std::lround(light[y % 2 + x % 2] * (kWhite - kBlack)));
    }
    const auto size = static_cast<double>(pixels.size());
    Numbers(254, 4, {0});
    Numbers(256, 4, {double(width)});
    Numbers(257, 4, {double(height)});
    Numbers(258, 3, {16});
    Numbers(259, 3, {1});
    Numbers(262, 3, {32803});  // colour filter array
    Numbers(273, 4, {0});      // place of the pixels, set below
    Numbers(274, 3, {double(orientation)});
    Numbers(277, 3, {1});
    Numbers(278, 4, {double(height)});
    Numbers(279, 4, {size});
    Numbers(33421, 3, {2, 2});
    Numbers(33422, 1, {0, 1, 1, 2});
    Numbers(34855, 3, {400});
    Numbers(50706, 1, {1, 4, 0, 0});
    Numbers(50714, 4, {kBlack});
    Numbers(50717, 4, {kWhite});
    Numbers(50721, 10, {3.2406, -1.5372, -0.4986, -0.9689, 1.8758, 0.0415, 0.0557, -0.2040, 1.0570});
    Numbers(50728, 5, {neutral[0], neutral[1], neutral[2]});
    Numbers(50778, 3, {21});  // daylight
    WriteWhole(path, Assembled(pixels));
  }

 private:
  static constexpr double kBlack = 1000, kWhite = 61000;
  struct Tag {
    int id, type;
    size_t count;
    std::vector<uint8_t> data;
  };

  static void Append(std::vector<uint8_t>* out, int bytes, long value) {
    for (int i = 0; i < bytes; ++i) out->push_back(static_cast<uint8_t>(value >> 8 * i));
  }

  void Numbers(int id, int type, const std::vector<double>& values) {
    Tag tag{id, type, values.size(), {}};
    for (const double v : values) {
      const bool fraction = type == 5 || type == 10;
      Append(&tag.data, type == 1 ? 1 : type == 3 ? 2 : 4, std::lround(fraction ? v * 10000 : v));
      if (fraction) Append(&tag.data, 4, 10000);
    }
    tags_.push_back(tag);
  }

  std::vector<uint8_t> Assembled(const std::vector<uint8_t>& pixels) {
    const size_t behind = 8 + 2 + 12 * tags_.size() + 4;
    size_t at = behind;
    for (const Tag& tag : tags_) at += tag.data.size() > 4 ? tag.data.size() : 0;
    for (Tag& tag : tags_) {
      if (tag.id != 273) continue;
      tag.data.clear();
      Append(&tag.data, 4, static_cast<long>(at));
    }
    std::vector<uint8_t> file = {'I', 'I', 42, 0, 8, 0, 0, 0}, large;
    Append(&file, 2, static_cast<long>(tags_.size()));
    for (const Tag& tag : tags_) {
      Append(&file, 2, tag.id);
      Append(&file, 2, tag.type);
      Append(&file, 4, static_cast<long>(tag.count));
      std::vector<uint8_t> data = tag.data;
      if (data.size() > 4) {
        Append(&file, 4, static_cast<long>(behind + large.size()));
        large.insert(large.end(), data.begin(), data.end());
      } else {
        data.resize(4);
        file.insert(file.end(), data.begin(), data.end());
      }
    }
    Append(&file, 4, 0);
    file.insert(file.end(), large.begin(), large.end());
    file.insert(file.end(), pixels.begin(), pixels.end());
    return file;
  }

  std::vector<Tag> tags_;
};

}  // namespace zolt
