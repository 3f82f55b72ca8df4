#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/ffmpeg_handles.h"

namespace zolt {

/// What comes out of a video file: a decoded frame of its video, in 8-bit 4:2:0, or a packet of any other
/// stream as it is. Time stamps count in the stream's time base.
struct VideoItem {
  FrameHandle frame;
  PacketHandle packet;
};

struct VideoSourceOptions {
  std::string path;     ///< "-": standard input
  double start = 0;     ///< seconds that are left out first
  double duration = 0;  ///< seconds; 0: to the end
  int threads = 0;      ///< of the decoder; 0: as many as it likes
};

/// A file's video frame by frame, with what lies beside it. On one thread, but for Stop and the reading of
/// what was known when it was opened.
class VideoSource {
 public:
  /// ToolError (file) for what can't be read, (usage) for interlaced video.
  explicit VideoSource(const VideoSourceOptions& options);
  ~VideoSource();
  VideoSource(const VideoSource&) = delete;
  VideoSource& operator=(const VideoSource&) = delete;

  /// False at the end. ToolError (file) that says where the file is damaged, ends early or changes its size.
  bool Next(VideoItem* item);

  /// From another thread or a signal's: a read that waits for a pipe gives up.
  void Stop() { stopped_ = true; }

  const AVFormatContext* format() const { return format_.get(); }
  const AVStream* stream() const { return format_->streams[stream_]; }
  const AVCodecContext* decoder() const { return decoder_.get(); }
  /// Frames that will come, as far as the file tells; 0: it doesn't.
  int64_t expected() const;
  /// Seconds of the file's clock at which the result begins.
  double begin() const { return begin_; }
  double end() const { return end_; }
  /// What the user should know, a line each.
  const std::vector<std::string>& notes() const { return notes_; }

 private:
  class Input;
  void OpenContainer();
  void OpenDecoder();
  void Seek();
  bool Feed(VideoItem* item);
  bool NextBeside(VideoItem* item);
  void CheckWhole() const;
  bool TakeFrame(VideoItem* item);
  FrameHandle EightBit(const AVFrame& frame);
  void CheckFrame(const AVFrame& frame);
  bool IsInside(const AVPacket& packet);
  [[noreturn]] void Fail(const std::string& what) const;
  [[noreturn]] void FailInterlaced() const;

  VideoSourceOptions options_;
  std::unique_ptr<Input> input_;
  std::atomic<bool> stopped_ = false;
  FormatHandle format_;
  CodecHandle decoder_;
  FrameHandle frame_;
  ScalerHandle scaler_;
  int stream_ = -1;
  int width_ = 0, height_ = 0;
  double begin_ = 0, end_ = 0;
  double reached_ = 0;  ///< end of the last packet, seconds
  int64_t frames_ = 0, last_stamp_ = AV_NOPTS_VALUE;
  bool drained_ = false, read_all_ = false, past_end_ = false;
  std::vector<std::string> notes_;
};

/// "0:07.250" of seconds.
std::string ClockText(double seconds);

}  // namespace zolt
