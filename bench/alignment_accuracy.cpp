// How exactly the frames of simulated bursts are aligned: the engine's registration beside the layer's
// alignment.
//   alignment_accuracy [--layer-only] [--quick] [--shift X Y] [--threads N] [--frames] FOLDER...
// FOLDER is what `zolt-burst simulate` made. Errors are means over a grid of 16 x 12 points, in pixels,
// against the motion that burst.json tells. --shift cuts the frames so that later ones lie X, Y pixels beside
// the first.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "burst/alignment/alignment.h"
#include "media/media_read.h"
#include "registration/registration.h"
#include "session/memory_plan.h"

namespace {

using zolt::Homography;
using zolt::PlaneView;

struct Options {
  bool layer_only = false;
  bool each_frame = false;
  int shift_x = 0, shift_y = 0;
  int threads = zolt::kAlignmentThreads;
  zolt::AlignmentCare care = zolt::AlignmentCare::kThorough;
};

/// A frame, cut for --shift to sides that the engine takes.
struct Picture {
  std::vector<uint8_t> planes;  // Y, U, V
  int width = 0, height = 0;
  PlaneView Luma() const { return {planes.data(), width, height, width}; }
};

struct Pair {
  Picture picture;
  Homography truth;
};

Picture Cut(const zolt::YuvPicture& from, int x0, int y0, int width, int height) {
  Picture cut{std::vector<uint8_t>(static_cast<size_t>(width) * height * 3 / 2, 128), width, height};
  for (int y = 0; y < height; ++y) {
    std::memcpy(&cut.planes[static_cast<size_t>(y) * width],
                &from.y[static_cast<size_t>(y + y0) * from.width + x0], static_cast<size_t>(width));
  }
  return cut;
}

std::vector<Pair> ReadBurst(const std::string& folder, const Options& options) {
  const nlohmann::json info = nlohmann::json::parse(std::ifstream(folder + "/burst.json"));
  std::vector<Pair> pairs;
  for (const auto& frame : info["frames"]) {
    const zolt::YuvPicture whole = zolt::ReadPicture(folder + "/" + frame["file"].get<std::string>());
    const int width = (whole.width - std::abs(options.shift_x)) / 8 * 8;
    const int height = (whole.height - std::abs(options.shift_y)) / 8 * 8;
    const bool first = pairs.empty();
    const auto place = [first](int shift) { return first ? std::max(-shift, 0) : std::max(shift, 0); };
    const int x0 = place(options.shift_x), y0 = place(options.shift_y);
    const auto& h = frame["homography"];
    Homography to_first;  // of the frame's pixels
    for (int i = 0; i < 8; ++i) to_first.h[i] = h[i].get<double>();
    const int rx = std::max(-options.shift_x, 0), ry = std::max(-options.shift_y, 0);
    const Homography truth = Compose(Homography::Translation(-x0, -y0),
                                     Compose(Inverse(to_first), Homography::Translation(rx, ry)));
    pairs.push_back({Cut(whole, x0, y0, width, height), truth});
  }
  return pairs;
}

double MeanError(const Homography& found, const Homography& truth, int width, int height) {
  double sum = 0;
  for (int i = 0; i < 16; ++i) {
    for (int j = 0; j < 12; ++j) {
      double ax, ay, bx, by;
      found.Map((i + 0.5) * width / 16, (j + 0.5) * height / 12, &ax, &ay);
      truth.Map((i + 0.5) * width / 16, (j + 0.5) * height / 12, &bx, &by);
      sum += std::hypot(ax - bx, ay - by);
    }
  }
  return sum / (16 * 12);
}

/// Registration as a burst's session calls it. False: not aligned.
bool AlignByEngine(Picture* reference, Picture* frame, int iso, Homography* found) {
  const int w = reference->width, h = reference->height;
  zolt::MemoryPlan plan;
  if (!zolt::MakeMemoryPlan(w, h, true, false, &plan)) return false;
  std::vector<uint8_t> block(plan.block_size);
  std::vector<uint8_t> aligned(reference->planes.size());
  const auto image = [&](std::vector<uint8_t>& planes) { return zolt::PlanarImage(planes.data(), w, h); };
  zolt::RegistrationInput input = {};
  input.isFirstFrame = input.flagC = 1;
  input.iso = iso;
  input.planeCount = 2;
  input.reference = image(reference->planes);
  input.input = image(frame->planes);
  zolt::MotionModel model = {};
  model.aligned = image(aligned);
  const zolt::Region arena = plan[zolt::kRegistrationData];
  if (zolt::ImgRegistration(&input, &model, block.data() + arena.offset, arena.size) != 0) return false;
  for (int i = 0; i < 8; ++i) found->h[i] = model.homography[i];
  return true;
}

struct Errors {
  std::vector<double> values;
  int lost = 0;
  void Print(const char* name) {
    std::sort(values.begin(), values.end());
    double mean = 0;
    for (const double v : values) mean += v / static_cast<double>(values.size());
    if (values.empty()) {
      std::printf(" | %s: none aligned", name);
    } else {
      std::printf(" | %s: mean %.4f median %.4f max %.4f lost %d", name, mean, values[values.size() / 2],
                  values.back(), lost);
    }
  }
};

void Measure(const std::string& folder, const Options& options) {
  std::vector<Pair> pairs = ReadBurst(folder, options);
  const int iso = nlohmann::json::parse(std::ifstream(folder + "/burst.json"))["iso"];
  Errors engine, layer;
  zolt::AlignmentReference reference;
  Picture& first = pairs[0].picture;
  if (!reference.Prepare(first.Luma(), options.care, options.threads)) return;
  double milliseconds = 0;
  for (size_t i = 1; i < pairs.size(); ++i) {
    Homography found;
    if (!options.layer_only) {
      if (AlignByEngine(&first, &pairs[i].picture, iso, &found)) {
        engine.values.push_back(MeanError(found, pairs[i].truth, first.width, first.height));
      } else {
        ++engine.lost;
      }
    }
    const auto start = std::chrono::steady_clock::now();
    const zolt::Alignment a = Align(reference, pairs[i].picture.Luma(), nullptr, options.threads);
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    milliseconds += took.count() / static_cast<double>(pairs.size() - 1);
    const double error = MeanError(a.motion, pairs[i].truth, first.width, first.height);
    if (a.aligned) {
      layer.values.push_back(error);
    } else {
      ++layer.lost;
    }
    if (options.each_frame) {
      std::printf(
          "  frame %zu: aligned %d error %.4f expected %.4f correlation %.3f moved %.3f overlap %.3f gain "
          "%.3f\n",
          i, a.aligned, error, a.error, a.correlation, a.moved_share, a.overlap, a.gain);
    }
  }
  std::printf("%-28s %4dx%-4d", folder.substr(folder.rfind('/') + 1).c_str(), first.width, first.height);
  if (!options.layer_only) engine.Print("engine");
  layer.Print("layer");
  std::printf(" | %.1f ms a frame\n", milliseconds);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--layer-only") {
      options.layer_only = true;
    } else if (argument == "--quick") {
      options.care = zolt::AlignmentCare::kQuick;
    } else if (argument == "--frames") {
      options.each_frame = true;
    } else if (argument == "--shift" && i + 2 < argc) {
      options.shift_x = std::atoi(argv[++i]);
      options.shift_y = std::atoi(argv[++i]);
    } else if (argument == "--threads" && i + 1 < argc) {
      options.threads = std::atoi(argv[++i]);
    } else {
      Measure(argument, options);
    }
  }
  return 0;
}
