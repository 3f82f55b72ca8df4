// Bursts as cameras and other programs write them, and results as other programs read them.
#include <fstream>

#include "common/file_io.h"
#include "media/colour.h"
#include "media/media_read.h"
#include "media/media_write.h"
#include "media/orientation.h"
#include "tools/support/dng_file.h"
#include "tools/support/other_programs.h"
#include "tools/support/tool_program.h"

namespace zolt {
namespace {

class PhotoBurst : public ToolProgram {
 protected:
  // A dark left half and a bright lower right corner: every way to turn it looks different.
  static YuvPicture Scene(int width, int height) {
    YuvPicture p = RandomPicture(width, height, 1);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const bool corner = x >= width / 2 && y >= height / 2;
        p.y[size_t(y) * width + x] = static_cast<uint8_t>(x < width / 2 ? 40 : corner ? 220 : 130);
      }
    }
    std::fill(p.u.begin(), p.u.end(), uint8_t{120});
    std::fill(p.v.begin(), p.v.end(), uint8_t{140});
    return p;
  }

  // A profile with nothing in it but its name.
  std::string Profile() {
    std::vector<uint8_t> icc(248);
    const auto put = [&](size_t at, const std::string& text) {
      std::copy(text.begin(), text.end(), icc.begin() + ptrdiff_t(at));
    };
    icc[3] = 248;
    put(8, "\2");
    put(12, "mntrRGB XYZ ");
    put(36, "acsp");
    icc[131] = 1;  // one entry: at 144, of 104 bytes
    put(132, "desc");
    icc[139] = 144;
    icc[143] = 104;
    put(144, "desc");
    icc[155] = 11;
    put(156, "Display P3");
    WriteWhole(Path("p3.icc"), icc);
    return Path("p3.icc");
  }

  // Three frames "f0" and on, written by another program and tagged by exiftool as a phone does.
  std::vector<std::string> Tagged(const std::string& extension, int orientation) {
    std::vector<std::string> files;
    WritePicture(Path("scene.png"), Scene(96, 64));
    const std::string tags = " -Orientation=" + std::to_string(orientation) +
                             " -Make=Acme -Model=P1 -ISO=1600 -ExposureTime=0.0333 -FNumber=1.8 "
                             "-GPSLatitude=48.137 -GPSLatitudeRef=N"
                             " -GPSLongitude=11.575 -GPSLongitudeRef=E -XMP-dc:Creator=Ann "
                             "-XMP-photoshop:City=Munich -IPTC:City=Munich";
    for (int i = 0; i < 3; ++i) {
      files.push_back(Path("f" + std::to_string(i) + "." + extension));
      const bool heif = extension == "heic" || extension == "avif";
      const std::string made = heif ? Path("made.jpg") : files.back();
      Shell("convert '" + Path("scene.png") + "' -quality 96 '" + made + "'");
      Shell("exiftool -q -overwrite_original -n" + tags +
            " -DateTimeOriginal='2024:05:01 12:00:00' -SubSecTimeOriginal=" + std::to_string(3 - i) +
            " '-icc_profile<=" + Profile() + "' '" + made + "'");
      if (heif)
        Shell("heif-enc -q 95 " + std::string(extension == "avif" ? "-A " : "") + "'" + made + "' -o '" +
              files.back() + "'");
    }
    return files;
  }

  int Denoise(const std::vector<std::string>& files, std::vector<std::string> more) {
    more.insert(more.begin(), files.begin(), files.end());
    more.insert(more.begin(), "denoise");
    return Run(more);
  }
};

// Another program's idea of upright is the judge of ours, for all eight orientations.
TEST_F(PhotoBurst, EachOrientationIsTurnedAsAnotherProgramTurnsIt) {
  NEEDS_PROGRAM("convert");
  const char* names[] = {"TopLeft", "TopRight", "BottomRight", "BottomLeft",
                         "LeftTop", "RightTop", "RightBottom", "LeftBottom"};
  WritePicture(Path("p.png"), RandomPicture(20, 12, 4));
  for (int o = 1; o <= 8; ++o) {
    const std::string stored = Path("stored.tif"), upright = Path("upright.png");
    Shell("convert '" + Path("p.png") + "' -orient " + names[o - 1] + " '" + stored + "'");
    Shell("convert '" + stored + "' -auto-orient '" + upright + "'");
    EXPECT_EQ(ReadRgbPicture(stored).rgb, ReadRgbPicture(upright).rgb) << names[o - 1];
    const YuvPicture odd = RandomPicture(7, 5, 2), turned = Turned(odd, o);
    EXPECT_EQ(turned.width, o >= 5 ? 5 : 7);
  }
}

