// Pictures out to files and back, and files that are not what they seem.
#include <algorithm>
#include <cstdlib>

#include "common/file_io.h"
#include "media/colour.h"
#include "media/media_read.h"
#include "media/media_write.h"
#include "media/raw_frame.h"
#include "tools/support/tool_folder.h"

namespace zolt {
namespace {

using Media = ToolFolder;

int LargestDifference(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  EXPECT_EQ(a.size(), b.size());
  int largest = 0;
  for (size_t i = 0; i < std::min(a.size(), b.size()); ++i)
    largest = std::max(largest, std::abs(a[i] - b[i]));
  return largest;
}

void ExpectClose(const YuvPicture& a, const YuvPicture& b, int luma, int chroma) {
  ASSERT_EQ(a.width, b.width);
  ASSERT_EQ(a.height, b.height);
  EXPECT_LE(LargestDifference(a.y, b.y), luma);
  EXPECT_LE(LargestDifference(a.u, b.u), chroma);
  EXPECT_LE(LargestDifference(a.v, b.v), chroma);
}

TEST(Colour, GreysStayExactAndPrimariesLandWhereTheStandardSays) {
  RgbPicture greys(512, 2);
  for (size_t i = 0; i < greys.rgb.size(); ++i) greys.rgb[i] = static_cast<uint8_t>(i / 6 % 256);
  const YuvPicture yuv = YuvFromRgb(greys);
  for (int x = 0; x < 512; ++x) EXPECT_EQ(yuv.y[x], x / 2);
  EXPECT_TRUE(std::all_of(yuv.u.begin(), yuv.u.end(), [](uint8_t v) { return v == 128; }));
  EXPECT_TRUE(std::all_of(yuv.v.begin(), yuv.v.end(), [](uint8_t v) { return v == 128; }));
  EXPECT_EQ(RgbFromYuv(yuv).rgb, greys.rgb);
  const auto primary = [](uint8_t r, uint8_t g, uint8_t b) {
    RgbPicture p(1, 1);
    p.rgb = {r, g, b};
    const YuvPicture q = YuvFromRgb(p);
    return std::array<int, 3>{q.y[0], q.u[0], q.v[0]};
  };
  EXPECT_EQ(primary(255, 0, 0), (std::array<int, 3>{76, 85, 255}));
  EXPECT_EQ(primary(0, 255, 0), (std::array<int, 3>{150, 44, 21}));
  EXPECT_EQ(primary(0, 0, 255), (std::array<int, 3>{29, 255, 107}));
}

TEST_F(Media, EachFormatGivesBackWhatItWasGiven) {
  for (const auto& [width, height] : {std::pair{64, 48}, {71, 53}, {1, 1}}) {
    const YuvPicture picture = RandomPicture(width, height, 3);
    WritePicture(Path("p.y4m"), picture);
    ExpectClose(ReadPicture(Path("p.y4m")), picture, 0, 0);
    WritePicture(Path("p.PNG"), picture);
    ExpectClose(ReadPicture(Path("p.PNG")), picture, 1, 1);
  }
  // JPEG's own rounding; a smooth picture, since random samples are not what it is for.
  YuvPicture smooth(80, 64);
  for (size_t i = 0; i < smooth.y.size(); ++i) smooth.y[i] = static_cast<uint8_t>(i % 80 + i / 80);
  std::fill(smooth.u.begin(), smooth.u.end(), uint8_t{100});
  std::fill(smooth.v.begin(), smooth.v.end(), uint8_t{150});
  WritePicture(Path("p.jpg"), smooth);
  ExpectClose(ReadPicture(Path("p.jpg")), smooth, 2, 2);
}

TEST_F(Media, RawLayoutsPutChromaWhereTheLibraryLooks) {
  YuvPicture p(2, 2);
  p.y = {1, 2, 3, 4};
  p.u = {5};
  p.v = {6};
  EXPECT_EQ(RawBytes(p, RawLayout::kNv21), (std::vector<uint8_t>{1, 2, 3, 4, 6, 5}));
  EXPECT_EQ(RawBytes(p, RawLayout::kNv12), (std::vector<uint8_t>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(RawBytes(p, RawLayout::kI420), (std::vector<uint8_t>{1, 2, 3, 4, 5, 6}));
  const YuvPicture random = RandomPicture(20, 12, 9);
  for (const auto layout : {RawLayout::kNv21, RawLayout::kNv12, RawLayout::kI420}) {
    ExpectClose(PictureFromRaw(RawBytes(random, layout).data(), 20, 12, layout), random, 0, 0);
  }
  EXPECT_EQ(FailureOf([&] { WritePicture(Path("odd.nv21"), RandomPicture(5, 4, 1)); }), kExitUsage);
}

TEST_F(Media, OtherLayoutsBecomeFullRange) {
  // Limited range, as video without a mark has: 16 is black, 235 white.
  std::string y4m = "YUV4MPEG2 W4 H2 F25:1 Ip A1:1 C420mpeg2\nFRAME\n";
  for (const int v : {16, 16, 235, 235, 16, 16, 235, 235, 128, 128, 128, 128}) y4m += static_cast<char>(v);
  WriteWhole(Path("limited.y4m"), y4m);
  EXPECT_EQ(ReadPicture(Path("limited.y4m")).y, (std::vector<uint8_t>{0, 0, 255, 255, 0, 0, 255, 255}));

  std::string pgm = "P5\n256 1\n255\n";
  for (int v = 0; v < 256; ++v) pgm += static_cast<char>(v);
  WriteWhole(Path("grey.pgm"), pgm);
  const YuvPicture grey = ReadPicture(Path("grey.pgm"));
  for (int v = 0; v < 256; ++v) EXPECT_EQ(grey.y[v], v);

  WriteWhole(Path("deep.ppm"), std::string("P6\n1 1\n65535\n") + "\xff\xff\x80\x80" + std::string(2, '\0'));
  const std::vector<uint8_t> deep = ReadRgbPicture(Path("deep.ppm")).rgb;
  EXPECT_NEAR(deep[0], 255, 1);
  EXPECT_NEAR(deep[1], 128, 1);
  EXPECT_NEAR(deep[2], 0, 1);
}

// A JPEG with an EXIF block that holds nothing but the sensitivity.
std::vector<uint8_t> WithExif(std::vector<uint8_t> jpeg, int iso) {
  const uint8_t low = static_cast<uint8_t>(iso & 255);
  const uint8_t high = static_cast<uint8_t>(iso >> 8);
  const std::vector<uint8_t> exif = {
      0xff, 0xe1, 0,    52,   'E', 'x', 'i', 'f', 0, 0,  // segment
      'I',  'I',  42,   0,    8,   0,   0,   0,          // little-endian, first table at 8
      1,    0,    0x69, 0x87, 4,   0,   1,   0,   0, 0, 26,  0,    0, 0, 0, 0, 0, 0,  // the EXIF table at 26
      1,    0,    0x27, 0x88, 3,   0,   1,   0,   0, 0, low, high, 0, 0, 0, 0, 0, 0};
  jpeg.insert(jpeg.begin() + 2, exif.begin(), exif.end());
  return jpeg;
}

TEST_F(Media, TellsTheSensitivityOfAPhoto) {
  WritePicture(Path("plain.jpg"), RandomPicture(64, 64, 5));
  EXPECT_FALSE(MediaReader(Path("plain.jpg")).Next()->iso.has_value());
  WriteWhole(Path("exif.jpg"), WithExif(ReadWhole(Path("plain.jpg")), 3153));
  EXPECT_EQ(MediaReader(Path("exif.jpg")).Next()->iso, 3153);
}

TEST_F(Media, DamagedFilesAreRefusedByName) {
  WritePicture(Path("good.png"), RandomPicture(64, 64, 5));
  WritePicture(Path("good.jpg"), RandomPicture(64, 64, 5));
  const std::vector<uint8_t> png = ReadWhole(Path("good.png"));
  std::vector<uint8_t> flipped = png;
  flipped[flipped.size() / 2] ^= 0x10;
  WriteWhole(Path("flipped.png"), flipped);
  WriteWhole(Path("half.png"),
             std::vector<uint8_t>(png.begin(), png.begin() + static_cast<ptrdiff_t>(png.size() / 2)));
  const std::vector<uint8_t> jpeg = ReadWhole(Path("good.jpg"));
  WriteWhole(Path("half.jpg"),
             std::vector<uint8_t>(jpeg.begin(), jpeg.begin() + static_cast<ptrdiff_t>(jpeg.size() / 2)));
  WriteWhole(Path("empty.png"), std::string());
  WriteWhole(Path("text.jpg"), std::string("no picture at all\n"));
  WriteWhole(Path("list.png"), "#EXTM3U\n#EXTINF:1,\n" + Path("good.png") + "\n#EXT-X-ENDLIST\n");
  WriteWhole(Path("script.png"), "ffconcat version 1.0\nfile " + Path("good.png") + "\n");
  for (const char* name : {"flipped.png", "half.png", "half.jpg", "empty.png", "text.jpg", "list.png",
                           "script.png", "missing.png", "."}) {
    std::string text;
    EXPECT_EQ(FailureOf([&] { ReadPicture(Path(name)); }, &text), kExitFile) << name;
    EXPECT_NE(text.find(Path(name)), std::string::npos) << text;
  }
}

TEST_F(Media, AFailedWriteLeavesTheOldFileAndNothingElse) {
  WriteWhole(Path("old.png"), std::string("old"));
  EXPECT_EQ(FailureOf([&] { WritePicture(Path("old.png.gif"), RandomPicture(8, 8, 1)); }), kExitUsage);
  EXPECT_EQ(FailureOf([&] { WritePicture(Path("old.jpg"), YuvPicture(70000, 2)); }),
            kExitFile);  // JPEG ends at 65535
  EXPECT_EQ(FailureOf([&] { WritePicture(Path("no/such/folder.png"), RandomPicture(8, 8, 1)); }), kExitFile);
  const std::vector<uint8_t> bytes = ReadWhole(Path("old.png"));
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "old");
  EXPECT_EQ(FilesInFolder(), 1u);
}

}  // namespace
}  // namespace zolt
