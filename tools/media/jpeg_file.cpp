#include "media/jpeg_file.h"

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <jpeglib.h>

#include "common/errors.h"

namespace zolt {
namespace {

constexpr int kThumbnailSide = 160;
constexpr int kThumbnailQuality = 75;

struct Failure {
  jpeg_error_mgr manager;
  std::jmp_buf back;
  char text[JMSG_LENGTH_MAX];
};

void Fail(j_common_ptr info) {
  auto* failure = reinterpret_cast<Failure*>(info->err);
  info->err->format_message(info, failure->text);
  std::longjmp(failure->back, 1);
}

// The encoder takes rows in whole blocks: the last sample and the last row are repeated.
struct PaddedPlane {
  PaddedPlane(const std::vector<uint8_t>& plane, int width, int height, int padded_width, int padded_height)
      : samples(size_t(padded_width) * padded_height), rows(static_cast<size_t>(padded_height)) {
    for (int y = 0; y < padded_height; ++y) {
      const uint8_t* from = &plane[size_t(std::min(y, height - 1)) * width];
      uint8_t* to = &samples[size_t(y) * padded_width];
      std::memcpy(to, from, static_cast<size_t>(width));
      std::memset(to + width, from[width - 1], static_cast<size_t>(padded_width - width));
      rows[y] = to;
    }
  }
  std::vector<uint8_t> samples;
  std::vector<JSAMPROW> rows;
};

// What the encoder has made so far; C's memory, since it crosses longjmp.
struct Output {
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  ~Output() { std::free(bytes); }
};

void Describe(jpeg_compress_struct* info, const YuvPicture& picture, int quality) {
  info->image_width = static_cast<JDIMENSION>(picture.width);
  info->image_height = static_cast<JDIMENSION>(picture.height);
  info->input_components = picture.grey ? 1 : 3;
  info->in_color_space = picture.grey ? JCS_GRAYSCALE : JCS_YCbCr;
  jpeg_set_defaults(info);
  jpeg_set_quality(info, quality, TRUE);
  info->raw_data_in = TRUE;
  info->optimize_coding = TRUE;
  info->dct_method = JDCT_ISLOW;
  const int luma_factor = picture.grey ? 1 : 2;
  info->comp_info[0].h_samp_factor = info->comp_info[0].v_samp_factor = luma_factor;
}

// No object with a destructor may be made between setjmp and longjmp.
bool Compress(const YuvPicture& picture, int quality, PaddedPlane* const planes[3], Output* output,
              Failure* failure) {
  jpeg_compress_struct info;
  info.err = jpeg_std_error(&failure->manager);
  failure->manager.error_exit = &Fail;
  if (setjmp(failure->back) != 0) {
    jpeg_destroy_compress(&info);
    return false;
  }
  jpeg_create_compress(&info);
  jpeg_mem_dest(&info, &output->bytes, &output->size);
  Describe(&info, picture, quality);
  jpeg_start_compress(&info, TRUE);
  const JDIMENSION step = picture.grey ? DCTSIZE : 2 * DCTSIZE;
  while (info.next_scanline < info.image_height) {
    const JDIMENSION y = info.next_scanline;
    JSAMPARRAY rows[3] = {&planes[0]->rows[y], nullptr, nullptr};
    if (!picture.grey) {
      rows[1] = &planes[1]->rows[y / 2];
      rows[2] = &planes[2]->rows[y / 2];
    }
    jpeg_write_raw_data(&info, rows, step);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  return true;
}

uint8_t MeanOf(const std::vector<uint8_t>& plane, int width, int height, int x, int y, int factor) {
  int sum = 0, n = 0;
  for (int v = y * factor; v < std::min(height, (y + 1) * factor); ++v) {
    for (int h = x * factor; h < std::min(width, (x + 1) * factor); ++h, ++n)
      sum += plane[size_t(v) * width + h];
  }
  return static_cast<uint8_t>(n > 0 ? (sum + n / 2) / n : 0);
}

std::vector<uint8_t> Shrunk(const std::vector<uint8_t>& plane, int width, int height, int new_width,
                            int new_height, int factor) {
  std::vector<uint8_t> out(size_t(new_width) * new_height);
  for (int y = 0; y < new_height; ++y) {
    for (int x = 0; x < new_width; ++x) {
      const int from_x = std::min(x, (width - 1) / factor), from_y = std::min(y, (height - 1) / factor);
      out[size_t(y) * new_width + x] = MeanOf(plane, width, height, from_x, from_y, factor);
    }
  }
  return out;
}

}  // namespace

std::vector<uint8_t> JpegBytes(const YuvPicture& picture, int quality, const std::string& path) {
  const auto padded = [](int side, int block) { return (side + block - 1) / block * block; };
  if (picture.width > JPEG_MAX_DIMENSION || picture.height > JPEG_MAX_DIMENSION)
    FailFile(path + ": can't be encoded: JPEG's sides end at " + std::to_string(JPEG_MAX_DIMENSION));
  const int block = picture.grey ? DCTSIZE : 2 * DCTSIZE;
  const int width = padded(picture.width, block), height = padded(picture.height, block);
  const YuvPicture none(1, 1);
  const YuvPicture& chroma = picture.grey ? none : picture;
  PaddedPlane y(picture.y, picture.width, picture.height, width, height);
  PaddedPlane u(chroma.u, chroma.ChromaWidth(), chroma.ChromaHeight(), width / 2, height / 2);
  PaddedPlane v(chroma.v, chroma.ChromaWidth(), chroma.ChromaHeight(), width / 2, height / 2);
  PaddedPlane* const planes[3] = {&y, &u, &v};
  Output output;
  Failure failure;
  if (!Compress(picture, quality, planes, &output, &failure))
    FailFile(path + ": can't be encoded: " + failure.text);
  return {output.bytes, output.bytes + output.size};
}

std::vector<uint8_t> ThumbnailJpeg(const YuvPicture& picture) {
  const int factor = (std::max(picture.width, picture.height) + kThumbnailSide - 1) / kThumbnailSide;
  YuvPicture small((picture.width + factor - 1) / factor, (picture.height + factor - 1) / factor);
  small.grey = picture.grey;
  small.y = Shrunk(picture.y, picture.width, picture.height, small.width, small.height, factor);
  for (auto plane : {&YuvPicture::u, &YuvPicture::v}) {
    small.*plane = Shrunk(picture.*plane, picture.ChromaWidth(), picture.ChromaHeight(), small.ChromaWidth(),
                          small.ChromaHeight(), factor);
  }
  return JpegBytes(small, kThumbnailQuality, "thumbnail");
}

}  // namespace zolt
