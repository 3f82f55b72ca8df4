// Images and video by way of FFmpeg.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/errors.h"
#include "media/colour.h"
#include "media/ffmpeg_frame.h"
#include "media/frame_source.h"
#include "media/tiff_pages.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace zolt {
namespace {

// Formats that hold nothing but pictures: a play list or a script can't send the reader to other files.
constexpr const char* kFormats =
    "jpeg_pipe,jpegls_pipe,png_pipe,apng,tiff_pipe,bmp_pipe,ppm_pipe,pgm_pipe,pam_pipe,webp_pipe,"
    "yuv4mpegpipe,mov,"
    "mp4,"
    "matroska,webm,avi,mpegts,mjpeg,h264,hevc,nut,ivf";

class InputFile {
 public:
  explicit InputFile(const std::string& path) : file_(std::fopen(path.c_str(), "rb")) {
    if (!file_) FailFile(path + ": can't be read: " + std::strerror(errno));
    const int kBuffer = 1 << 16;
    auto* buffer = static_cast<unsigned char*>(av_malloc(kBuffer));
    if (buffer) io_.reset(avio_alloc_context(buffer, kBuffer, 0, file_, &Read, nullptr, &Seek));
    if (!io_) {
      av_free(buffer);
      std::fclose(file_);
      FailFile(path + ": no memory to read it");
    }
  }
  ~InputFile() {
    io_.reset();
    std::fclose(file_);
  }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  AVIOContext* io() { return io_.get(); }
  void Rewind() { avio_seek(io_.get(), 0, SEEK_SET); }

 private:
  static int Read(void* opaque, uint8_t* to, int size) {
    const size_t n = std::fread(to, 1, static_cast<size_t>(size), static_cast<FILE*>(opaque));
    return n > 0 ? static_cast<int>(n) : AVERROR_EOF;
  }
  static int64_t Seek(void* opaque, int64_t offset, int whence) {
    FILE* file = static_cast<FILE*>(opaque);
    if (whence == AVSEEK_SIZE) {
      const off_t here = ftello(file);
      if (here < 0 || fseeko(file, 0, SEEK_END) != 0) return AVERROR(EIO);
      const off_t size = ftello(file);
      fseeko(file, here, SEEK_SET);
      return size;
    }
    return fseeko(file, offset, whence & ~AVSEEK_FORCE) == 0 ? ftello(file) : AVERROR(EIO);
  }

  FILE* file_;
  IoHandle io_;
};

void CopyPlane(const AVFrame& frame, int index, std::vector<uint8_t>& out, int width, int height) {
  for (int y = 0; y < height; ++y) {
    std::memcpy(&out[size_t(y) * width], frame.data[index] + ptrdiff_t{y} * frame.linesize[index],
                size_t(width));
  }
}

FrameHandle Converted(const AVFrame& frame, AVPixelFormat to) {
  const ScalerHandle scaler =
      ScalerFor(frame, {.format = to, .matrix = SWS_CS_ITU601, .full = true, .dither = false});
  FrameHandle out = NewFrame(frame.width, frame.height, to);
  sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, out->data, out->linesize);
  return out;
}

int BitsOf(const AVFrame& frame) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(PlainFormat(frame.format));
  return d ? d->comp[0].depth : 8;
}

bool IsGrey(const AVFrame& frame) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(PlainFormat(frame.format));
  return d && d->nb_components < 3 && (d->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) == 0;
}

// Samples of a packed layout with `samples` of them in a row. Deeper ones are rounded here, since the scaler
// cuts their low bits off.
std::vector<uint8_t> PackedSamples(const AVFrame& frame, AVPixelFormat shallow, AVPixelFormat deep,
                                   int samples) {
  std::vector<uint8_t> out(size_t(samples) * static_cast<size_t>(frame.height));
  const bool rounds = BitsOf(frame) > 8;
  const AVPixelFormat to = rounds ? deep : shallow;
  FrameHandle converted;
  const AVFrame* from = &frame;
  if (frame.format != to) {
    converted = Converted(frame, to);
    from = converted.get();
  }
  if (!rounds) {
    CopyPlane(*from, 0, out, samples, frame.height);
    return out;
  }
  for (int y = 0; y < frame.height; ++y) {
    const uint8_t* row = from->data[0] + ptrdiff_t{y} * from->linesize[0];
    for (int x = 0; x < samples; ++x) {
      uint16_t value;
      std::memcpy(&value, row + 2 * x, 2);
      out[size_t(y) * samples + x] = EightBits(value);
    }
  }
  return out;
}

