#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "media/orientation.h"

namespace zolt {

/// What a photo carries beside its pixels, each as the bytes that files hold. Empty: there is none.
struct Metadata {
  std::vector<uint8_t> exif =
      {};                // little TIFF of tags, without thumbnail and without tags that tell how pixels lie
  std::string xmp = {};  // packet
  std::vector<uint8_t> iptc = {};  // IIM records
  std::vector<uint8_t> icc = {};   // profile
  int orientation = kUpright;
  // H.273 numbers of formats that tell colour by them; 2: not told.
  int primaries = 2;
  int transfer = 2;
  int width = 0;  // as the file tells, which may be wrong; 0: not told
  int height = 0;
  std::string software = {};  // that wrote the file last, by its own word
  std::string fault = {};     // why it could not be read, in words
};

/// What the tags tell of how a frame was taken; what is not told is empty.
struct ShotFacts {
  std::optional<int64_t> time_us;  // of the camera's clock, with sub-seconds; only differences mean something
  std::optional<double> exposure;  // seconds
  std::optional<double> f_number;
  std::optional<int> iso;
  std::string camera;
};

/// Which of it may leave.
struct MetadataChoice {
  bool strip = false;   // nothing at all
  bool no_gps = false;  // not the place
};

/// Of a burst's result.
struct ResultFacts {
  int width = 0;  // as stored, before any turning
  int height = 0;
  std::vector<ShotFacts> frames;   // one for each frame that went in
  std::vector<uint8_t> thumbnail;  // JPEG; empty for none
};

/// Whether the program was built with the library that reads tags. Without it files are read as if they had
/// none.
bool ReadsMetadata();

/// Of any file; nothing for formats that carry none. Damaged metadata is no error, `fault` tells it.
Metadata ReadMetadata(const std::string& path);

/// Of the blocks as a container hands them out.
Metadata MetadataFromBlocks(const std::vector<uint8_t>& exif, const std::string& xmp,
                            const std::vector<uint8_t>& icc);

ShotFacts FactsOf(const Metadata& metadata);

/// How the frames were exposed, in a line: "8 frames of 1/30 s at f/1.8, ISO 1600".
std::string ExposureLine(const std::vector<ShotFacts>& frames);

/// Of the reference frame's, what holds for the result: sizes and thumbnail are new, `Software` and the note
/// of what went in are set, what tells of a motion photo's video or a gain map goes.
Metadata MetadataOfResult(const Metadata& reference, const ResultFacts& result, const MetadataChoice& choice);

/// The same for pixels that were turned: orientation and sizes are new, the thumbnail goes.
Metadata UprightMetadata(const Metadata& metadata, int width, int height);

/// An encoded JPEG, PNG or TIFF file with the metadata in it. What a format can't hold is left out and told
/// in `left_out`.
std::vector<uint8_t> WithMetadata(const std::vector<uint8_t>& encoded, const Metadata& metadata,
                                  std::vector<std::string>* left_out);

/// The library's version, empty if there is none.
std::string MetadataLibrary();

}  // namespace zolt
