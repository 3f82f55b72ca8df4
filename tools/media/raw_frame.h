#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "media/picture.h"
#include "zolt_mfdenoise.h"

namespace zolt {

/// The frame layouts of the library, by the library's numbers.
enum class RawLayout : uint32_t {
  kNv21 = ZOLT_MF_FORMAT_NV21,
  kNv12 = ZOLT_MF_FORMAT_NV12,
  kI420 = ZOLT_MF_FORMAT_I420,
};

/// By the extension: nv21, nv12, i420 or yuv (which is I420); none for any other name.
std::optional<RawLayout> RawLayoutOf(const std::string& path);

/// One frame without any padding: luma, then the chroma as the layout tells; 3 * width * height / 2 bytes.
/// Sides are even.
std::vector<uint8_t> RawBytes(const YuvPicture& picture, RawLayout layout);

/// The inverse; `bytes` holds a whole frame.
YuvPicture PictureFromRaw(const uint8_t* bytes, int width, int height, RawLayout layout);

}  // namespace zolt