TEST_F(PhotoBurst, ResultsCarryWhatTheReferenceCarried) {
  NEEDS_PROGRAM("exiftool");
  NEEDS_PROGRAM("convert");
  NEEDS_PROGRAM("heif-enc");
  const std::pair<const char*, std::vector<const char*>> ways[] = {
      {"jpg", {"jpg", "png", "tif", "heic", "avif"}},
      {"tif", {"tif", "jpg"}},
      {"heic", {"heic", "jpg"}},
      {"avif", {"jpg"}},
      {"png", {"jpg"}},
      {"webp", {"tif"}}};
  for (const auto& [in, formats] : ways) {
    const std::vector<std::string> frames = Tagged(in, 6);
    for (const char* format : formats) {
      const std::string out = Path(std::string("clean.") + format);
      SCOPED_TRACE(std::string(in) + " to " + format);
      ASSERT_EQ(Denoise(frames, {"-o", out}), kExitDone) << err_;
      const nlohmann::json tags = TagsOf(out);
      EXPECT_EQ(tags["Model"], "P1");
      EXPECT_EQ(tags["SubSecTimeOriginal"], 3);
      EXPECT_NEAR(tags["GPSLatitude"].get<double>(), 48.137, 1e-3);
      EXPECT_EQ(tags["Creator"][0], "Ann");
      EXPECT_EQ(tags["ProfileDescription"], "Display P3");
      EXPECT_EQ(tags["UserComment"], "Made of 3 frames of 1/30 s at f/1.8, ISO 1600");
      EXPECT_EQ(tags["Software"].get<std::string>().find("zolt-burst "), 0u);
      EXPECT_FALSE(tags.contains("Warning")) << tags["Warning"];
      // What not every reader turns is upright in its pixels; of HEIF only the container's turning counts.
      const bool turns = std::string(in) != "heic" && std::string(in) != "avif";
      const bool kept = turns && (std::string(format) == "jpg" || std::string(format) == "tif");
      EXPECT_EQ(tags["Orientation"], kept ? 6 : 1);
      EXPECT_EQ(tags["ExifImageWidth"], turns && !kept ? 64 : 96);
      const YuvPicture seen = ReadPicture(out);
      EXPECT_EQ(seen.width, turns ? 64 : 96);
      // The stored upper left, dark, is the upper right of what is seen.
      if (turns) {
        EXPECT_LT(seen.y[63 + 4 * 64], 60);
      }
    }
  }
}

TEST_F(PhotoBurst, TheReferenceThatWasPickedGivesTheTags) {
  NEEDS_PROGRAM("exiftool");
  NEEDS_PROGRAM("convert");
  const std::vector<std::string> frames = Tagged("jpg", 6);
  WritePicture(Path("noise.png"), RandomPicture(96, 64, 1));
  for (const auto& [i, blur] : {std::pair{0, "0x3"}, {1, "0x0"}, {2, "0x2"}}) {
    Shell("convert '" + Path("noise.png") + "' -scale 400% -crop 96x64+50+50 -blur " + blur + " '" +
          Path("b.jpg") + "'");
    Shell("exiftool -q -overwrite_original -all= -tagsFromFile '" + frames[i] + "' -all:all -icc_profile '" +
          Path("b.jpg") + "'");
    std::filesystem::rename(Path("b.jpg"), frames[i]);
  }
  Shell("exiftool -q -overwrite_original -n -Orientation=3 -GPSLatitude=20 '" + frames[1] + "'");
  ASSERT_EQ(Denoise(frames, {"-o", Path("c.jpg"), "--json"}), kExitDone) << err_;
  ASSERT_EQ(nlohmann::json::parse(out_)["reference"], 1);
  const nlohmann::json tags = TagsOf(Path("c.jpg"));
  EXPECT_EQ(tags["SubSecTimeOriginal"], 2);
  EXPECT_EQ(tags["Orientation"], 3);
  EXPECT_EQ(tags["GPSLatitude"], 20);
}

