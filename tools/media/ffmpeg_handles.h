#pragma once

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

namespace zolt {

/// Owners of FFmpeg's objects, each freed by its own function.
template <auto kFree>
struct FreeByAddress {
  template <typename T>
  void operator()(T* p) const {
    kFree(&p);
  }
};
struct FreeIo {
  void operator()(AVIOContext* io) const {
    av_freep(&io->buffer);
    avio_context_free(&io);
  }
};
struct FreeScaler {
  void operator()(SwsContext* s) const { sws_freeContext(s); }
};
using FormatHandle = std::unique_ptr<AVFormatContext, FreeByAddress<avformat_close_input>>;
using CodecHandle = std::unique_ptr<AVCodecContext, FreeByAddress<avcodec_free_context>>;
using FrameHandle = std::unique_ptr<AVFrame, FreeByAddress<av_frame_free>>;
using PacketHandle = std::unique_ptr<AVPacket, FreeByAddress<av_packet_free>>;
using IoHandle = std::unique_ptr<AVIOContext, FreeIo>;
using ScalerHandle = std::unique_ptr<SwsContext, FreeScaler>;

inline std::string FfmpegReason(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  return av_strerror(code, text, sizeof(text)) == 0 ? text : "error " + std::to_string(code);
}

}  // namespace zolt
