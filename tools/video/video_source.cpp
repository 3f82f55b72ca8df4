#include "video/video_source.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include "common/errors.h"
#include "common/stop_request.h"
#include "video/video_frames.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace zolt {
namespace {

/// A file that ends this much before its own head says was cut off.
constexpr double kEndsEarly = 0.5;

}  // namespace

std::string ClockText(double seconds) {
  const auto milliseconds = std::max<int64_t>(0, std::llround(seconds * 1000));
  char text[40];
  std::snprintf(text, sizeof text, "%lld:%02d.%03d", static_cast<long long>(milliseconds / 60000),
                static_cast<int>(milliseconds / 1000 % 60), static_cast<int>(milliseconds % 1000));
  return text;
}

// Only this file is opened: no network, no play list's other files.
class VideoSource::Input {
 public:
  Input(const std::string& path, const std::atomic<bool>* stopped)
      : stopped_(stopped), file_(path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (file_ < 0) FailFile(path + ": can't be read: " + std::strerror(errno));
    struct stat told = {};
    const bool seeks = fstat(file_, &told) == 0 && S_ISREG(told.st_mode);
    constexpr int kBuffer = 1 << 18;
    auto* buffer = static_cast<unsigned char*>(av_malloc(kBuffer));
    if (buffer != nullptr)
      io_.reset(avio_alloc_context(buffer, kBuffer, 0, this, &Read, nullptr, seeks ? &Seek : nullptr));
    if (io_ == nullptr) {
      av_free(buffer);
      close(file_);
      FailFile(path + ": no memory to read it");
    }
  }
  ~Input() {
    io_.reset();
    close(file_);
  }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;
  AVIOContext* io() { return io_.get(); }

 private:
  static int Read(void* opaque, uint8_t* to, int size) {
    const auto* self = static_cast<Input*>(opaque);
    for (;;) {
      if (*self->stopped_ || StopRequest::Heard()) return AVERROR_EXIT;
      pollfd waiting = {self->file_, POLLIN, 0};
      if (poll(&waiting, 1, 200) <= 0) continue;
      const ssize_t n = read(self->file_, to, static_cast<size_t>(size));
      if (n > 0) return static_cast<int>(n);
      if (n == 0) return AVERROR_EOF;
      if (errno != EINTR && errno != EAGAIN) return AVERROR(errno);
    }
  }
  static int64_t Seek(void* opaque, int64_t offset, int whence) {
    const auto* self = static_cast<Input*>(opaque);
    if ((whence & AVSEEK_SIZE) != 0) {
      struct stat told = {};
      return fstat(self->file_, &told) == 0 ? told.st_size : AVERROR(EIO);
    }
    const off_t at = lseek(self->file_, offset, whence & ~AVSEEK_FORCE);
    return at >= 0 ? at : AVERROR(errno);
  }

  const std::atomic<bool>* stopped_;
  int file_;
  IoHandle io_;
};

VideoSource::VideoSource(const VideoSourceOptions& options) : options_(options) {
  av_log_set_level(AV_LOG_QUIET);
  input_ = std::make_unique<Input>(options_.path, &stopped_);
  OpenContainer();
  OpenDecoder();
  Seek();
  frame_.reset(av_frame_alloc());
  if (!frame_) Fail("no memory to read it");
}

VideoSource::~VideoSource() = default;

void VideoSource::Fail(const std::string& what) const {
  const std::string name = options_.path == "-" ? "standard input" : options_.path;
  FailFile(name + ": " + what);
}

void VideoSource::FailInterlaced() const {
  FailUsage(options_.path +
            ": is interlaced: each frame holds two moments. Make it progressive first: ffmpeg -i " +
            options_.path + " -vf bwdif -c:a copy progressive.mkv");
}

