#include "denoise/burst_frames.h"

#include <algorithm>

#include "common/file_io.h"
#include "media/media_write.h"
#include "media/raw_frame.h"
#include "tools/support/tool_folder.h"

namespace zolt {
namespace {

class BurstFramesOf : public ToolFolder {
 protected:
  // Pictures whose first luma sample is 100 and up.
  std::vector<std::string> Images(int count, int width = 72, int height = 64) {
    std::vector<std::string> paths;
    for (int i = 0; i < count; ++i) {
      paths.push_back(Path("i" + std::to_string(i) + ".y4m"));
      WritePicture(paths.back(), Numbered(i, width, height));
    }
    return paths;
  }
  static YuvPicture Numbered(int i, int width, int height) {
    YuvPicture p = RandomPicture(width, height, 4);
    p.y[0] = static_cast<uint8_t>(100 + i);
    return p;
  }
  // A video, or a raw file, of several frames.
  std::string Joined(const std::string& name, int count) {
    std::vector<uint8_t> bytes;
    const auto layout = RawLayoutOf(name);
    for (int i = 0; i < count; ++i) {
      WritePicture(Path("one.y4m"), Numbered(i, 72, 64));
      std::vector<uint8_t> one = layout ? RawBytes(Numbered(i, 72, 64), *layout) : ReadWhole(Path("one.y4m"));
      const auto frame =
          layout || i == 0 ? one.begin() : std::search_n(one.begin(), one.end(), 1, uint8_t{'\n'}) + 1;
      bytes.insert(bytes.end(), frame, one.end());
    }
    WriteWhole(Path(name), bytes);
    return Path(name);
  }
  static std::vector<int> Numbers(const BurstSource& source) {
    std::vector<int> out;
    for (const AnyPicture& p : LoadBurst(source).frames) out.push_back(std::get<YuvPicture>(p).y[0] - 100);
    return out;
  }
  static std::string Error(const BurstSource& source, int code) {
    std::string text;
    EXPECT_EQ(FailureOf([&] { LoadBurst(source); }, &text), code) << text;
    return text;
  }
};

TEST_F(BurstFramesOf, FilesVideosAndRawFilesInOrder) {
  using Ints = std::vector<int>;
  EXPECT_EQ(Numbers({Images(1)}), Ints{0});
  EXPECT_EQ(Numbers({Images(12)}).size(), 12u);
  EXPECT_EQ(Numbers({Images(12), 3, 7}), (Ints{7, 8, 9}));
  const std::string video = Joined("v.y4m", 9);
  EXPECT_EQ(Numbers({{video}}), (Ints{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(Numbers({{video}, 4, 5}), (Ints{5, 6, 7, 8}));
  EXPECT_EQ(Numbers({{video}, 8, 5}), (Ints{5, 6, 7, 8}));
  const BurstSource raw = {{Joined("a.nv21", 2), Joined("b.i420", 3)}, 3, 1, "72x64"};
  EXPECT_EQ(Numbers(raw), (Ints{1, 0, 1}));
  EXPECT_EQ(LoadBurst(raw).frame_files,
            (std::vector<std::string>{raw.inputs[0], raw.inputs[1], raw.inputs[1]}));
}

TEST_F(BurstFramesOf, WhatIsNoBurstSaysWhatToDo) {
  EXPECT_NE(Error({Images(101)}, kExitUsage).find("--frames 100"), std::string::npos);
  EXPECT_NE(Error({{Joined("v.y4m", 3)}, 2, 3}, kExitUsage).find("no frame"), std::string::npos);
  EXPECT_NE(Error({{Joined("v.y4m", 3)}, 101}, kExitUsage).find("101 frames"), std::string::npos);

  std::vector<std::string> unlike = Images(2);
  WritePicture(Path("small.y4m"), RandomPicture(64, 64, 1));
  unlike.push_back(Path("small.y4m"));
  EXPECT_NE(Error({unlike}, kExitUsage).find("64 x 64"), std::string::npos);

  const std::string raw = Joined("r.nv12", 2);
  EXPECT_NE(Error({{raw}}, kExitUsage).find("--size"), std::string::npos);
  EXPECT_NE(Error({{raw}, 0, 0, "72x60"}, kExitFile).find("bytes"), std::string::npos);
  for (const char* size : {"72", "72x", "x64", "72x64x2", "-72x64", "0x64", "71x64", "99999999999x2"}) {
    Error({{raw}, 0, 0, size}, kExitUsage);
  }
  Error({Images(2), 0, 0, "72x64"}, kExitUsage);
  Error({{raw, Images(1)[0]}, 0, 0, "72x64"}, kExitUsage);
  std::filesystem::create_directory(Path("empty"));
  EXPECT_NE(Error({{Path("empty")}}, kExitUsage).find("empty: no picture"), std::string::npos);
  WritePicture(Path("tiny.y4m"), RandomPicture(72, 15, 1));
  EXPECT_NE(Error({{Path("tiny.y4m")}}, kExitUsage).find("tiny.y4m: is 72 x 15"), std::string::npos);
}

TEST_F(BurstFramesOf, FolderWithABadDescription) {
  Images(2);
  const auto with = [&](const std::string& json) {
    WriteWhole(Path("burst.json"), json);
    return Error({{folder_.string()}}, kExitFile);
  };
  with("");
  with("{");
  with("[]");
  with(R"({"width":72,"height":64,"iso":100,"frames":[]})");
  with(R"({"width":72,"height":64,"iso":"x","frames":[{"file":"i0.y4m","homography":[1,0,0,0,1,0,0,0,1]}]})");
  with(R"({"width":72,"height":64,"iso":100,"frames":[{"file":"i0.y4m","homography":[1,0,0]}]})");
  const std::string outside = with(
      R"({"width":72,"height":64,"iso":100,"frames":[{"file":"../i0.y4m","homography":[1,0,0,0,1,0,0,0,1]}]})");
  EXPECT_NE(outside.find("no plain file name"), std::string::npos);
}

}  // namespace
}  // namespace zolt
