// What takes the place of the optional libraries that the program was built without.
#include "common/errors.h"
#include "media/frame_source.h"
#include "media/metadata.h"

namespace zolt {

#ifndef ZOLT_WITH_EXIV2
bool ReadsMetadata() {
  return false;
}
std::string MetadataLibrary() {
  return "";
}
Metadata ReadMetadata(const std::string&) {
  return {};
}
Metadata MetadataFromBlocks(const std::vector<uint8_t>&, const std::string&, const std::vector<uint8_t>&) {
  return {};
}
ShotFacts FactsOf(const Metadata&) {
  return {};
}
Metadata MetadataOfResult(const Metadata& reference, const ResultFacts&, const MetadataChoice&) {
  return {.orientation = reference.orientation};
}
Metadata UprightMetadata(const Metadata&, int, int) {
  return {};
}
std::vector<uint8_t> WithMetadata(const std::vector<uint8_t>& encoded, const Metadata&,
                                  std::vector<std::string>*) {
  return encoded;
}
#endif

#ifndef ZOLT_WITH_HEIF
std::unique_ptr<FrameSource> OpenHeif(const std::string& path, const ReadOptions&) {
  FailFile(path + ": HEIC and AVIF need libheif, which this program was built without; convert it to JPEG");
}
Metadata ReadHeifMetadata(const std::string&) {
  return {};
}
std::vector<uint8_t> HeifBytes(const YuvPicture&, const Metadata&, const std::string&, int,
                               const std::string& path) {
  FailFile(path + ": HEIC and AVIF need libheif, which this program was built without; write .jpg or .png");
}
std::string HeifLibrary() {
  return "";
}
#endif

#ifndef ZOLT_WITH_WEBP
std::unique_ptr<FrameSource> OpenMovingWebp(const std::string& path, const ReadOptions&) {
  FailFile(path +
           ": animated WebP needs libwebpdemux, which this program was built without; convert it to APNG");
}
std::string WebpLibrary() {
  return "";
}
#endif

#ifndef ZOLT_WITH_LIBRAW
std::unique_ptr<FrameSource> OpenRawPhoto(const std::string& path, const ReadOptions&) {
  FailFile(path + ": raw files need LibRaw, which this program was built without; convert it to TIFF");
}
std::string RawLibrary() {
  return "";
}
#endif

}  // namespace zolt
