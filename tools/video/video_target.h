#pragma once

#include <memory>
#include <string>
#include <vector>

#include "video/target_file.h"
#include "video/video_source.h"

namespace zolt {

struct VideoTargetOptions {
  std::string path;         ///< "-": Y4M on standard output
  std::string codec = {};   ///< FFmpeg's name of an encoder; empty: the container's usual one
  std::string preset = {};  ///< the encoder's own; empty: its default
  std::string pixels = {};  ///< FFmpeg's name of a layout; empty: yuv420p
  int crf = -1;             ///< below 0: fit to see no loss
  int threads = 0;          ///< of the encoder; 0: as many as it likes
  bool beside = false;      ///< frames are twice as wide as the source's, and nothing else goes along
};

/// A video being written: its frames encoded, all other streams of the source as they are, with chapters,
/// tags, rotation, colour and time stamps. On one thread.
class VideoTarget {
 public:
  /// ToolError (usage) for what can't go together, (file) for a missing encoder or what can't be written.
  VideoTarget(const VideoTargetOptions& options, const VideoSource& source);
  ~VideoTarget();
  VideoTarget(const VideoTarget&) = delete;
  VideoTarget& operator=(const VideoTarget&) = delete;

  /// A frame, its time stamp in the source stream's time base. ToolError (file).
  void Write(const AVFrame& frame);
  void Write(const AVPacket& packet);

  /// Ends the file and moves it into place; without a call nothing is left. A failure before leaves out what
  /// the encoder still held.
  void Close();

  int64_t frames() const { return frames_; }
  /// Streams that the container can't take, a line each.
  const std::vector<std::string>& notes() const { return notes_; }

 private:
  void ChooseEncoder(const VideoSource& source);
  void AddVideo(const VideoSource& source);
  void AddOthers(const VideoSource& source);
  void AddChapters(const VideoSource& source);
  void Begin(const AVFrame& first);
  void OpenEncoder(const AVFrame& first);
  void Encode(const AVFrame* frame);
  void Mux(AVPacket* packet);
  FrameHandle Converted(const AVFrame& frame);
  [[noreturn]] void Fail(const std::string& what) const;

  struct FreeOutput {
    void operator()(AVFormatContext* f) const { avformat_free_context(f); }
  };

  VideoTargetOptions options_;
  std::unique_ptr<TargetFile> file_;
  std::unique_ptr<AVFormatContext, FreeOutput> format_;
  const AVCodec* codec_ = nullptr;
  CodecHandle encoder_;
  ScalerHandle scaler_;
  AVPixelFormat pixels_ = AV_PIX_FMT_YUV420P;
  AVRational base_ = {}, rate_ = {};
  int orientation_;                ///< that the frames are turned by, one of Exif's
  int64_t shift_ = 0;              ///< microseconds that all stamps are moved back by
  std::vector<int> places_;        ///< of the source's streams in this file, -1: left out
  std::vector<AVRational> bases_;  ///< of the source's streams
  bool begun_ = false, failed_ = false;
  int64_t frames_ = 0;
  std::vector<std::string> notes_;
};

/// What would only come out after work is done: ToolError (usage) for a name without a video's extension or a
/// missing folder, (file) for an encoder that isn't there.
void CheckTarget(const VideoTargetOptions& options);

}  // namespace zolt
