#include "report/report_pictures.h"

#include <algorithm>
#include <cstdlib>

extern "C" {
#include <libavutil/base64.h>
}

#include "common/errors.h"
#include "media/ffmpeg_handles.h"
#include "media/media_write.h"

namespace zolt {
namespace {

constexpr size_t kExactPixels = 600 * 400;  // a PNG of this many noisy pixels is still below 1 MB

void CropPlaneAt(std::vector<uint8_t>* out, int out_width, const std::vector<uint8_t>& in, int in_width,
                 int x, int y) {
  for (size_t row = 0; row * out_width < out->size(); ++row) {
    std::copy_n(&in[(row + y) * in_width + x], out_width, &(*out)[row * out_width]);
  }
}

std::string Base64(const std::vector<uint8_t>& bytes) {
  std::string text(AV_BASE64_SIZE(bytes.size()), '\0');
  if (!av_base64_encode(text.data(), static_cast<int>(text.size()), bytes.data(),
                        static_cast<int>(bytes.size())))
    FailFile("a picture is too large for the page; see --width");
  text.resize(text.find('\0'));
  return text;
}

struct Candidate {
  int x, y;
  double luma, detail, colour, motion;
};

// Means over every second pixel in both directions.
Candidate Look(const YuvPicture& p, const YuvPicture& motion, int x0, int y0, int side) {
  int64_t luma = 0, detail = 0, colour = 0, moved = 0;
  for (int y = y0; y + 1 < y0 + side; y += 2) {
    const uint8_t* row = &p.y[size_t(y) * p.width];
    const size_t chroma = size_t(y / 2) * p.ChromaWidth();
    for (int x = x0; x + 1 < x0 + side; x += 2) {
      luma += row[x];
      detail += std::abs(row[x + 1] - row[x]) + std::abs(row[x + p.width] - row[x]);
      colour += std::abs(p.u[chroma + x / 2] - 128) + std::abs(p.v[chroma + x / 2] - 128);
      if (motion.width == p.width) moved += motion.y[size_t(y) * p.width + x];
    }
  }
  const double n = (side / 2) * (side / 2);
  return {x0,
          y0,
          static_cast<double>(luma) / n,
          static_cast<double>(detail) / n,
          static_cast<double>(colour) / n,
          static_cast<double>(moved) / n};
}

// Upper left corners, even, from edge to edge in steps of about half a crop.
std::vector<int> Steps(int length, int side) {
  const int room = length - side;
  const int count = std::max(1, 2 * room / side);
  std::vector<int> steps;
  for (int i = 0; i <= count; ++i) steps.push_back(static_cast<int>(int64_t{room} * i / count) & ~1);
  return steps;
}

bool Overlaps(const CropPlace& a, const Candidate& b, int side) {
  return std::abs(a.x - b.x) < side && std::abs(a.y - b.y) < side;
}

}  // namespace

YuvPicture CroppedAt(const YuvPicture& picture, int x, int y, int width, int height) {
  YuvPicture out(width, height);
  CropPlaneAt(&out.y, out.width, picture.y, picture.width, x, y);
  CropPlaneAt(&out.u, out.ChromaWidth(), picture.u, picture.ChromaWidth(), x / 2, y / 2);
  CropPlaneAt(&out.v, out.ChromaWidth(), picture.v, picture.ChromaWidth(), x / 2, y / 2);
  return out;
}

YuvPicture ScaledDown(const YuvPicture& picture, int width) {
  if (picture.width <= width) return picture;
  const int height = std::max(1, static_cast<int>(int64_t{picture.height} * width / picture.width));
  const ScalerHandle scaler(sws_getContext(picture.width, picture.height, AV_PIX_FMT_YUVJ420P, width, height,
                                           AV_PIX_FMT_YUVJ420P, SWS_AREA, nullptr, nullptr, nullptr));
  if (!scaler) FailFile("a picture can't be scaled to a width of " + std::to_string(width));
  YuvPicture out(width, height);
  const uint8_t* from[4] = {picture.y.data(), picture.u.data(), picture.v.data(), nullptr};
  const int from_pitch[4] = {picture.width, picture.ChromaWidth(), picture.ChromaWidth(), 0};
  uint8_t* to[4] = {out.y.data(), out.u.data(), out.v.data(), nullptr};
  const int to_pitch[4] = {out.width, out.ChromaWidth(), out.ChromaWidth(), 0};
  sws_scale(scaler.get(), from, from_pitch, 0, picture.height, to, to_pitch);
  return out;
}

PageImage EmbeddedImage(const YuvPicture& picture, const std::string& caption, bool exact) {
  const bool png = exact || picture.y.size() <= kExactPixels;
  const std::string format = png ? "png" : "jpeg";
  return {"data:image/" + format + ";base64," + Base64(EncodedPicture(format, picture)), picture.width,
          picture.height, caption};
}

std::vector<CropPlace> TellingPlaces(const YuvPicture& result, const YuvPicture& motion, int side) {
  std::vector<Candidate> all;
  for (const int y : Steps(result.height, side)) {
    for (const int x : Steps(result.width, side)) all.push_back(Look(result, motion, x, y, side));
  }
  std::vector<CropPlace> chosen;
  const auto choose = [&](const char* name, const auto& score) {
    const auto free = [&](const Candidate& c) {
      return std::none_of(chosen.begin(), chosen.end(),
                          [&](const CropPlace& p) { return Overlaps(p, c, side); });
    };
    const Candidate* best = nullptr;
    for (const Candidate& c : all) {
      if (free(c) && (!best || score(c) > score(*best))) best = &c;
    }
    if (best) chosen.push_back({name, best->x, best->y});
  };
  constexpr double kMoved = 2;  // of 255: about a hundredth of the crop
  const bool moves =
      std::any_of(all.begin(), all.end(), [](const Candidate& c) { return c.motion > kMoved; });
  if (moves) choose("Most motion", [](const Candidate& c) { return c.motion; });
  choose("Finest detail", [](const Candidate& c) { return c.detail; });
  // Where luma is cut off at black or white there is no noise to look at.
  choose("Smoothest",
         [](const Candidate& c) { return -c.detail - (c.luma < 16 || c.luma > 240 ? 1000 : 0); });
  if (!moves) choose("Strongest colour", [](const Candidate& c) { return c.colour; });
  return chosen;
}

}  // namespace zolt
