#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "zolt_burst.h"
#include "zolt_mfdenoise.h"

// Whole bursts of six hand-held NV21 frames through the public functions, at 2, 12 and 48 megapixels. Nothing
// else of the project is included: scripts/bench_compare builds this file against older versions of the
// libraries.
namespace {

constexpr int kFrames = 6, kIso = 1600;
constexpr double kSigma = 6;        // of a phone at that ISO, grey levels
constexpr double kBrighter = 1.37;  // what twice the light is behind a gamma of 2.2

struct Size {
  int width, height;
};

Size SizeOf(int64_t megapixels) {
  return megapixels == 2 ? Size{1600, 1200} : megapixels == 12 ? Size{4000, 3000} : Size{8000, 6000};
}

/// Where a frame shows a point of the scene: turned about the frame's middle, then shifted; pixels, radians.
struct Motion {
  double x, y, angle;
};

/// A hand's tremor. Not even the first frame lies on the scene's grid: it would be the sharper one.
constexpr Motion kMotions[kFrames] = {{0.5, 0.5, 0},      {3.3, -2.1, 0.0010},  {-4.7, 5.6, -0.0014},
                                      {6.2, 1.4, 0.0007}, {-2.8, -6.3, 0.0018}, {1.9, 4.2, -0.0009}};

/// One plane of a scene: rectangles of random grey on top of each other, in all sizes, as leaves, bricks and
/// letters have edges; softened as by a lens.
class Scene {
 public:
  Scene(int width, int height, int darkest, int brightest, uint32_t seed)
      : width_(width + 2 * kMargin),
        height_(height + 2 * kMargin),
        levels_(static_cast<size_t>(width_) * height_, static_cast<uint8_t>((darkest + brightest) / 2)) {
    std::minstd_rand random(seed);
    const auto draw = [&](int bound) { return static_cast<int>(random() % static_cast<uint32_t>(bound)); };
    for (int i = 0; i < width_ / 12 * (height_ / 12); ++i) {
      const int w = 4 + draw(20) * draw(4), h = 4 + draw(20) * draw(4),
                level = darkest + draw(brightest - darkest);
      const int left = draw(width_ - w), top = draw(height_ - h);
      for (int y = top; y < top + h; ++y) std::fill_n(Row(y) + left, w, static_cast<uint8_t>(level));
    }
    Soften();
  }

  /// Photographs the scene into a plane whose samples lie `step` bytes apart, with white noise. A step of 2
  /// is chroma:
  /// brighter is farther from 128.
  void Photograph(const Motion& motion, double gain, uint32_t seed, int step, uint8_t* out) const {
    const int w = width_ - 2 * kMargin, h = height_ - 2 * kMargin, dark = step == 1 ? 0 : 128;
    const double c = std::cos(motion.angle), s = std::sin(motion.angle);
    const int dx = Fixed(c), dy = Fixed(s), gain8 = static_cast<int>(gain * 256);
    uint32_t random = seed * 2654435769u + 1;
    for (int y = 0; y < h; ++y) {
      int u = Fixed(kMargin + w / 2.0 + motion.x - c * w / 2.0 - s * (y - h / 2.0));
      int v = Fixed(kMargin + h / 2.0 + motion.y - s * w / 2.0 + c * (y - h / 2.0));
      for (int x = 0; x < w; ++x, u += dx, v += dy, out += step)
        *out = static_cast<uint8_t>(
            std::clamp(dark + ((Level(u, v) - dark) * gain8 >> 8) + Noise(&random), 0, 255));
    }
  }

 private:
  static constexpr int kMargin = 32;  // more than any motion of these moves a corner

  static int Fixed(double position) { return static_cast<int>(std::lround(position * 65536)); }

  uint8_t* Row(int y) { return levels_.data() + static_cast<size_t>(y) * width_; }

  /// Mean of 2 x 2, towards the upper left; a quarter pixel more or less does not matter here.
  void Soften() {
    for (int y = 0; y + 1 < height_; ++y) {
      uint8_t *row = Row(y), *below = Row(y + 1);
      for (int x = 0; x + 1 < width_; ++x)
        row[x] = static_cast<uint8_t>((row[x] + row[x + 1] + below[x] + below[x + 1] + 2) >> 2);
    }
  }

