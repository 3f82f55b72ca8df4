// HEIC and AVIF, in and out.
#include <libheif/heif.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

#include "common/errors.h"
#include "common/file_io.h"
#include "media/frame_source.h"

namespace zolt {
namespace {

template <auto kFree>
struct Free {
  template <typename T>
  void operator()(T* p) const {
    kFree(p);
  }
};
using Context = std::unique_ptr<heif_context, Free<heif_context_free>>;
using Handle = std::unique_ptr<heif_image_handle, Free<heif_image_handle_release>>;
using Image = std::unique_ptr<heif_image, Free<heif_image_release>>;
using Nclx = std::unique_ptr<heif_color_profile_nclx, Free<heif_nclx_color_profile_free>>;
using DecodingOptions = std::unique_ptr<heif_decoding_options, Free<heif_decoding_options_free>>;
using EncodingOptions = std::unique_ptr<heif_encoding_options, Free<heif_encoding_options_free>>;
using Encoder = std::unique_ptr<heif_encoder, Free<heif_encoder_release>>;

void Check(const heif_error& error, const std::string& path, const char* what) {
  if (error.code != heif_error_Ok) FailFile(path + ": " + what + ": " + (error.message ? error.message : ""));
}

// The file's bytes have to outlive the context.
struct Opened {
  explicit Opened(const std::string& path) : bytes(ReadWhole(path)), context(heif_context_alloc()) {
    if (!context) FailFile(path + ": no memory to read it");
    Check(heif_context_read_from_memory_without_copy(context.get(), bytes.data(), bytes.size(), nullptr),
          path, "is no HEIF file that can be read");
  }
  Handle Primary(const std::string& path) const {
    heif_image_handle* handle = nullptr;
    Check(heif_context_get_primary_image_handle(context.get(), &handle), path, "holds no picture");
    return Handle(handle);
  }

  std::vector<uint8_t> bytes;
  Context context;
};

Nclx NclxOf(const heif_image_handle* handle) {
  heif_color_profile_nclx* nclx = nullptr;
  const heif_error error = heif_image_handle_get_nclx_color_profile(handle, &nclx);
  return Nclx(error.code == heif_error_Ok ? nclx : nullptr);
}

void CopyRows(const heif_image* image, heif_channel channel, int width, int height, std::vector<uint8_t>* out,
              const std::string& path) {
  int stride = 0;
  const uint8_t* from = heif_image_get_plane_readonly(image, channel, &stride);
  if (!from || stride < width) FailFile(path + ": is damaged: a plane is missing");
  for (int y = 0; y < height; ++y)
    std::memcpy(&(*out)[size_t(y) * width], from + ptrdiff_t{y} * stride, static_cast<size_t>(width));
}

class HeifSource : public FrameSource {
 public:
  HeifSource(const std::string& path, const ReadOptions& options)
      : path_(path), options_(options), file_(path) {
    heif_item_id first = 0;
    Check(heif_context_get_primary_image_ID(file_.context.get(), &first), path, "holds no picture");
    ids_.resize(
        static_cast<size_t>(std::max(0, heif_context_get_number_of_top_level_images(file_.context.get()))));
    const int n = heif_context_get_list_of_top_level_image_IDs(file_.context.get(), ids_.data(),
                                                               static_cast<int>(ids_.size()));
    ids_.resize(static_cast<size_t>(n));
    // A file of several pictures is a burst only as its maker put it in order; the primary one leads.
    std::stable_partition(ids_.begin(), ids_.end(), [first](heif_item_id id) { return id == first; });
    if (ids_.empty()) ids_.push_back(first);
  }

  std::optional<SourceFrame> Next() override {
    if (next_ == ids_.size()) return std::nullopt;
    heif_image_handle* raw = nullptr;
    Check(heif_context_get_image_handle(file_.context.get(), ids_[next_++], &raw), path_, "is damaged");
    const Handle handle(raw);
    CheckPixels(path_, heif_image_handle_get_width(raw), heif_image_handle_get_height(raw), options_);
    SourceFrame frame;
    frame.orientation = kUpright;  // turned and mirrored by the library
    frame.bits = std::max(8, heif_image_handle_get_luma_bits_per_pixel(raw));
    const Image image = Decoded(raw, heif_colorspace_undefined, heif_chroma_undefined);
    if (heif_image_get_colorspace(image.get()) == heif_colorspace_monochrome && frame.bits == 8) {
      frame.yuv = Grey(image.get());
    } else if (TakesPlanes(image.get(), raw)) {
      frame.yuv = Planes(image.get());
    } else {
      frame.rgb = Rgb(raw, frame.bits);
      frame.half_chroma = true;  // what phones write; the library doesn't tell before its version 1.17
    }
    return frame;
  }