void VideoSource::OpenContainer() {
  AVFormatContext* format = avformat_alloc_context();
  if (format == nullptr) Fail("no memory to read it");
  format->pb = input_->io();
  format->protocol_whitelist = av_strdup("");
  const int opened = avformat_open_input(&format, nullptr, nullptr, nullptr);  // frees it when it fails
  if (opened >= 0) format_.reset(format);
  if (StopRequest::Heard()) throw ToolError(kExitStopped, "stopped before anything was written");
  if (opened < 0) Fail("is no video that can be read: " + FfmpegReason(opened));
  const int found = avformat_find_stream_info(format_.get(), nullptr);
  if (found < 0) Fail("is damaged: " + FfmpegReason(found));
  stream_ = av_find_best_stream(format_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (stream_ < 0) Fail("holds no video");
}

void VideoSource::OpenDecoder() {
  const AVCodecParameters* parameters = stream()->codecpar;
  const bool progressive =
      parameters->field_order == AV_FIELD_UNKNOWN || parameters->field_order == AV_FIELD_PROGRESSIVE;
  if (!progressive) FailInterlaced();
  const AVCodec* codec = avcodec_find_decoder(parameters->codec_id);
  if (codec == nullptr) Fail(std::string("no decoder for ") + avcodec_get_name(parameters->codec_id));
  decoder_.reset(avcodec_alloc_context3(codec));
  if (!decoder_ || avcodec_parameters_to_context(decoder_.get(), parameters) < 0)
    Fail("no memory to read it");
  decoder_->thread_count = options_.threads;
  decoder_->pkt_timebase = stream()->time_base;
  const int opened = avcodec_open2(decoder_.get(), codec, nullptr);
  if (opened < 0) Fail("can't be decoded: " + FfmpegReason(opened));
}

void VideoSource::Seek() {
  const double first =
      format_->start_time != AV_NOPTS_VALUE ? static_cast<double>(format_->start_time) / AV_TIME_BASE : 0;
  begin_ = options_.start > 0 ? first + options_.start : -std::numeric_limits<double>::infinity();
  end_ = std::numeric_limits<double>::infinity();
  if (options_.duration > 0) end_ = first + options_.start + options_.duration;
  if (options_.start <= 0) return;
  // Without seeking, in a pipe, what comes before is decoded and dropped.
  const auto stamp = static_cast<int64_t>(begin_ * AV_TIME_BASE);
  avformat_seek_file(format_.get(), -1, INT64_MIN, stamp, stamp, 0);
}

int64_t VideoSource::expected() const {
  const double rate = av_q2d(stream()->avg_frame_rate);
  if (format_->duration <= 0 || rate <= 0) return 0;
  double seconds = static_cast<double>(format_->duration) / AV_TIME_BASE - options_.start;
  if (options_.duration > 0) seconds = std::min(seconds, options_.duration);
  return static_cast<int64_t>(seconds * rate + 0.5);
}

bool VideoSource::Next(VideoItem* item) {
  *item = {};
  for (;;) {
    if (past_end_) return NextBeside(item);
    const int result = avcodec_receive_frame(decoder_.get(), frame_.get());
    if (result == AVERROR_EOF) {
      CheckWhole();
      return false;
    }
    if (result == 0) {
      if (TakeFrame(item)) return true;
      continue;
    }
    if (result != AVERROR(EAGAIN))
      Fail("is damaged after " + ClockText(reached_) + ": " + FfmpegReason(result));
    if (Feed(item)) return true;
  }
}

// Behind the last frame, what lies beside it in time: streams don't keep step in a file.
bool VideoSource::NextBeside(VideoItem* item) {
  constexpr double kOutOfStep = 1;
  for (;;) {
    PacketHandle packet(av_packet_alloc());
    if (!packet) Fail("no memory to read it");
    if (av_read_frame(format_.get(), packet.get()) < 0) return false;
    const AVRational base = format_->streams[packet->stream_index]->time_base;
    const int64_t stamp = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
    if (stamp != AV_NOPTS_VALUE && static_cast<double>(stamp) * av_q2d(base) >= end_ + kOutOfStep)
      return false;
    if (packet->stream_index == stream_ || !IsInside(*packet)) continue;
    item->packet = std::move(packet);
    return true;
  }
}

// Hands the decoder one more packet, or the end. True: a packet of another stream came in its place.
bool VideoSource::Feed(VideoItem* item) {
  PacketHandle packet(av_packet_alloc());
  if (!packet) Fail("no memory to read it");
  const int read = av_read_frame(format_.get(), packet.get());
  if (read < 0) {
    // What the decoder holds is whole: it comes out before the reason is told.
    drained_ = drained_ || avcodec_send_packet(decoder_.get(), nullptr) >= 0;
    read_all_ = read == AVERROR_EOF;
    return false;
  }
  const AVStream& from = *format_->streams[packet->stream_index];
  const int64_t stamp = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
  if (stamp != AV_NOPTS_VALUE)
    reached_ = std::max(reached_, static_cast<double>(stamp + packet->duration) * av_q2d(from.time_base));
  if (packet->stream_index != stream_) {
    if (!IsInside(*packet)) return false;
    item->packet = std::move(packet);
    return true;
  }
  const int sent = avcodec_send_packet(decoder_.get(), packet.get());
  // A stream that was joined in its middle begins with what can't be decoded.
  if (sent < 0 && frames_ > 0) Fail("is damaged after " + ClockText(reached_) + ": " + FfmpegReason(sent));
  return false;
}

bool VideoSource::IsInside(const AVPacket& packet) {
  const int64_t stamp = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
  if (stamp == AV_NOPTS_VALUE) return options_.start <= 0;
  const double at = static_cast<double>(stamp) * av_q2d(format_->streams[packet.stream_index]->time_base);
  return at >= begin_ && at < end_;
}

// The head of a file tells how long it was meant to be.
void VideoSource::CheckWhole() const {
  if (stopped_ || StopRequest::Heard()) return;
  if (!read_all_) Fail("can't be read further than " + ClockText(reached_));
  const bool told =
      format_->duration > 0 && format_->duration_estimation_method == AVFMT_DURATION_FROM_STREAM;
  const double whole = std::min(end_, static_cast<double>(format_->duration) / AV_TIME_BASE);
  if (told && reached_ < whole - kEndsEarly)
    Fail("ends at " + ClockText(reached_) + " of " + ClockText(whole) + ": it was cut off");
}

void VideoSource::CheckFrame(const AVFrame& frame) {
  if (frame.interlaced_frame != 0) FailInterlaced();
  if (width_ == 0) {
    width_ = frame.width;
    height_ = frame.height;
  }
  if (frame.width == width_ && frame.height == height_) return;
  const auto size = [](int w, int h) { return std::to_string(w) + " x " + std::to_string(h); };
  Fail("changes its size from " + size(width_, height_) + " to " + size(frame.width, frame.height) +
       " after " + std::to_string(frames_) + " frames; cut it there and clean the parts");
}

bool VideoSource::TakeFrame(VideoItem* item) {
  const bool damaged = frame_->decode_error_flags != 0 || (frame_->flags & AV_FRAME_FLAG_CORRUPT) != 0;
  if (damaged && frames_ > 0) Fail("is damaged after " + ClockText(reached_));
  if (damaged) return false;  // of a stream joined in its middle
  CheckFrame(*frame_);
  const AVRational base = stream()->time_base;
  int64_t stamp = frame_->best_effort_timestamp;
  // Bare streams have no clock: the frame rate is one.
  if (stamp == AV_NOPTS_VALUE) {
    const AVRational rate = stream()->avg_frame_rate.num > 0 ? stream()->avg_frame_rate : AVRational{25, 1};
    stamp = last_stamp_ == AV_NOPTS_VALUE
                ? 0
                : last_stamp_ + std::max<int64_t>(1, av_rescale_q(1, av_inv_q(rate), base));
  }
  if (last_stamp_ != AV_NOPTS_VALUE) stamp = std::max(stamp, last_stamp_ + 1);
  last_stamp_ = stamp;
  const double at = static_cast<double>(stamp) * av_q2d(base);
  past_end_ = at >= end_;
  // Half a step of the clock: a frame at the very start belongs to the result.
  if (past_end_ || at < begin_ - av_q2d(base) / 2) return false;
  item->frame = EightBit(*frame_);
  item->frame->pts = stamp;
  // The container may know better than the codec.
  item->frame->sample_aspect_ratio =
      av_guess_sample_aspect_ratio(format_.get(), format_->streams[stream_], frame_.get());
  ++frames_;
  return true;
}

FrameHandle VideoSource::EightBit(const AVFrame& frame) {
  const AVPixelFormat layout = PlainFormat(frame.format);
  if (layout == AV_PIX_FMT_YUV420P) {
    FrameHandle out(av_frame_clone(&frame));
    if (!out) Fail("no memory for a frame");
    return out;
  }
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(layout);
  if (frames_ == 0 && d != nullptr) {
    const int bits = d->comp[0].depth;
    notes_.push_back(std::string("the frames are ") + d->name + ": they are cleaned and written as " +
                     (bits > 8 ? "8 bits of 4:2:0, not " + std::to_string(bits) : "4:2:0"));
  }
  // Range and matrix stay what the tags say; RGB has neither.
  const bool rgb = IsRgbLike(layout);
  const bool full = rgb || IsFullRange(frame);
  FrameHandle out = Scaled(frame,
                           {.format = AV_PIX_FMT_YUV420P,
                            .matrix = rgb ? SWS_CS_ITU601 : MatrixOf(frame),
                            .full = full,
                            .dither = true},
                           &scaler_);
  if (rgb) out->colorspace = AVCOL_SPC_SMPTE170M;
  if (full) out->color_range = AVCOL_RANGE_JPEG;
  return out;
}

}  // namespace zolt
