#include "video/video_target.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "common/errors.h"
#include "common/file_io.h"
#include "media/orientation.h"
#include "video/video_frames.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace zolt {
namespace {

const AVOutputFormat* ContainerOf(const VideoTargetOptions& options) {
  const AVOutputFormat* container = options.path == "-"
                                        ? av_guess_format("yuv4mpegpipe", nullptr, nullptr)
                                        : av_guess_format(nullptr, options.path.c_str(), nullptr);
  const bool video = container != nullptr && container->video_codec != AV_CODEC_ID_NONE &&
                     (container->flags & AVFMT_NOFILE) == 0 && std::strcmp(container->name, "image2") != 0;
  if (!video) FailUsage(options.path + ": no video's name; end it in .mp4, .mkv, .webm, .mov, .avi or .y4m");
  return container;
}

bool Is(const AVOutputFormat* container, const char* name) {
  return std::strcmp(container->name, name) == 0;
}

const AVCodec* EncoderFor(const VideoTargetOptions& options, const AVOutputFormat* container) {
  if (!options.codec.empty()) {
    const AVCodec* named = avcodec_find_encoder_by_name(options.codec.c_str());
    if (named == nullptr || named->type != AVMEDIA_TYPE_VIDEO)
      FailFile("--codec " + options.codec +
               ": FFmpeg has no such video encoder here; ffmpeg -encoders lists them");
    return named;
  }
  const AVCodec* codec = nullptr;
  if (Is(container, "webm")) codec = avcodec_find_encoder_by_name("libvpx-vp9");
  const bool h264 = Is(container, "mp4") || Is(container, "mov") || Is(container, "matroska") ||
                    Is(container, "avi") || Is(container, "mpegts") || Is(container, "flv");
  if (h264) codec = avcodec_find_encoder_by_name("libx264");
  if (codec == nullptr) codec = avcodec_find_encoder(container->video_codec);
  if (codec == nullptr) FailFile(options.path + ": FFmpeg has no encoder for it here; name one with --codec");
  return codec;
}

/// Quality at which the encoder's own loss stays below what is left of the noise.
int UsualCrf(const std::string& encoder) {
  if (encoder == "libvpx-vp9" || encoder == "libsvtav1" || encoder == "libaom-av1") return 24;
  return 17;
}

void CopySideData(const AVStream& from, bool turned, AVStream* to) {
  for (int i = 0; i < from.nb_side_data; ++i) {
    const AVPacketSideData& data = from.side_data[i];
    if (data.type == AV_PKT_DATA_CPB_PROPERTIES || (turned && data.type == AV_PKT_DATA_DISPLAYMATRIX))
      continue;
    uint8_t* copy = av_stream_new_side_data(to, data.type, data.size);
    if (copy != nullptr) std::memcpy(copy, data.data, data.size);
  }
}

// What the old container said of itself.
void CopyTags(const AVDictionary* from, AVDictionary** to) {
  av_dict_copy(to, from, 0);
  for (const char* own : {"encoder", "major_brand", "minor_version", "compatible_brands", "duration"})
    av_dict_set(to, own, nullptr, 0);
}

void CopyStreamTags(const AVStream& from, bool turned, AVStream* to) {
  CopyTags(from.metadata, &to->metadata);
  to->disposition = from.disposition;
  CopySideData(from, turned, to);
}

bool IsMov(const AVOutputFormat* container) {
  return Is(container, "mp4") || Is(container, "mov");
}

// Tags that phones name in their own way, which are only kept in a list of their own.
bool KeepsOwnTags(const AVFormatContext& format) {
  return IsMov(format.oformat) &&
         av_dict_get(format.metadata, "com.", nullptr, AV_DICT_IGNORE_SUFFIX) != nullptr;
}

// The titles of chapters lie in a stream of their own, which the container makes anew.
bool IsChapterText(const AVFormatContext& file, const AVStream& stream) {
  const AVCodecParameters& codec = *stream.codecpar;
  return file.nb_chapters > 0 && codec.codec_type == AVMEDIA_TYPE_DATA &&
         codec.codec_tag == MKTAG('t', 'e', 'x', 't');
}

bool Takes(const AVOutputFormat* container, const AVStream& stream) {
  const AVMediaType type = stream.codecpar->codec_type;
  const bool cover = type == AVMEDIA_TYPE_VIDEO && (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
  if (Is(container, "matroska") && type == AVMEDIA_TYPE_ATTACHMENT) return true;
  if (type != AVMEDIA_TYPE_AUDIO && type != AVMEDIA_TYPE_SUBTITLE && !(cover && IsMov(container)))
    return false;
  return avformat_query_codec(container, stream.codecpar->codec_id, FF_COMPLIANCE_NORMAL) == 1;
}

}  // namespace

void CheckTarget(const VideoTargetOptions& options) {
  EncoderFor(options, ContainerOf(options));
  if (options.path != "-") CheckFolderOf(options.path);
  if (!options.pixels.empty() && av_get_pix_fmt(options.pixels.c_str()) == AV_PIX_FMT_NONE)
    FailUsage("--pix-fmt " + options.pixels + ": FFmpeg knows no such layout; yuv420p is the usual one");
}

VideoTarget::VideoTarget(const VideoTargetOptions& options, const VideoSource& source) : options_(options) {
  const AVOutputFormat* container = ContainerOf(options_);
  AVFormatContext* format = nullptr;
  if (avformat_alloc_output_context2(&format, container, nullptr, nullptr) < 0) Fail("no memory to write it");
  format_.reset(format);
  file_ = std::make_unique<TargetFile>(options_.path);
  format_->pb = file_->io();
  format_->flags |= AVFMT_FLAG_CUSTOM_IO;
  base_ = source.stream()->time_base;
  orientation_ =
      IsMov(container) && !options_.beside ? kUpright : OrientationOf(*source.stream()).value_or(kUpright);
  // Where the result begins becomes its second 0; without a cut all stamps are the source's.
  if (std::isfinite(source.begin())) shift_ = std::llround(source.begin() * AV_TIME_BASE);
  ChooseEncoder(source);
  AddVideo(source);
  if (options_.beside || options_.path == "-") return;
  AddOthers(source);
  AddChapters(source);
  CopyTags(source.format()->metadata, &format_->metadata);
}

VideoTarget::~VideoTarget() {
  if (format_) format_->pb = nullptr;
}

void VideoTarget::Fail(const std::string& what) const {
  FailFile((options_.path == "-" ? "standard output" : options_.path) + ": " + what);
}

void VideoTarget::ChooseEncoder(const VideoSource& source) {
  codec_ = EncoderFor(options_, format_->oformat);
  if (!options_.pixels.empty()) {
    pixels_ = av_get_pix_fmt(options_.pixels.c_str());
    return;
  }
  const bool odd = (source.decoder()->width | source.decoder()->height) % 2 != 0 && !options_.beside;
  // H.264 and H.265 in 4:2:0 have even sides only.
  const std::string name = codec_->name;
  if (odd && (name == "libx264" || name == "libx265")) {
    pixels_ = AV_PIX_FMT_YUV444P;
    notes_.push_back("an odd side: written as 4:4:4, which not every player shows");
  }
}

void VideoTarget::AddVideo(const VideoSource& source) {
  AVStream* stream = avformat_new_stream(format_.get(), nullptr);
  if (stream == nullptr) Fail("no memory to write it");
  const AVStream& from = *source.stream();
  stream->time_base = base_;
  rate_ = from.avg_frame_rate.num > 0 ? from.avg_frame_rate : AVRational{25, 1};
  stream->avg_frame_rate = rate_;
  stream->r_frame_rate = from.r_frame_rate;
  if (options_.beside) {
    CopyTags(from.metadata, &stream->metadata);
  } else {
    CopyStreamTags(from, orientation_ != kUpright, stream);
  }
}

void VideoTarget::AddOthers(const VideoSource& source) {
  const AVFormatContext* from = source.format();
  for (unsigned i = 0; i < from->nb_streams; ++i) {
    const AVStream& stream = *from->streams[i];
    bases_.push_back(stream.time_base);
    places_.push_back(-1);
    if (&stream == source.stream()) continue;
    if (IsChapterText(*from, stream)) continue;
    if (!Takes(format_->oformat, stream)) {
      const char* kind = av_get_media_type_string(stream.codecpar->codec_type);
      notes_.push_back("stream " + std::to_string(i) + " (" + (kind != nullptr ? kind : "unknown") + ", " +
                       avcodec_get_name(stream.codecpar->codec_id) + ") is left out: not for this container");
      continue;
    }
    AVStream* to = avformat_new_stream(format_.get(), nullptr);
    if (to == nullptr || avcodec_parameters_copy(to->codecpar, stream.codecpar) < 0)
      Fail("no memory to write it");
    to->codecpar->codec_tag = 0;
    to->time_base = stream.time_base;
    CopyStreamTags(stream, false, to);
    places_.back() = to->index;
  }
}

void VideoTarget::AddChapters(const VideoSource& source) {
  const AVFormatContext* from = source.format();
  if (from->nb_chapters == 0) return;
  format_->chapters = static_cast<AVChapter**>(av_calloc(from->nb_chapters, sizeof(AVChapter*)));
  if (format_->chapters == nullptr) Fail("no memory to write it");
  for (unsigned i = 0; i < from->nb_chapters; ++i) {
    const AVChapter& chapter = *from->chapters[i];
    const int64_t shift = av_rescale_q(shift_, AV_TIME_BASE_Q, chapter.time_base);
    const double begin = static_cast<double>(chapter.start) * av_q2d(chapter.time_base);
    const double end = static_cast<double>(chapter.end) * av_q2d(chapter.time_base);
    if (end <= source.begin() || begin >= source.end()) continue;
    auto* copy = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
    if (copy == nullptr) Fail("no memory to write it");
    copy->id = chapter.id;
    copy->time_base = chapter.time_base;
    copy->start = std::max<int64_t>(0, chapter.start - shift);
    copy->end = chapter.end - shift;
    if (std::isfinite(source.end())) {
      const auto length = static_cast<int64_t>((source.end() * AV_TIME_BASE) - static_cast<double>(shift_));
      copy->end = std::min(copy->end, av_rescale_q(length, AV_TIME_BASE_Q, chapter.time_base));
    }
    av_dict_copy(&copy->metadata, chapter.metadata, 0);
    format_->chapters[format_->nb_chapters++] = copy;
  }
}

void VideoTarget::OpenEncoder(const AVFrame& first) {
  encoder_.reset(avcodec_alloc_context3(codec_));
  if (!encoder_) Fail("no memory to write it");
  AVCodecContext* e = encoder_.get();
  e->width = first.width;
  e->height = first.height;
  e->pix_fmt = pixels_;
  e->time_base = base_;
  e->framerate = rate_;
  e->sample_aspect_ratio = first.sample_aspect_ratio;
  e->color_range = first.color_range;
  e->color_primaries = first.color_primaries;
  e->color_trc = first.color_trc;
  e->colorspace = first.colorspace;
  e->chroma_sample_location = first.chroma_location;
  e->thread_count = options_.threads;
  // MPEG-4 counts time in 16 bits.
  if (codec_->id == AV_CODEC_ID_MPEG4 && base_.den > 65535) e->time_base = av_inv_q(rate_);
  // AVI has no place for the order in which frames are shown.
  if (Is(format_->oformat, "avi")) e->max_b_frames = 0;
  if ((format_->oformat->flags & AVFMT_GLOBALHEADER) != 0) e->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  AVDictionary* settings = nullptr;
  const bool has_crf =
      codec_->priv_class != nullptr && av_opt_find2(const_cast<AVClass**>(&codec_->priv_class), "crf",
                                                    nullptr, 0, AV_OPT_SEARCH_FAKE_OBJ, nullptr) != nullptr;
  if (has_crf)
    av_dict_set_int(&settings, "crf", options_.crf >= 0 ? options_.crf : UsualCrf(codec_->name), 0);
  if (!has_crf && options_.crf >= 0)
    FailUsage(std::string("--crf: ") + codec_->name + " has no such setting");
  if (!has_crf && codec_->id == AV_CODEC_ID_MPEG4) {
    e->flags |= AV_CODEC_FLAG_QSCALE;
    e->global_quality = 2 * FF_QP2LAMBDA;
  }
  if (std::strcmp(codec_->name, "libx265") == 0) av_dict_set(&settings, "x265-params", "log-level=error", 0);
  if (!options_.preset.empty()) av_dict_set(&settings, "preset", options_.preset.c_str(), 0);
  const int opened = avcodec_open2(e, codec_, &settings);
  const bool refused = av_dict_count(settings) > 0;
  av_dict_free(&settings);
  if (opened < 0 || (refused && !options_.preset.empty()))
    FailFile(std::string(codec_->name) + ": the encoder refuses " + std::to_string(first.width) + " x " +
             std::to_string(first.height) + ", " + av_get_pix_fmt_name(pixels_) +
             (options_.preset.empty() ? "" : ", preset " + options_.preset) +
             (opened < 0 ? ": " + FfmpegReason(opened) : ""));
}

void VideoTarget::Begin(const AVFrame& first) {
  OpenEncoder(first);
  AVStream* stream = format_->streams[0];
  if (avcodec_parameters_from_context(stream->codecpar, encoder_.get()) < 0) Fail("no memory to write it");
  stream->time_base = base_;
  // Finer than the encoder's own, which has 12 bits for it.
  stream->sample_aspect_ratio = stream->codecpar->sample_aspect_ratio = first.sample_aspect_ratio;
  AVDictionary* settings = nullptr;
  if (KeepsOwnTags(*format_)) av_dict_set(&settings, "movflags", "use_metadata_tags", 0);
  const int written = avformat_write_header(format_.get(), &settings);
  av_dict_free(&settings);
  if (written < 0) {
    const std::string why = file_->refusal().empty() ? FfmpegReason(written) : file_->refusal();
    Fail("can't be written with " + std::string(codec_->name) + ": " + why);
  }
  begun_ = true;
}

FrameHandle VideoTarget::Converted(const AVFrame& frame) {
  FrameHandle out;
  if (pixels_ != AV_PIX_FMT_YUV420P) {
    const bool full = IsRgbLike(pixels_) || IsFullRange(frame);
    out = Scaled(frame, {.format = pixels_, .matrix = MatrixOf(frame), .full = full, .dither = false},
                 &scaler_);
  } else {
    out.reset(av_frame_clone(&frame));
  }
  if (!out) Fail("no memory for a frame");
  // x264 and its like would take the source's frame types over.
  out->pict_type = AV_PICTURE_TYPE_NONE;
  out->pts =
      av_rescale_q(frame.pts - av_rescale_q(shift_, AV_TIME_BASE_Q, base_), base_, encoder_->time_base);
  return out;
}

void VideoTarget::Write(const AVFrame& frame) {
  const FrameHandle upright = orientation_ != kUpright ? Turned(frame, orientation_) : nullptr;
  const AVFrame& shown = upright ? *upright : frame;
  if (!begun_) Begin(shown);
  Encode(Converted(shown).get());
  ++frames_;
}

void VideoTarget::Encode(const AVFrame* frame) {
  const int sent = avcodec_send_frame(encoder_.get(), frame);
  if (sent < 0 && sent != AVERROR_EOF) Fail("the encoder failed: " + FfmpegReason(sent));
  const PacketHandle packet(av_packet_alloc());
  if (!packet) Fail("no memory to write it");
  while (avcodec_receive_packet(encoder_.get(), packet.get()) >= 0) {
    packet->stream_index = 0;
    av_packet_rescale_ts(packet.get(), encoder_->time_base, format_->streams[0]->time_base);
    Mux(packet.get());
  }
}

void VideoTarget::Write(const AVPacket& packet) {
  const auto from = static_cast<size_t>(packet.stream_index);
  if (!begun_ || from >= places_.size() || places_[from] < 0) return;
  const PacketHandle copy(av_packet_clone(&packet));
  if (!copy) Fail("no memory to write it");
  const int64_t shift = av_rescale_q(shift_, AV_TIME_BASE_Q, bases_[from]);
  if (copy->pts != AV_NOPTS_VALUE) copy->pts -= shift;
  if (copy->dts != AV_NOPTS_VALUE) copy->dts -= shift;
  copy->stream_index = places_[from];
  copy->pos = -1;
  av_packet_rescale_ts(copy.get(), bases_[from], format_->streams[places_[from]]->time_base);
  Mux(copy.get());
}

void VideoTarget::Mux(AVPacket* packet) {
  const int written = av_interleaved_write_frame(format_.get(), packet);
  if (written >= 0 && file_->refusal().empty()) return;
  failed_ = true;
  Fail("can't be written after " + std::to_string(frames_) +
       " frames: " + (file_->refusal().empty() ? FfmpegReason(written) : file_->refusal()));
}

void VideoTarget::Close() {
  if (!begun_) Fail("nothing was written: no frame");
  if (!failed_) Encode(nullptr);
  const int ended = av_write_trailer(format_.get());
  avio_flush(format_->pb);
  const std::string refusal = file_->refusal();
  if ((ended >= 0 && format_->pb->error >= 0) || !refusal.empty()) file_->Keep();
  if (!refusal.empty() && !failed_) Fail("can't be written whole: " + refusal);
  if (ended < 0 && !failed_) Fail("can't be ended: " + FfmpegReason(ended));
}

}  // namespace zolt
