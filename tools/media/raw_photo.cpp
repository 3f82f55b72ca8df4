// Cameras' raw files, developed so that the frames of a burst stay alike.
#include <libraw/libraw.h>

#include <algorithm>
#include <cstring>

#include "common/errors.h"
#include "media/frame_source.h"

namespace zolt {
namespace {

struct FreeProcessed {
  void operator()(libraw_processed_image_t* image) const { LibRaw::dcraw_clear_mem(image); }
};
using Processed = std::unique_ptr<libraw_processed_image_t, FreeProcessed>;

int OrientationOfFlip(int flip) {
  constexpr int kOrientations[8] = {1, 2, 4, 3, 5, 8, 6, 7};
  return flip >= 0 && flip < 8 ? kOrientations[flip] : kUpright;
}

class RawSource : public FrameSource {
 public:
  RawSource(const std::string& path, const ReadOptions& options) : path_(path), options_(options) {
    raw_ = std::make_unique<LibRaw>();
    raw_->set_dataerror_handler([](void* damaged, const char*, auto) { *static_cast<bool*>(damaged) = true; },
                                &damaged_);
    Develop(&raw_->imgdata.params);
    Check(raw_->open_file(path.c_str()), "is no raw file that can be read");
    const libraw_image_sizes_t& sizes = raw_->imgdata.sizes;
    CheckPixels(path, sizes.raw_width, sizes.raw_height, options);
    CheckPixels(path, sizes.width, sizes.height, options);
  }

  std::optional<SourceFrame> Next() override {
    if (!raw_) return std::nullopt;
    SourceFrame frame;
    // Read before the development, which overwrites it with what was asked for: not to turn.
    frame.orientation = OrientationOfFlip(raw_->imgdata.sizes.flip);
    const float iso = raw_->imgdata.other.iso_speed;
    if (iso >= 1 && iso < 1e7f) frame.iso = static_cast<int>(iso);
    frame.white_balance = SetWhiteBalance();
    raw_->imgdata.params.user_flip = 0;
    raw_->imgdata.params.half_size = options_.half_size ? 1 : 0;
    Check(raw_->unpack(), "is damaged");
    if (damaged_) FailFile(path_ + ": is damaged: the sensor's data end early");
    Check(raw_->dcraw_process(), "can't be developed");
    int error = 0;
    const Processed image(raw_->dcraw_make_mem_image(&error));
    Check(error, "can't be developed");
    if (!image || image->type != LIBRAW_IMAGE_BITMAP || image->bits != 8)
      FailFile(path_ + ": can't be developed");
    Take(*image, &frame);
    raw_.reset();
    return frame;
  }

 private:
  // Nothing here may look at the picture: a gain, a white point or a white balance found in each frame anew
  // would make the frames of one burst unlike, and cleaning is what comes after.
  static void Develop(libraw_output_params_t* params) {
    params->use_camera_wb = 1;
    params->use_auto_wb = 0;
    params->no_auto_bright = 1;
    params->adjust_maximum_thr = 0;
    params->highlight = 0;
    params->output_color = 1;  // sRGB
    params->gamm[0] = 1 / 2.4;
    params->gamm[1] = 12.92;
    params->output_bps = 8;
    params->threshold = 0;
    params->fbdd_noiserd = 0;
    params->med_passes = 0;
  }

  // What the development will use. A balance that is wished takes the place of the camera's own, on the same
  // road.
  WhiteBalance SetWhiteBalance() {
    auto& colour = raw_->imgdata.color;
    if (options_.white_balance) {
      std::copy(options_.white_balance->begin(), options_.white_balance->end(), colour.cam_mul);
      std::memset(colour.white, 0, sizeof colour.white);  // an older way to tell it, which would go first
    }
    WhiteBalance gains;
    std::copy(colour.cam_mul, colour.cam_mul + gains.size(), gains.begin());
    return gains;
  }

  void Take(const libraw_processed_image_t& image, SourceFrame* frame) const {
    const int width = image.width, height = image.height;
    CheckPixels(path_, width, height, options_);
    const size_t row = size_t(width) * image.colors;
    if (image.data_size < row * static_cast<size_t>(height)) FailFile(path_ + ": can't be developed");
    if (image.colors == 1) {
      YuvPicture grey(width, height);
      std::memcpy(grey.y.data(), image.data, grey.y.size());
      std::fill(grey.u.begin(), grey.u.end(), uint8_t{128});
      std::fill(grey.v.begin(), grey.v.end(), uint8_t{128});
      grey.grey = true;
      frame->yuv = std::move(grey);
      return;
    }
    if (image.colors != 3) FailFile(path_ + ": the sensor has neither one nor three colours");
    RgbPicture rgb(width, height);
    std::memcpy(rgb.rgb.data(), image.data, rgb.rgb.size());
    frame->rgb = std::move(rgb);
  }

  void Check(int code, const char* what) const {
    if (code != LIBRAW_SUCCESS) FailFile(path_ + ": " + what + ": " + libraw_strerror(code));
  }

  std::string path_;
  ReadOptions options_;
  bool damaged_ = false;
  std::unique_ptr<LibRaw> raw_;  // large: gone with the only frame
};

}  // namespace

std::unique_ptr<FrameSource> OpenRawPhoto(const std::string& path, const ReadOptions& options) {
  return std::make_unique<RawSource>(path, options);
}

std::string RawLibrary() {
  return std::string("LibRaw ") + LibRaw::version();
}

}  // namespace zolt