RgbPicture RgbOf(const AVFrame& frame) {
  RgbPicture out;
  out.width = frame.width;
  out.height = frame.height;
  out.rgb = PackedSamples(frame, AV_PIX_FMT_RGB24, AV_PIX_FMT_RGB48, 3 * frame.width);
  return out;
}

YuvPicture GreyOf(const AVFrame& frame) {
  YuvPicture out(frame.width, frame.height);
  out.y = PackedSamples(frame, AV_PIX_FMT_GRAY8, AV_PIX_FMT_GRAY16, frame.width);
  std::fill(out.u.begin(), out.u.end(), uint8_t{128});
  std::fill(out.v.begin(), out.v.end(), uint8_t{128});
  out.grey = true;
  return out;
}

YuvPicture PlanesOf(const AVFrame& frame) {
  YuvPicture out(frame.width, frame.height);
  CopyPlane(frame, 0, out.y, out.width, out.height);
  CopyPlane(frame, 1, out.u, out.ChromaWidth(), out.ChromaHeight());
  CopyPlane(frame, 2, out.v, out.ChromaWidth(), out.ChromaHeight());
  return out;
}

bool IsHalfChroma(const AVFrame& frame) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(PlainFormat(frame.format));
  return d && d->log2_chroma_w > 0 && d->log2_chroma_h > 0;
}

// What goes through RGB: RGB itself, finer chroma than 4:2:0, and the matrices that FFmpeg only changes on
// that road.
bool HoldsRgb(const AVFrame& frame) {
  return !IsHalfChroma(frame) || MatrixOf(frame) != SWS_CS_ITU601;
}

YuvPicture YuvOf(const AVFrame& frame) {
  if (PlainFormat(frame.format) == AV_PIX_FMT_YUV420P && IsFullRange(frame)) return PlanesOf(frame);
  return PlanesOf(*Converted(frame, AV_PIX_FMT_YUV420P));
}

std::optional<int> IsoOf(const AVFrame& frame) {
  for (const char* key : {"ISOSpeedRatings", "PhotographicSensitivity"}) {
    const AVDictionaryEntry* entry = av_dict_get(frame.metadata, key, nullptr, 0);
    if (!entry) continue;
    const long iso = std::strtol(entry->value, nullptr, 10);
    if (iso > 0 && iso < 10000000) return static_cast<int>(iso);
  }
  return std::nullopt;
}

class FfmpegSource : public FrameSource {
 public:
  FfmpegSource(const std::string& path, const ReadOptions& options)
      : path_(path), options_(options), input_(path) {
    av_log_set_level(AV_LOG_QUIET);
    pages_ = TiffPages(path);
    Open();
  }

  std::optional<SourceFrame> Next() override {
    const AVFrame* frame = NextFrame();
    // FFmpeg gives one page of a TIFF for each time that it is opened.
    while (!frame && page_ + 1 < pages_.size()) {
      ++page_;
      Open();
      frame = NextFrame();
    }
    if (!frame) return std::nullopt;
    SourceFrame out;
    out.bits = BitsOf(*frame);
    out.iso = IsoOf(*frame);
    out.orientation = OrientationOf(*format_->streams[stream_]);
    if (IsGrey(*frame)) {
      out.yuv = GreyOf(*frame);
    } else if (HoldsRgb(*frame)) {
      out.rgb = RgbOf(*frame);
      out.half_chroma = IsHalfChroma(*frame);
    } else {
      out.yuv = YuvOf(*frame);
    }
    return out;
  }

 private:
  void Open() {
    decoder_.reset();
    format_.reset();
    input_.Rewind();
    OpenContainer();
    OpenDecoder();
    packet_.reset(av_packet_alloc());
    frame_.reset(av_frame_alloc());
    if (!packet_ || !frame_) Fail("no memory to read it");
  }

  // The decoder's own frame, valid until the next call; null at the end.
  const AVFrame* NextFrame() {
    for (;;) {
      const int result = avcodec_receive_frame(decoder_.get(), frame_.get());
      if (result == AVERROR_EOF) return nullptr;
      if (result == 0) {
        CheckPixels(path_, frame_->width, frame_->height, options_);
        if (frame_->decode_error_flags != 0 || (frame_->flags & AV_FRAME_FLAG_CORRUPT) != 0)
          Fail("is damaged");
        return frame_.get();
      }
      if (result != AVERROR(EAGAIN)) Fail("is damaged: " + FfmpegReason(result));
      Feed();
    }
  }