  /// Bilinear, at a position in 1/65536.
  int Level(int u, int v) const {
    const int x = std::clamp(u >> 16, 0, width_ - 2), y = std::clamp(v >> 16, 0, height_ - 2);
    const int fx = u >> 8 & 255, fy = v >> 8 & 255;
    const uint8_t *p = levels_.data() + static_cast<size_t>(y) * width_ + x, *q = p + width_;
    const int upper = p[0] * 256 + (p[1] - p[0]) * fx, lower = q[0] * 256 + (q[1] - q[0]) * fx;
    return (upper * 256 + (lower - upper) * fy + 32768) >> 16;
  }

  /// The sum of four bytes of a xorshift: near enough to a Gaussian, of sigma 147.8, scaled to kSigma.
  static int Noise(uint32_t* random) {
    *random ^= *random << 13;
    *random ^= *random >> 17;
    *random ^= *random << 5;
    const uint32_t r = *random;
    const int sum = static_cast<int>((r & 255) + (r >> 8 & 255) + (r >> 16 & 255) + (r >> 24)) - 510;
    return (sum * static_cast<int>(kSigma / 147.8 * 65536) + 32768) >> 16;
  }

  int width_, height_;
  std::vector<uint8_t> levels_;
};

struct Burst {
  int64_t megapixels = 0;
  bool bright_last = false;
  Size size = {};
  std::vector<uint8_t> frames[kFrames];
};

Burst TakeBurst(int64_t megapixels, bool bright_last) {
  Burst burst = {megapixels, bright_last, SizeOf(megapixels), {}};
  const auto [w, h] = burst.size;
  const size_t luma = static_cast<size_t>(w) * h;
  for (auto& frame : burst.frames) frame.resize(luma * 3 / 2);
  const auto add = [&](const Scene& scene, double scale, uint32_t seed, int step, size_t offset) {
    for (int i = 0; i < kFrames; ++i) {
      const Motion& m = kMotions[i];
      const double gain = bright_last && i == kFrames - 1 ? kBrighter : 1;
      scene.Photograph({m.x * scale, m.y * scale, m.angle}, gain, seed * 100 + static_cast<uint32_t>(i), step,
                       burst.frames[i].data() + offset);
    }
  };
  add(Scene(w, h, 16, 160, 1), 1, 1, 1, 0);
  add(Scene(w / 2, h / 2, 100, 156, 2), 0.5, 2, 2, luma);
  add(Scene(w / 2, h / 2, 100, 156, 3), 0.5, 3, 2, luma + 1);
  return burst;
}

/// The frames of the latest size are kept, as a benchmark's function runs more than once: 430 MB at 48
/// megapixels.
const Burst& BurstOf(int64_t megapixels, bool bright_last) {
  static Burst burst;
  if (burst.megapixels != megapixels || burst.bright_last != bright_last) {
    burst = {};
    burst = TakeBurst(megapixels, bright_last);
  }
  return burst;
}

/// A session of the engine, with the tuning file of the folder "config" where the program runs: two builds
/// that run in one place have the same.
class Engine {
 public:
  Engine(benchmark::State& state, bool fusion)
      : state_(state), burst_(BurstOf(state.range(0), fusion)), result_(burst_.frames[0].size()) {
    extra_.eis_mode = fusion;
    Open();
  }
  ~Engine() { zolt_mfUnInitialize(session_); }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  bool ready() const { return ready_; }

  /// A new session in place of the old one. A burst that is broken off by the first frame of another keeps
  /// its memory.
  void Open() {
    zolt_mfUnInitialize(session_);
    session_ = nullptr;
    Check(zolt_mfInitialize(&session_, "config/", nullptr),
          "no config/multiframe.xml: run it from the project's folder");
  }