TEST_F(PhotoBurst, HeicIsSeenUprightByItsOwnReader) {
  NEEDS_PROGRAM("exiftool");
  NEEDS_PROGRAM("heif-convert");
  ASSERT_EQ(Denoise(Tagged("jpg", 8), {"-o", Path("clean.heic")}), kExitDone) << err_;
  Shell("heif-convert '" + Path("clean.heic") + "' '" + Path("seen.jpg") + "'");
  const YuvPicture seen = ReadPicture(Path("seen.jpg"));
  ASSERT_EQ(seen.width, 64);
  EXPECT_LT(seen.y[4 + 90 * 64], 60);   // the dark half was turned down
  EXPECT_GT(seen.y[60 + 4 * 64], 200);  // the bright corner went up
}

TEST_F(PhotoBurst, WhatIsNotWantedStaysOut) {
  NEEDS_PROGRAM("exiftool");
  const std::vector<std::string> frames = Tagged("jpg", 6);
  ASSERT_EQ(Denoise(frames, {"-o", Path("c.jpg"), "--no-gps"}), kExitDone) << err_;
  const nlohmann::json tags = TagsOf(Path("c.jpg"));
  EXPECT_EQ(tags["Model"], "P1");
  for (const char* place : {"GPSLatitude", "GPSLongitude", "City"})
    EXPECT_FALSE(tags.contains(place)) << place;
  ASSERT_EQ(Denoise(frames, {"-o", Path("c.jpg"), "--strip", "-q"}), kExitDone) << err_;
  EXPECT_EQ(out_ + err_, "");
  const nlohmann::json stripped = TagsOf(Path("c.jpg"));
  for (const char* tag : {"Model", "Orientation", "Creator", "ProfileDescription", "Software"})
    EXPECT_FALSE(stripped.contains(tag)) << tag;
  EXPECT_EQ(stripped["ImageWidth"], 64);  // upright all the same
}

TEST_F(PhotoBurst, UnlikeFramesAreToldAndInputsStayAsTheyAre) {
  NEEDS_PROGRAM("exiftool");
  const std::vector<std::string> frames = Tagged("jpg", 6);
  Shell("exiftool -q -overwrite_original -n -Orientation=1 -icc_profile= '" + frames[1] + "'");
  ASSERT_EQ(Denoise(frames, {"-o", Path("c.jpg")}), kExitDone) << err_;
  EXPECT_NE(err_.find("f1.jpg: its orientation"), std::string::npos) << err_;
  EXPECT_NE(err_.find("f1.jpg: its colour profile"), std::string::npos) << err_;
  const std::vector<uint8_t> before = ReadWhole(frames[0]);
  EXPECT_EQ(Denoise(frames, {"-o", Path("./f0.jpg")}), kExitUsage);
  std::filesystem::create_symlink(frames[2], Path("link.jpg"));
  EXPECT_EQ(Denoise(frames, {"-o", Path("link.jpg")}), kExitUsage);
  EXPECT_EQ(ReadWhole(frames[0]), before);
  EXPECT_EQ(Denoise(frames, {"-o", frames[0], "-y"}), kExitDone);
  // A burst in a folder with what phones and people leave there; by time, which runs backwards here.
  WriteWhole(Path("f0.xmp"), std::string("<x/>"));
  WriteWhole(Path("f1.MOV"), std::string("\0\0\0\x14"
                                         "ftypqt  ",
                                         12));
  for (const char* other : {"p3.icc", "scene.png", "c.jpg", "link.jpg"}) std::filesystem::remove(Path(other));
  ASSERT_EQ(Run({"denoise", folder_.string(), "--sort", "time", "-o", Path("out.tif"), "-v"}), kExitDone)
      << err_;
  EXPECT_NE(err_.find("f0.xmp: no picture"), std::string::npos) << err_;
  EXPECT_NE(err_.find("f1.MOV: a video"), std::string::npos) << err_;
  EXPECT_LT(err_.find("f2.jpg: 1 frame"), err_.find("f1.jpg: 1 frame"));
  EXPECT_NE(err_.find("f0.jpg: left out, it is a result"), std::string::npos) << err_;
}

