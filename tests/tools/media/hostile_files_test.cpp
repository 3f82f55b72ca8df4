// Files that are not what they say: cut, changed, lying about their size, packed to burst, leading in
// circles.
#include <zlib.h>

#include "common/file_io.h"
#include "media/media_read.h"
#include "media/media_write.h"
#include "tools/support/dng_file.h"
#include "tools/support/other_programs.h"
#include "tools/support/tool_program.h"

namespace zolt {
namespace {

using HostileFiles = ToolProgram;

// Half a gigabyte of address space holds the program, not the picture. The address sanitizer takes more for
// itself.
#ifdef __SANITIZE_ADDRESS__
const std::string kMemory;
#else
const std::string kMemory = "ulimit -v 524288; ";
#endif

// A PNG that says to have these sides, with `rows` black rows in it.
std::string BlackPng(uint32_t width, uint32_t height, uint32_t rows) {
  const auto number = [](uint32_t v) {
    std::string out;
    for (const int shift : {24, 16, 8, 0}) out += static_cast<char>(v >> shift);
    return out;
  };
  const auto chunk = [&](const std::string& name, const std::string& data) {
    const std::string all = name + data;
    const auto crc = crc32(0, reinterpret_cast<const Bytef*>(all.data()), static_cast<uInt>(all.size()));
    return number(static_cast<uint32_t>(data.size())) + all + number(static_cast<uint32_t>(crc));
  };
  const std::string black(size_t{rows} * (width / 8 + 1), '\0');
  std::string packed(compressBound(black.size()), '\0');
  uLongf size = packed.size();
  compress(reinterpret_cast<Bytef*>(packed.data()), &size, reinterpret_cast<const Bytef*>(black.data()),
           black.size());
  packed.resize(size);
  const std::string head = number(width) + number(height) + std::string("\1\0\0\0\0", 5);  // one bit a pixel
  return "\x89PNG\r\n\x1a\n" + chunk("IHDR", head) + chunk("IDAT", packed) + chunk("IEND", "");
}

TEST_F(HostileFiles, MorePixelsThanWantedAreRefusedBeforeTheyAreUnpacked) {
  WriteWhole(Path("bomb.png"), BlackPng(30000, 20000, 20000));
  WriteWhole(Path("lie.png"), BlackPng(0x7fffffff, 0x7fffffff, 0));
  for (const char* name : {"bomb.png", "lie.png"}) {
    const std::string told = Shell(kMemory + "'" ZOLT_BURST "' denoise '" + Path(name) + "' '" + Path(name) +
                                   "' -o '" + Path("out.png") + "'; echo exit $?");
    EXPECT_NE(told.find("more than 512 megapixels"), std::string::npos) << told;
    EXPECT_NE(told.find("exit 2"), std::string::npos) << told;
  }
  WritePicture(Path("large.jpg"), RandomPicture(1200, 1000, 1));
  EXPECT_EQ(
      Run({"denoise", Path("large.jpg"), Path("large.jpg"), "-o", Path("o.png"), "--max-megapixels", "1"}),
      kExitFile);
  EXPECT_NE(err_.find("1200 x 1000 pixels are more than 1 megapixels"), std::string::npos) << err_;
}

// Every reader, over files cut at many places and with single bytes changed: pictures or an error that means
// a file.
TEST_F(HostileFiles, CutAndChangedFilesEndInAnErrorOrAPicture) {
  DngFile().Write(Path("p.dng"));
  for (const char* name : {"p.jpg", "p.png", "p.tif", "p.heic", "p.avif"}) {
    PictureFile file;
    std::vector<std::string> left_out;
    file.metadata = MetadataOfResult({.orientation = 6}, {40, 24, {{}}, {}}, {});
    WriteWhole(Path(name), PictureBytes(Path(name), RandomPicture(40, 24, 3), file, &left_out));
  }
  int refused = 0;
  for (const char* name : {"p.jpg", "p.png", "p.tif", "p.heic", "p.avif", "p.dng"}) {
    const std::vector<uint8_t> whole = ReadWhole(Path(name));
    const std::string bad = Path(std::string("bad") + name);
    const auto read = [&](const std::vector<uint8_t>& bytes) {
      WriteWhole(bad, bytes);
      const int code = FailureOf([&] {
        FactsOf(ReadMetadataOf(bad));
        MediaReader(bad).Next();
      });
      EXPECT_TRUE(code == -1 || code == kExitFile) << name << code;
      refused += code == kExitFile ? 1 : 0;
    };
    for (size_t i = 0; i < 40; ++i) {
      std::vector<uint8_t> cut = whole, changed = whole;
      cut.resize(whole.size() * i / 40);
      read(cut);
      changed[HashBits(1, 7, i) % std::min<size_t>(whole.size(), 600)] ^= static_cast<uint8_t>(1 << i % 8);
      read(changed);
    }
  }
  EXPECT_GT(refused, 100);
}

TEST_F(HostileFiles, TablesThatLeadInCirclesEnd) {
  WritePicture(Path("p.tif"), RandomPicture(40, 24, 3));
  std::vector<uint8_t> bytes = ReadWhole(Path("p.tif"));
  const size_t table = bytes[4] + 256u * bytes[5] + 65536u * bytes[6];
  const size_t next = table + 2 + 12 * (bytes[table] + 256u * bytes[table + 1]);
  std::copy(bytes.begin() + 4, bytes.begin() + 8, bytes.begin() + static_cast<ptrdiff_t>(next));
  WriteWhole(Path("loop.tif"), bytes);
  EXPECT_EQ(ReadPicture(Path("loop.tif")).width, 40);
}

TEST_F(HostileFiles, TheWrongExtensionDoesNoHarm) {
  WritePicture(Path("p.jpg"), RandomPicture(72, 64, 1));
  std::filesystem::copy(Path("p.jpg"), Path("jpeg.png"));
  WriteWhole(Path("text.jpg"), std::string("no picture\n"));
  EXPECT_EQ(Run({"denoise", Path("jpeg.png"), Path("p.jpg"), "-o", Path("o.png")}), kExitDone) << err_;
  EXPECT_EQ(Run({"denoise", Path("jpeg.png"), Path("text.jpg"), Path("p.jpg"), "-o", Path("o.png")}),
            kExitFile);
  EXPECT_NE(err_.find("text.jpg"), std::string::npos) << err_;
}

}  // namespace
}  // namespace zolt