  /// Hands over the frames from `begin` to before `end`.
  void Take(int begin, int end) {
    for (int i = begin; i < end && ready_; ++i) {
      const int tag = i == 0 ? ZOLT_MF_TAG_FIRST : i == kFrames - 1 ? ZOLT_MF_TAG_LAST : ZOLT_MF_TAG_MIDDLE;
      Check(zolt_mfNoiseReduction(session_, burst_.frames[i].data(), result_.data(), burst_.size.height,
                                  burst_.size.width, tag, kFrames, ZOLT_MF_FORMAT_NV21, kIso, &extra_),
            "a frame was refused");
    }
  }

 private:
  void Check(int32_t result, const char* what) {
    if (result == ZOLT_MF_OK) return;
    ready_ = false;
    state_.SkipWithError(what);
  }

  benchmark::State& state_;
  const Burst& burst_;
  std::vector<uint8_t> result_;
  MfFrameExtra extra_ = {};
  MfSession* session_ = nullptr;
  bool ready_ = true;
};

/// Times the frames from `begin` to before `end` of each burst, the ones before them untimed.
void TimeFrames(benchmark::State& state, bool fusion, int begin, int end) {
  Engine engine(state, fusion);
  while (engine.ready() && state.KeepRunning()) {
    if (begin > 0) {
      state.PauseTiming();
      engine.Open();
      engine.Take(0, begin);
      state.ResumeTiming();
    }
    engine.Take(begin, end);
  }
}

void BM_BurstEngine(benchmark::State& state) {
  TimeFrames(state, state.range(1) != 0, 0, kFrames);
}

/// The third frame: what registration keeps of the first one is there by then.
void BM_BurstEngineMiddleFrame(benchmark::State& state) {
  TimeFrames(state, false, 2, 3);
}

/// With the finish of the image, or its fusion.
void BM_BurstEngineLastFrame(benchmark::State& state) {
  TimeFrames(state, state.range(1) != 0, kFrames - 1, kFrames);
}

void BM_BurstLayer(benchmark::State& state) {
  const Burst& burst = BurstOf(state.range(0), false);
  const auto [w, h] = burst.size;
  std::vector<uint8_t> result(burst.frames[0].size());
  zolt_burst_picture frames[kFrames];
  for (int i = 0; i < kFrames; ++i) frames[i] = zolt_burst_yuv420_block(burst.frames[i].data(), w, h, "NV21");
  const zolt_burst_picture output = zolt_burst_yuv420_block(result.data(), w, h, "NV21");
  zolt_burst_options options;
  zolt_burst_options_init(&options);
  options.mode = state.range(1) != 0 ? ZOLT_BURST_FINE : ZOLT_BURST_FAST;
  zolt_burst_report report;
  zolt_burst_report_init(&report);
  for (auto _ : state) {
    const int32_t status = zolt_burst_denoise(frames, kFrames, &options, &output, &report, nullptr);
    // A burst whose frames fall out is quicker and tells nothing.
    if (status != ZOLT_BURST_OK || report.merged != kFrames || report.mode != options.mode)
      return state.SkipWithError(
          (std::to_string(report.merged) + " of 6 frames merged: " + zolt_burst_error_text(status)).c_str());
  }
  state.counters["peak_MB"] = static_cast<double>(report.peak_memory) / 1e6;
}

/// Processor time is that of all threads.
void WholeBursts(benchmark::internal::Benchmark* b) {
  b->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
}
BENCHMARK(BM_BurstEngine)->ArgNames({"MP", "fusion"})->ArgsProduct({{2, 12, 48}, {0, 1}})->Apply(WholeBursts);
BENCHMARK(BM_BurstEngineMiddleFrame)->ArgName("MP")->Arg(2)->Arg(12)->Arg(48)->Apply(WholeBursts);
BENCHMARK(BM_BurstEngineLastFrame)
    ->ArgNames({"MP", "fusion"})
    ->ArgsProduct({{2, 12, 48}, {0, 1}})
    ->Apply(WholeBursts);
BENCHMARK(BM_BurstLayer)->ArgNames({"MP", "fine"})->ArgsProduct({{2, 12, 48}, {0, 1}})->Apply(WholeBursts);

}  // namespace