TEST_F(PhotoBurst, RawFilesOfABurstAreDevelopedAlike) {
  if (RawLibrary().empty()) GTEST_SKIP() << "built without LibRaw";
  DngFile dng;
  dng.orientation = 6;
  dng.Write(Path("a.dng"));
  // Half of the light in red and a neutral that makes up for it: the first frame's balance holds for both.
  dng.neutral = {0.5, 1, 1};
  dng.Write(Path("b.dng"));
  const auto srgb = [](double v) { return 255 * (1.055 * std::pow(v, 1 / 2.4) - 0.055); };
  ReadOptions options;
  MediaReader a(Path("a.dng"));
  const auto first = a.Next();
  options.white_balance = first->white_balance;
  const auto second = MediaReader(Path("b.dng"), options).Next();
  EXPECT_EQ(first->picture.y, second->picture.y);
  EXPECT_EQ(first->orientation, 6);
  const RgbPicture rgb = RgbFromYuv(first->picture);
  const uint8_t* middle = &rgb.rgb[3 * (32 * 96 + 48)];
  EXPECT_NEAR(middle[0], srgb(0.5), 2);
  EXPECT_NEAR(middle[1], srgb(0.2), 2);
  EXPECT_NEAR(middle[2], srgb(0.1), 2);
  dng.light = {0.25, 0.2, 0.1};
  dng.Write(Path("b.dng"));
  const RgbPicture balanced = RgbFromYuv(MediaReader(Path("b.dng")).Next()->picture);
  EXPECT_NEAR(balanced.rgb[3 * (32 * 96 + 48)], srgb(0.5), 2);
  ASSERT_EQ(Run({"denoise", Path("a.dng"), Path("a.dng"), "-o", Path("half.png"), "--fast-preview"}),
            kExitDone)
      << err_;
  EXPECT_NE(out_.find("exif tells ISO 400"), std::string::npos) << out_;
  EXPECT_EQ(ReadPicture(Path("half.png")).width, 32);
  WriteWhole(Path("cut.dng"), [&] {
    std::vector<uint8_t> bytes = ReadWhole(Path("a.dng"));
    bytes.resize(bytes.size() / 2);
    return bytes;
  }());
  EXPECT_EQ(Run({"denoise", Path("cut.dng"), Path("cut.dng"), "-o", Path("c.png")}), kExitFile);
}

TEST_F(PhotoBurst, OneFileOfSeveralFramesIsABurst) {
  NEEDS_PROGRAM("ffmpeg");
  NEEDS_PROGRAM("convert");
  NEEDS_PROGRAM("heif-enc");
  NEEDS_PROGRAM("img2webp");
  for (int i = 0; i < 3; ++i) WritePicture(Path("i" + std::to_string(i) + ".png"), RandomPicture(96, 64, i));
  const std::string all = "'" + Path("i0.png") + "' '" + Path("i1.png") + "' '" + Path("i2.png") + "' ";
  Shell("convert " + all + "'" + Path("pages.tif") + "'");
  Shell("heif-enc " + all + "-o '" + Path("burst.heic") + "'");
  Shell("ffmpeg -v error -i '" + Path("i%d.png") + "' -f apng '" + Path("moving.png") + "'");
  Shell("img2webp -lossless " + all + "-o '" + Path("moving.webp") + "'");
  for (const char* name : {"pages.tif", "burst.heic", "moving.png", "moving.webp"}) {
    ASSERT_EQ(Run({"denoise", Path(name), "-o", Path("out.y4m"), "--json"}), kExitDone) << err_;
    EXPECT_EQ(nlohmann::json::parse(out_)["frames"].size(), 3u) << name;
  }
  for (const char* name : {"pages.tif", "moving.png", "moving.webp"}) {
    MediaReader frames(Path(name));
    for (int i = 0; i < 3; ++i)
      EXPECT_EQ(frames.NextRgb()->rgb, ReadRgbPicture(Path("i" + std::to_string(i) + ".png")).rgb) << name;
    EXPECT_FALSE(frames.NextRgb());
  }
  // FFmpeg makes a black picture of either, and tells nothing.
  Shell("convert '" + Path("i0.png") + "' -compress jpeg '" + Path("a.tif") + "'");
  Shell("convert '" + Path("i0.png") + "' -define tiff:tile-geometry=32x32 '" + Path("b.tif") + "'");
  for (const char* name : {"a.tif", "b.tif"})
    EXPECT_EQ(Run({"denoise", Path(name), "-o", Path("o.png")}), kExitFile) << name;
}

