// The streaming part of the C interface.
#include <memory>
#include <mutex>

#include "burst/layer_call.h"
#include "burst/memory_need.h"
#include "burst/stream/frame_stream.h"

namespace zolt {
namespace {

constexpr int kLeastWindow = 2, kMostWindow = 10, kDefaultWindow = 5;

/// What a stream leaves no choice for.
zolt_burst_options BurstOptionsOf(const zolt_burst_options& given) {
  zolt_burst_options options;
  zolt_burst_options_init(&options);
  ReadRecord(&given, &options);
  options.size = sizeof options;
  options.reference = 0;
  options.fusion = ZOLT_BURST_FUSION_OFF;
  options.keep_all = 0;
  options.expected_frames = 0;
  return options;
}

}  // namespace
}  // namespace zolt

struct zolt_burst_stream {
  zolt_burst_stream(const zolt::Settings& chosen, int window_size, int delay)
      : settings(chosen),
        window(window_size),
        memory(chosen.options.hooks),
        frames(window, chosen.options.mode, delay, &memory) {}

  zolt::Settings settings;
  int window;
  zolt::BurstMemory memory;
  zolt::FrameStream frames;
};

namespace {

using namespace zolt;

int32_t CheckStreamMemory(const zolt_burst_stream& stream, const zolt_burst_picture& frame) {
  const uint64_t limit = stream.settings.options.memory_limit;
  if (limit == 0) return ZOLT_BURST_OK;
  const uint64_t need = StreamMemoryNeed(frame.width, frame.height, stream.window, ZOLT_BURST_FAST);
  return need <= limit ? ZOLT_BURST_OK : ZOLT_BURST_MEMORY_LIMIT;
}

int32_t PullBurst(zolt_burst_stream* stream, const zolt_burst_picture& output, zolt_burst_report* report,
                  zolt_burst_frame_report* frame_reports, int32_t capacity) {
  stream->memory.ResetPeak();
  const EngineMemory current(&stream->memory);
  const FrameStream::Burst burst = stream->frames.Next();
  zolt_burst_options options = stream->settings.options;
  options.reference = burst.reference;
  if (options.memory_limit > 0)
    options.memory_limit -= KeptFramesNeed(output.width, output.height, stream->window);
  BurstRun run(options, stream->settings.tunings, &stream->memory);
  run.Run(burst.pictures.data(), static_cast<int>(burst.pictures.size()), burst.known.data(),
          stream->frames.Follower(burst), output);
  TellBurst(run, report, frame_reports, capacity);
  stream->frames.Advance();
  return ZOLT_BURST_OK;
}

}  // namespace

void zolt_burst_stream_options_init(zolt_burst_stream_options* options) {
  if (options == nullptr) return;
  *options = {};
  options->size = sizeof *options;
  options->window = kDefaultWindow;
  options->delay = -1;
  zolt_burst_options_init(&options->burst);
}

uint64_t zolt_burst_stream_memory_needed(int32_t width, int32_t height, int32_t window, int32_t mode) {
  return window < kLeastWindow || window > kMostWindow ? 0 : StreamMemoryNeed(width, height, window, mode);
}

int32_t zolt_burst_stream_open(zolt_burst_stream** stream, const zolt_burst_stream_options* options) {
  if (stream == nullptr) return ZOLT_BURST_BAD_ARGUMENT;
  *stream = nullptr;
  zolt_burst_stream_options chosen;
  zolt_burst_stream_options_init(&chosen);
  if (options != nullptr) {
    if (options->size < sizeof(uint32_t)) return ZOLT_BURST_BAD_ARGUMENT;
    ReadRecord(options, &chosen);
  }
  const bool window = chosen.window >= kLeastWindow && chosen.window <= kMostWindow;
  const bool delay = chosen.delay >= -1 && chosen.delay < chosen.window;
  if (!window || !delay || chosen.burst.size < sizeof(uint32_t)) return ZOLT_BURST_BAD_ARGUMENT;
  return Guarded([&] {
    const std::lock_guard<std::mutex> lock(Order());
    const zolt_burst_options burst = BurstOptionsOf(chosen.burst);
    Settings settings;
    const int32_t refused = settings.Set(&burst);
    if (refused == ZOLT_BURST_OK) *stream = new zolt_burst_stream(settings, chosen.window, chosen.delay);
    return refused;
  });
}

int32_t zolt_burst_stream_push(zolt_burst_stream* stream, const zolt_burst_picture* frame) {
  if (stream == nullptr || frame == nullptr) return ZOLT_BURST_BAD_ARGUMENT;
  const zolt_burst_picture* like = stream->frames.Like();
  if (like == nullptr) like = frame;
  int32_t wrong = CheckLike(frame, like->width, like->height);
  if (wrong == ZOLT_BURST_OK) wrong = CheckStreamMemory(*stream, *frame);
  if (wrong != ZOLT_BURST_OK) return wrong;
  return Guarded([&]() -> int32_t {
    const std::lock_guard<std::mutex> lock(Order());
    const EngineMemory current(&stream->memory);
    stream->frames.Push(*frame);
    return ZOLT_BURST_OK;
  });
}

int32_t zolt_burst_stream_end(zolt_burst_stream* stream) {
  if (stream == nullptr) return ZOLT_BURST_BAD_ARGUMENT;
  stream->frames.End();
  return ZOLT_BURST_OK;
}

int32_t zolt_burst_stream_ready(const zolt_burst_stream* stream) {
  return stream == nullptr ? 0 : stream->frames.Ready();
}

int32_t zolt_burst_stream_pull(zolt_burst_stream* stream, const zolt_burst_picture* output,
                               zolt_burst_report* report, zolt_burst_frame_report* frame_reports,
                               int32_t capacity) {
  if (stream == nullptr || capacity < 0) return ZOLT_BURST_BAD_ARGUMENT;
  if (stream->frames.Ready() == 0) return ZOLT_BURST_NO_FRAMES;
  int32_t wrong = CheckReports(report, frame_reports);
  const zolt_burst_picture& like = stream->frames.Upcoming();
  if (wrong == ZOLT_BURST_OK && output != nullptr) wrong = CheckLike(output, like.width, like.height);
  if (wrong != ZOLT_BURST_OK) return wrong;
  return Guarded([&]() -> int32_t {
    const std::lock_guard<std::mutex> lock(Order());
    if (output != nullptr) return PullBurst(stream, *output, report, frame_reports, capacity);
    stream->frames.Advance();
    return ZOLT_BURST_OK;
  });
}

void zolt_burst_stream_flush(zolt_burst_stream* stream) {
  if (stream == nullptr) return;
  const std::lock_guard<std::mutex> lock(Order());
  stream->frames.Flush();
}

void zolt_burst_stream_close(zolt_burst_stream* stream) {
  if (stream == nullptr) return;
  const std::lock_guard<std::mutex> lock(Order());
  delete stream;
}