 private:
  // What every phone writes is what we work in: 4:2:0, full range, BT.601. All else goes by way of RGB.
  static bool TakesPlanes(const heif_image* image, const heif_image_handle* handle) {
    if (heif_image_get_colorspace(image) != heif_colorspace_YCbCr ||
        heif_image_get_chroma_format(image) != heif_chroma_420 ||
        heif_image_get_bits_per_pixel_range(image, heif_channel_Y) != 8)
      return false;
    // The stream's own word, else the file's.
    heif_color_profile_nclx* of_image = nullptr;
    heif_image_get_nclx_color_profile(image, &of_image);
    const Nclx nclx = of_image ? Nclx(of_image) : NclxOf(handle);
    const int matrix = nclx ? nclx->matrix_coefficients : 0;
    return nclx && nclx->full_range_flag && (matrix == 2 || matrix == 5 || matrix == 6);
  }

  Image Decoded(const heif_image_handle* handle, heif_colorspace space, heif_chroma chroma) const {
    const DecodingOptions decoding(heif_decoding_options_alloc());
    if (!decoding) FailFile(path_ + ": no memory to read it");
    decoding->strict_decoding = 1;
    heif_image* image = nullptr;
    Check(heif_decode_image(handle, &image, space, chroma, decoding.get()), path_, "is damaged");
    Image owned(image);
    CheckPixels(path_, heif_image_get_primary_width(image), heif_image_get_primary_height(image), options_);
    return owned;
  }

  YuvPicture Grey(const heif_image* image) const {
    YuvPicture out(heif_image_get_primary_width(image), heif_image_get_primary_height(image));
    CopyRows(image, heif_channel_Y, out.width, out.height, &out.y, path_);
    std::fill(out.u.begin(), out.u.end(), uint8_t{128});
    std::fill(out.v.begin(), out.v.end(), uint8_t{128});
    out.grey = true;
    return out;
  }

  YuvPicture Planes(const heif_image* image) const {
    YuvPicture out(heif_image_get_primary_width(image), heif_image_get_primary_height(image));
    CopyRows(image, heif_channel_Y, out.width, out.height, &out.y, path_);
    if (heif_image_get_width(image, heif_channel_Cb) < out.ChromaWidth() ||
        heif_image_get_height(image, heif_channel_Cb) < out.ChromaHeight() ||
        heif_image_get_width(image, heif_channel_Cr) < out.ChromaWidth() ||
        heif_image_get_height(image, heif_channel_Cr) < out.ChromaHeight())
      FailFile(path_ + ": is damaged: the colour planes are too small");
    CopyRows(image, heif_channel_Cb, out.ChromaWidth(), out.ChromaHeight(), &out.u, path_);
    CopyRows(image, heif_channel_Cr, out.ChromaWidth(), out.ChromaHeight(), &out.v, path_);
    return out;
  }

  RgbPicture Rgb(const heif_image_handle* handle, int bits) const {
    const bool deep = bits > 8;
    const Image image = Decoded(handle, heif_colorspace_RGB,
                                deep ? heif_chroma_interleaved_RRGGBB_LE : heif_chroma_interleaved_RGB);
    RgbPicture out(heif_image_get_width(image.get(), heif_channel_interleaved),
                   heif_image_get_height(image.get(), heif_channel_interleaved));
    if (!deep) {
      CopyRows(image.get(), heif_channel_interleaved, 3 * out.width, out.height, &out.rgb, path_);
      return out;
    }
    const int most = (1 << heif_image_get_bits_per_pixel_range(image.get(), heif_channel_interleaved)) - 1;
    int stride = 0;
    const uint8_t* from = heif_image_get_plane_readonly(image.get(), heif_channel_interleaved, &stride);
    if (!from || most < 255) FailFile(path_ + ": is damaged: a plane is missing");
    const size_t row = 3 * size_t(out.width);
    for (int y = 0; y < out.height; ++y) {
      const uint8_t* in = from + ptrdiff_t{y} * stride;
      for (size_t x = 0; x < row; ++x) {
        const int v = std::min(most, in[2 * x] | in[2 * x + 1] << 8);
        out.rgb[size_t(y) * row + x] = static_cast<uint8_t>((v * 255 + most / 2) / most);
      }
    }
    return out;
  }

