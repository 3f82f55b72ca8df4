#include "media/libraries.h"

#include "media/frame_source.h"
#include "media/metadata.h"

extern "C" {
#include <libavutil/avutil.h>
}

namespace zolt {

std::vector<std::string> MediaLibraries() {
  const auto or_without = [](const std::string& library, const char* name) {
    return library.empty() ? std::string("without ") + name : library;
  };
  return {std::string("FFmpeg ") + av_version_info(), or_without(MetadataLibrary(), "Exiv2"),
          or_without(HeifLibrary(), "libheif"), or_without(RawLibrary(), "LibRaw"),
          or_without(WebpLibrary(), "libwebpdemux")};
}

}  // namespace zolt