TEST_F(PhotoBurst, VideosGiveTheirFramesAndMotionPhotosTheirStill) {
  NEEDS_PROGRAM("ffmpeg");
  for (int i = 0; i < 3; ++i) WritePicture(Path("i" + std::to_string(i) + ".png"), RandomPicture(96, 64, i));
  for (const char* name : {"v.mov", "v.mkv", "v.webm", "v.avi", "v.ts", "v.hevc", "v.mp4", "turned.mp4"}) {
    const bool turned = std::string(name) == "turned.mp4";
    const std::string from = turned ? "-i '" + Path("v.mp4") + "' -c copy -metadata:s:v rotate=90 "
                                    : "-i '" + Path("i%d.png") + "' -pix_fmt yuv420p ";
    Shell("ffmpeg -v error " + from + "'" + Path(name) + "'");
    ASSERT_EQ(Run({"denoise", Path(name), "-o", Path("out.png"), "--json"}), kExitDone) << name << err_;
    EXPECT_EQ(nlohmann::json::parse(out_)["frames"].size(), 3u) << name;
    EXPECT_EQ(ReadPicture(Path("out.png")).width, turned ? 64 : 96) << name;
  }
  Shell("convert '" + Path("i0.png") + "' '" + Path("still.jpg") + "'; cat '" + Path("still.jpg") + "' '" +
        Path("v.mp4") + "' > '" + Path("motion.jpg") + "'");
  ASSERT_EQ(Run({"denoise", Path("motion.jpg"), "-o", Path("out.y4m"), "--json"}), kExitDone) << err_;
  EXPECT_EQ(nlohmann::json::parse(out_)["frames"].size(), 1u);
  EXPECT_EQ(ReadPicture(Path("motion.jpg")).y, ReadPicture(Path("still.jpg")).y);
  for (const char* name : {"p.bmp", "p.ppm", "p.webp"}) {
    Shell("convert '" + Path("i0.png") + "' -define webp:lossless=true '" + Path(name) + "'");
    EXPECT_EQ(ReadRgbPicture(Path(name)).rgb, ReadRgbPicture(Path("i0.png")).rgb) << name;
  }
}

TEST_F(PhotoBurst, GreyStaysGreyAndDeepSamplesAreRounded) {
  NEEDS_PROGRAM("convert");
  // 16-bit greys 0, 129, 258 ...: 257 of them are one of 8 bits, halves go to the nearest.
  std::string pgm = "P5\n256 64\n65535\n";
  for (int i = 0; i < 256 * 64; ++i) pgm += {static_cast<char>(i % 256), static_cast<char>(129)};
  WriteWhole(Path("deep.pgm"), pgm);
  Shell("convert '" + Path("deep.pgm") + "' -depth 16 '" + Path("deep.tif") + "'");
  Shell("convert '" + Path("deep.pgm") + "' -depth 16 '" + Path("deep.png") + "'");
  for (const char* name : {"deep.pgm", "deep.tif", "deep.png"}) {
    const auto frame = MediaReader(Path(name)).Next();
    EXPECT_EQ(frame->bits, 16) << name;
    for (int x = 0; x < 256; ++x)
      EXPECT_EQ(frame->picture.y[x], std::lround((x * 256 + 129) / 257.0)) << name << x;
  }
  for (const char* format : {"jpg", "png", "tif", "heic"}) {
    const std::string out = Path(std::string("grey.") + format);
    ASSERT_EQ(Run({"denoise", Path("deep.tif"), Path("deep.png"), "-o", out}), kExitDone) << err_;
    EXPECT_NE(err_.find("16 bits a sample are rounded to 8"), std::string::npos) << err_;
    EXPECT_TRUE(MediaReader(out).Next()->picture.grey) << format;
  }
  EXPECT_EQ(Shell("identify -format '%[channels]' '" + Path("grey.jpg") + "'"), "gray");
}