  std::string path_;
  ReadOptions options_;
  Opened file_;
  std::vector<heif_item_id> ids_;
  size_t next_ = 0;
};

std::vector<uint8_t> MetadataBlock(const heif_image_handle* handle, const char* type,
                                   const char* content_type) {
  heif_item_id ids[16];
  const int n = heif_image_handle_get_list_of_metadata_block_IDs(handle, type, ids, 16);
  for (int i = 0; i < n; ++i) {
    if (content_type &&
        std::strcmp(heif_image_handle_get_metadata_content_type(handle, ids[i]), content_type) != 0)
      continue;
    std::vector<uint8_t> block(heif_image_handle_get_metadata_size(handle, ids[i]));
    if (!block.empty() && heif_image_handle_get_metadata(handle, ids[i], block.data()).code == heif_error_Ok)
      return block;
  }
  return {};
}

// The block begins with the distance from behind these four bytes to the TIFF head.
std::vector<uint8_t> ExifBlock(const heif_image_handle* handle) {
  const std::vector<uint8_t> block = MetadataBlock(handle, "Exif", nullptr);
  if (block.size() < 4) return {};
  const size_t skip = size_t{block[0]} << 24 | size_t{block[1]} << 16 | size_t{block[2]} << 8 | block[3];
  if (skip > block.size() - 4) return {};
  return {block.begin() + static_cast<ptrdiff_t>(4 + skip), block.end()};
}

std::vector<uint8_t> ProfileOf(const heif_image_handle* handle) {
  const auto type = heif_image_handle_get_color_profile_type(handle);
  if (type != heif_color_profile_type_prof && type != heif_color_profile_type_rICC) return {};
  std::vector<uint8_t> icc(heif_image_handle_get_raw_color_profile_size(handle));
  if (icc.empty() || heif_image_handle_get_raw_color_profile(handle, icc.data()).code != heif_error_Ok)
    return {};
  return icc;
}

// What the samples are, for readers that would guess otherwise.
Nclx NclxFor(const Metadata& metadata) {
  Nclx nclx(heif_nclx_color_profile_alloc());
  if (!nclx) return nclx;
  const bool told = metadata.primaries != 2 && metadata.transfer != 2;
  // With a profile the primaries are its business.
  const int primaries = told ? metadata.primaries : metadata.icc.empty() ? 1 : 2;
  const int transfer = told ? metadata.transfer : metadata.icc.empty() ? 13 : 2;
  nclx->color_primaries = static_cast<heif_color_primaries>(primaries);
  nclx->transfer_characteristics = static_cast<heif_transfer_characteristics>(transfer);
  nclx->matrix_coefficients = heif_matrix_coefficients_ITU_R_BT_601_6;
  nclx->full_range_flag = 1;
  return nclx;
}

void FillRows(heif_image* image, heif_channel channel, const std::vector<uint8_t>& plane, int width,
              int height, const std::string& path) {
  Check(heif_image_add_plane(image, channel, width, height, 8), path, "can't be encoded");
  int stride = 0;
  uint8_t* to = heif_image_get_plane(image, channel, &stride);
  for (int y = 0; y < height; ++y)
    std::memcpy(to + ptrdiff_t{y} * stride, &plane[size_t(y) * width], static_cast<size_t>(width));
}

Image ImageOf(const YuvPicture& picture, const Metadata& metadata, const heif_color_profile_nclx* nclx,
              const std::string& path) {
  heif_image* raw = nullptr;
  const auto space = picture.grey ? heif_colorspace_monochrome : heif_colorspace_YCbCr;
  const auto chroma = picture.grey ? heif_chroma_monochrome : heif_chroma_420;
  Check(heif_image_create(picture.width, picture.height, space, chroma, &raw), path, "can't be encoded");
  Image image(raw);
  FillRows(raw, heif_channel_Y, picture.y, picture.width, picture.height, path);
  if (!picture.grey) {
    FillRows(raw, heif_channel_Cb, picture.u, picture.ChromaWidth(), picture.ChromaHeight(), path);
    FillRows(raw, heif_channel_Cr, picture.v, picture.ChromaWidth(), picture.ChromaHeight(), path);
  }
  Check(heif_image_set_nclx_color_profile(raw, nclx), path, "can't be encoded");
  if (!metadata.icc.empty())
    Check(heif_image_set_raw_color_profile(raw, "prof", metadata.icc.data(), metadata.icc.size()), path,
          "the colour profile can't be written");
  return image;
}

heif_error Collect(heif_context*, const void* data, size_t size, void* user) {
  auto* out = static_cast<std::vector<uint8_t>*>(user);
  const auto* bytes = static_cast<const uint8_t*>(data);
  out->insert(out->end(), bytes, bytes + size);
  return {heif_error_Ok, heif_suberror_Unspecified, "ok"};
}

}  // namespace

std::unique_ptr<FrameSource> OpenHeif(const std::string& path, const ReadOptions& options) {
  return std::make_unique<HeifSource>(path, options);
}

Metadata ReadHeifMetadata(const std::string& path) {
  const Opened file(path);
  const Handle primary = file.Primary(path);
  const std::vector<uint8_t> xmp = MetadataBlock(primary.get(), "mime", "application/rdf+xml");
  Metadata metadata = MetadataFromBlocks(ExifBlock(primary.get()), std::string(xmp.begin(), xmp.end()),
                                         ProfileOf(primary.get()));
  metadata.orientation = kUpright;
  metadata.width = heif_image_handle_get_width(primary.get());
  metadata.height = heif_image_handle_get_height(primary.get());
  if (const Nclx nclx = NclxOf(primary.get())) {
    metadata.primaries = nclx->color_primaries;
    metadata.transfer = nclx->transfer_characteristics;
  }
  return metadata;
}

std::vector<uint8_t> HeifBytes(const YuvPicture& picture, const Metadata& metadata, const std::string& format,
                               int quality, const std::string& path) {
  const Context context(heif_context_alloc());
  const Nclx nclx = NclxFor(metadata);
  const EncodingOptions options(heif_encoding_options_alloc());
  heif_encoder* raw_encoder = nullptr;
  if (!context || !nclx || !options) FailFile(path + ": no memory to write it");
  Check(heif_context_get_encoder_for_format(
            context.get(), format == "avif" ? heif_compression_AV1 : heif_compression_HEVC, &raw_encoder),
        path, "libheif has no encoder for it here; write .jpg or .png");
  const Encoder encoder(raw_encoder);
  heif_encoder_set_lossy_quality(raw_encoder, quality);
  const Image image = ImageOf(picture, metadata, nclx.get(), path);
  // Without the numbers a reader would take the samples for video's limited range.
  options->save_two_colr_boxes_when_ICC_and_nclx_available = 1;
  options->macOS_compatibility_workaround_no_nclx_profile = 0;
  options->output_nclx_profile = nclx.get();
  heif_image_handle* raw_handle = nullptr;
  Check(heif_context_encode_image(context.get(), image.get(), raw_encoder, options.get(), &raw_handle), path,
        "can't be encoded");
  const Handle handle(raw_handle);
  const auto most = static_cast<size_t>(std::numeric_limits<int>::max());
  if (!metadata.exif.empty() && metadata.exif.size() < most)
    Check(heif_context_add_exif_metadata(context.get(), raw_handle, metadata.exif.data(),
                                         static_cast<int>(metadata.exif.size())),
          path, "Exif can't be written");
  if (!metadata.xmp.empty() && metadata.xmp.size() < most)
    Check(heif_context_add_XMP_metadata(context.get(), raw_handle, metadata.xmp.data(),
                                        static_cast<int>(metadata.xmp.size())),
          path, "XMP can't be written");
  std::vector<uint8_t> bytes;
  heif_writer writer = {1, &Collect};
  Check(heif_context_write(context.get(), &writer, &bytes), path, "can't be encoded");
  return bytes;
}

std::string HeifLibrary() {
  return std::string("libheif ") + heif_get_version();
}

}  // namespace zolt