  [[noreturn]] void Fail(const std::string& what) const {
    // A decoder that refuses a size doesn't say so; the head of the file may.
    const Metadata head = ReadMetadata(path_);
    if (head.width > 0 && head.height > 0) CheckPixels(path_, head.width, head.height, options_);
    FailFile(path_ + ": " + what);
  }

  void OpenContainer() {
    AVFormatContext* format = avformat_alloc_context();
    if (!format) Fail("no memory to read it");
    format->pb = input_.io();
    format->format_whitelist = av_strdup(kFormats);
    format->protocol_whitelist = av_strdup("");
    const int opened =
        avformat_open_input(&format, nullptr, nullptr, nullptr);  // frees `format` when it fails
    if (opened < 0) Fail("is no image or video that can be read: " + FfmpegReason(opened));
    format_.reset(format);
    const int found = FindStreams();
    if (found < 0) Fail("is damaged: " + FfmpegReason(found));
    stream_ = av_find_best_stream(format_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (stream_ < 0) Fail("holds no picture");
  }

  // Looking for streams decodes frames, which must not be larger than wanted either.
  int FindStreams() {
    std::vector<AVDictionary*> limits(format_->nb_streams, nullptr);
    for (AVDictionary*& limit : limits) av_dict_set_int(&limit, "max_pixels", options_.most_pixels, 0);
    const int found = avformat_find_stream_info(format_.get(), limits.empty() ? nullptr : limits.data());
    for (AVDictionary*& limit : limits) av_dict_free(&limit);
    return found;
  }

  void OpenDecoder() {
    const AVCodecParameters* parameters = format_->streams[stream_]->codecpar;
    const AVCodec* codec = avcodec_find_decoder(parameters->codec_id);
    if (!codec) Fail(std::string("no decoder for ") + avcodec_get_name(parameters->codec_id));
    decoder_.reset(avcodec_alloc_context3(codec));
    if (!decoder_ || avcodec_parameters_to_context(decoder_.get(), parameters) < 0)
      Fail("no memory to read it");
    // FFmpeg's TIFF decoder takes a tag that it doesn't know, such as the orientation, for an error to
    // explode at.
    const bool explodes = codec->id != AV_CODEC_ID_TIFF;
    decoder_->err_recognition = AV_EF_CRCCHECK | (explodes ? AV_EF_EXPLODE : 0);
    // Said here in words, since the decoder's own refusal doesn't tell why.
    if (parameters->width > 0 && parameters->height > 0)
      CheckPixels(path_, parameters->width, parameters->height, options_);
    decoder_->max_pixels = options_.most_pixels;
    decoder_->thread_count = 1;
    AVDictionary* settings = nullptr;
    if (codec->id == AV_CODEC_ID_TIFF && !pages_.empty())
      av_dict_set_int(&settings, "page", pages_[page_], 0);
    const int opened = avcodec_open2(decoder_.get(), codec, &settings);
    av_dict_free(&settings);
    if (opened < 0) Fail("can't be decoded: " + FfmpegReason(opened));
  }

  // Hands the decoder one more packet, or the end.
  void Feed() {
    for (;;) {
      const int read = av_read_frame(format_.get(), packet_.get());
      if (read == AVERROR_EOF) {
        avcodec_send_packet(decoder_.get(), nullptr);
        return;
      }
      if (read < 0) Fail("is damaged: " + FfmpegReason(read));
      const bool ours = packet_->stream_index == stream_;
      const int sent = ours ? avcodec_send_packet(decoder_.get(), packet_.get()) : 0;
      av_packet_unref(packet_.get());
      if (sent < 0) Fail("is damaged: " + FfmpegReason(sent));
      if (ours) return;
    }
  }

  std::string path_;
  ReadOptions options_;
  InputFile input_;
  std::vector<int> pages_;
  size_t page_ = 0;
  FormatHandle format_;
  CodecHandle decoder_;
  PacketHandle packet_;
  FrameHandle frame_;
  int stream_ = -1;
};

}  // namespace

std::unique_ptr<FrameSource> OpenWithFfmpeg(const std::string& path, const ReadOptions& options) {
  return std::make_unique<FfmpegSource>(path, options);
}

}  // namespace zolt
