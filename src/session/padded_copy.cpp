#include "session/padded_copy.h"

#include <cstddef>
#include <cstring>

namespace zolt {
namespace {

constexpr int32_t RoundUp16(int32_t v) {
  return (v + 15) & ~15;
}

struct PlaneSize {
  int32_t width;
  int32_t height;
};

enum class Edge { kReflect, kRepeat, kZero };

void ExtendRow(uint8_t* row, int32_t width, int32_t padded_width, Edge edge) {
  for (int32_t j = 0; j < padded_width - width; ++j) {
    row[width + j] = edge == Edge::kReflect ? row[width - 1 - j] : edge == Edge::kRepeat ? row[width - 1] : 0;
  }
}

void PadPlane(uint8_t* to, PlaneSize padded, const uint8_t* from, PlaneSize size, Edge edge) {
  const auto pitch = static_cast<size_t>(padded.width);
  for (int32_t y = 0; y < size.height; ++y, to += pitch, from += size.width) {
    std::memcpy(to, from, static_cast<size_t>(size.width));
    ExtendRow(to, size.width, padded.width, edge);
  }
  for (int32_t y = size.height; y < padded.height; ++y, to += pitch) std::memcpy(to, to - pitch, pitch);
}

void CropPlane(uint8_t* to, PlaneSize size, const uint8_t* from, int32_t from_pitch) {
  for (int32_t y = 0; y < size.height; ++y, to += size.width, from += from_pitch) {
    std::memcpy(to, from, static_cast<size_t>(size.width));
  }
}

YuvImage PadImage(uint8_t* block, const YuvImage& image, Edge edge) {
  const YuvImage padded = PlanarImage(block, RoundUp16(image.width), RoundUp16(image.height));
  const PlaneSize chroma = {image.width / 2, image.height / 2};
  const PlaneSize padded_chroma = {padded.width / 2, padded.height / 2};
  PadPlane(padded.y, {padded.width, padded.height}, image.y, {image.width, image.height}, edge);
  PadPlane(padded.u, padded_chroma, image.u, chroma, edge);
  PadPlane(padded.v, padded_chroma, image.v, chroma, edge);
  return padded;
}

}  // namespace

uint64_t PaddedCopySize(int32_t width, int32_t height) {
  const uint64_t pixels = static_cast<uint64_t>(RoundUp16(width)) * static_cast<uint64_t>(RoundUp16(height));
  return pixels + 3 * pixels / 2;
}

PaddedCopy MakePaddedCopy(uint8_t* block, const YuvImage& image, const uint8_t* weights) {
  PaddedCopy copy = {PadImage(block, image, Edge::kReflect), nullptr};
  copy.weights = copy.image.v + (copy.image.v - copy.image.u);
  PadPlane(copy.weights, {copy.image.width, copy.image.height}, weights, {image.width, image.height},
           Edge::kZero);
  return copy;
}

YuvImage MakeExtendedCopy(uint8_t* block, const YuvImage& image) {
  return PadImage(block, image, Edge::kRepeat);
}

void CropTo(const YuvImage& image, const YuvImage& padded) {
  const PlaneSize chroma = {image.width / 2, image.height / 2};
  CropPlane(image.y, {image.width, image.height}, padded.y, padded.pitch);
  CropPlane(image.u, chroma, padded.u, padded.pitch / 2);
  CropPlane(image.v, chroma, padded.v, padded.pitch / 2);
}

}  // namespace zolt