TEST_F(PhotoBurst, GroupFindsBurstsAndBatchTakesItsList) {
  NEEDS_PROGRAM("exiftool");
  // Times and exposures of a folder: a single photo, a burst of three with a brighter last, a burst of two.
  struct {
    const char* name;
    const char* time;
    const char* exposure;
  } shots[] = {{"a9.jpg", "12:00:00", "0.01"},    {"b 10.jpg", "12:05:00.1", "0.01"},
               {"b 9.jpg", "12:05:00.0", "0.01"}, {"b 11.jpg", "12:05:00.2", "0.04"},
               {"c1.jpg", "12:05:30.0", "0.01"},  {"c2.jpg", "12:05:30.5", "0.01"}};
  for (const auto& shot : shots) {
    WritePicture(Path(shot.name), RandomPicture(96, 64, 1));
    const std::string time = shot.time;
    Shell("exiftool -q -overwrite_original -DateTimeOriginal='2024:05:01 " + time.substr(0, 8) +
          "' -SubSecTimeOriginal=" + (time.size() > 9 ? time.substr(9) : "0") +
          " -ExposureTime=" + shot.exposure + " '" + Path(shot.name) + "'");
  }
  ASSERT_EQ(Run({"group", folder_.string()}), kExitDone) << err_;
  const auto file = [&](const char* name) { return "'" + Path(name) + "' "; };
  EXPECT_EQ(out_, file("b 9.jpg") + file("b 10.jpg") + file("b 11.jpg") + "-o '" + Path("b 9-clean.jpg") +
                      "' --fusion on\n" + file("c1.jpg") + file("c2.jpg") + "-o '" + Path("c1-clean.jpg") +
                      "'\n");
  ASSERT_EQ(Run({"denoise", Path("c1.jpg"), Path("c2.jpg"), "-o", Path("c1-clean.jpg")}), kExitDone) << err_;
  const std::string before = out_;
  ASSERT_EQ(Run({"group", folder_.string(), "--json"}), kExitDone) << err_;
  const auto groups = nlohmann::json::parse(out_);
  ASSERT_EQ(groups.size(), 2u) << "a result was taken for a frame";
  EXPECT_EQ(groups[0]["exposure"], "2 frames of 1/100 s, then 1 frame of 1/25 s");
}

TEST_F(PhotoBurst, ColourOfFullSizeStaysAsFarAsTheResultsFormatHoldsIt) {
  NEEDS_PROGRAM("convert");
  // Lines one pixel wide; at half the size their colour would fade.
  Simulate();
  Shell("convert '" + Path("burst/truth.png") +
        "' -colorspace gray -colorspace sRGB -type truecolor -fill none" +
        " -stroke 'rgb(190,90,100)' +antialias -draw 'line 40,0 40,199' -draw 'line 81,0 81,199' '" +
        Path("lines.png") + "'");
  std::vector<std::string> files;
  for (int i = 0; i < 4; ++i) {
    files.push_back(Path("n" + std::to_string(i) + (i < 2 ? ".png" : ".jpg")));
    Shell("convert '" + Path("lines.png") + "' -seed " + std::to_string(i) +
          " -attenuate 0.3 +noise Gaussian -quality 98 -sampling-factor 4:4:4 '" + files[i] + "'");
  }
  const auto red_over_green = [&](const std::string& name) {
    const RgbPicture p = ReadRgbPicture(Path(name));
    double sum = 0;
    for (int y = 0; y < p.height; ++y) {
      const uint8_t* at = &p.rgb[3 * (size_t(y) * p.width + 40)];
      sum += at[0] - at[1];
    }
    return sum / p.height;
  };
  ASSERT_EQ(Denoise(files, {"-o", Path("out.png")}), kExitDone) << err_;
  EXPECT_NE(out_.find("fine"), std::string::npos) << out_;
  EXPECT_GT(red_over_green("out.png"), 85);  // of 100
  ASSERT_EQ(Denoise(files, {"-o", Path("out.y4m")}), kExitDone) << err_;
  EXPECT_LT(red_over_green("out.y4m"), 60);
}

TEST_F(PhotoBurst, PipesInAndOut) {
  std::string frames;
  for (int i = 0; i < 3; ++i) {
    WritePicture(Path("f.jpg"), RandomPicture(96, 64, i));
    const std::vector<uint8_t> bytes = ReadWhole(Path("f.jpg"));
    frames.append(bytes.begin(), bytes.end());
  }
  WriteWhole(Path("frames"), frames);
  const std::string command = std::string("'") + ZOLT_BURST + "' denoise - -o - --output-format png < '" +
                              Path("frames") + "' > '" + Path("out.png") + "'";
  const std::string told = Shell(command);
  EXPECT_NE(told.find("-: 96 x 64, "), std::string::npos) << told;
  EXPECT_EQ(ReadPicture(Path("out.png")).width, 96);
  EXPECT_EQ(Run({"denoise", "-", "-o", "-"}), kExitUsage);
  const std::string empty = Shell(std::string("'") + ZOLT_BURST + "' denoise - -o x.png < /dev/null");
  EXPECT_NE(empty.find("standard input: is no image"), std::string::npos) << empty;
}

}  // namespace
}  // namespace zolt
