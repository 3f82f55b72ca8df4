// WebP of several frames, which FFmpeg does not read. Stills go its way.
#include <webp/demux.h>

#include <memory>

#include "common/errors.h"
#include "common/file_io.h"
#include "media/frame_source.h"

namespace zolt {
namespace {

struct FreeParts {
  void operator()(WebPDemuxer* p) const { WebPDemuxDelete(p); }
};
struct FreeDecoder {
  void operator()(WebPAnimDecoder* p) const { WebPAnimDecoderDelete(p); }
};

// Frames as a viewer shows them: each drawn over what the ones before left on the canvas.
class WebpFrames : public FrameSource {
 public:
  WebpFrames(const std::string& path, const ReadOptions& options) : path_(path), bytes_(ReadWhole(path)) {
    const WebPData data = {bytes_.data(), bytes_.size()};
    const std::unique_ptr<WebPDemuxer, FreeParts> parts(WebPDemux(&data));
    if (!parts) FailFile(path + ": is damaged: it ends early or its parts don't fit together");
    // The decoder takes memory for the whole canvas as soon as it is made.
    const int64_t width = WebPDemuxGetI(parts.get(), WEBP_FF_CANVAS_WIDTH);
    const int64_t height = WebPDemuxGetI(parts.get(), WEBP_FF_CANVAS_HEIGHT);
    CheckPixels(path, width, height, options);
    canvas_ = RgbPicture(static_cast<int>(width), static_cast<int>(height));
    WebPAnimDecoderOptions how;
    if (WebPAnimDecoderOptionsInit(&how) != 0) {
      how.color_mode = MODE_RGBA;
      decoder_.reset(WebPAnimDecoderNew(&data, &how));
    }
    if (!decoder_) FailFile(path + ": can't be decoded, or there is no memory for it");
  }

  std::optional<SourceFrame> Next() override {
    if (WebPAnimDecoderHasMoreFrames(decoder_.get()) == 0) return std::nullopt;
    uint8_t* from = nullptr;
    int milliseconds = 0;
    if (WebPAnimDecoderGetNext(decoder_.get(), &from, &milliseconds) == 0) FailFile(path_ + ": is damaged");
    for (size_t at = 0; at < canvas_.rgb.size(); at += 3, from += 4) {
      for (int c = 0; c < 3; ++c) canvas_.rgb[at + c] = from[c];
    }
    std::optional<SourceFrame> frame(std::in_place);
    frame->rgb.emplace(canvas_);
    return frame;
  }

 private:
  std::string path_;
  std::vector<uint8_t> bytes_;  // the decoder reads from them
  RgbPicture canvas_;
  std::unique_ptr<WebPAnimDecoder, FreeDecoder> decoder_;
};

}  // namespace

std::unique_ptr<FrameSource> OpenMovingWebp(const std::string& path, const ReadOptions& options) {
  return std::make_unique<WebpFrames>(path, options);
}

std::string WebpLibrary() {
  const int v = WebPGetDemuxVersion();
  return "libwebpdemux " + std::to_string(v >> 16) + "." + std::to_string(v >> 8 & 255) + "." +
         std::to_string(v & 255);
}

}  // namespace zolt
