// Videos as other programs write them, and results as other programs read them.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "common/file_io.h"
#include "tools/support/interrupt_soon.h"
#include "tools/support/other_programs.h"
#include "tools/support/tool_program.h"
#include "zolt_burst.h"

namespace zolt {
namespace {

constexpr int kWidth = 98, kHeight = 64;

class Video : public ToolProgram {
 protected:
  // Eight frames of a picture that trembles, in noise; `more` are options of ffmpeg, codec and all.
  std::string Make(const std::string& name, const std::string& more, const std::string& filters = "") {
    const std::string scene =
        "testsrc2=s=160x120:r=25:d=0.04,loop=7:1,setpts=N,crop=98:64:30+2*mod(n\\,3):20,"
        "noise=alls=14:allf=t,format=yuv420p";
    const std::string told =
        Shell("ffmpeg -v error -y -f lavfi -i '" + scene + filters + "' " + more + " '" + Path(name) + "'");
    EXPECT_EQ(told, "");
    return Path(name);
  }

  static std::string Probe(const std::string& what, const std::string& path) {
    return Shell("ffprobe -v error -of default=nw=1 " + what + " '" + path + "'");
  }
  static int FramesOf(const std::string& path) {
    const std::string told = Shell(
        "ffprobe -v error -count_frames -select_streams v:0 -show_entries stream=nb_read_frames -of csv=p=0 "
        "'" +
        path + "'");
    return std::atoi(told.c_str());
  }

  // Fails with `code`, tells `why`, and leaves a file of `frames` frames at most behind, of one at least if
  // not 0.
  void ExpectFailure(const std::vector<std::string>& arguments, int code, const std::string& why,
                     int frames = 0) {
    std::vector<std::string> all = {"video"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const size_t files = FilesInFolder();
    EXPECT_EQ(Run(all), code) << why;
    EXPECT_NE(err_.find(why), std::string::npos) << why << ": " << err_;
    EXPECT_EQ(FilesInFolder(), files + (frames > 0 ? 1 : 0)) << why;
    if (frames == 0) return;
    const int kept = FramesOf(arguments[2]);
    EXPECT_GE(kept, 1) << why;
    EXPECT_LE(kept, frames) << why;
  }
};

// The planes of each frame of a Y4M file.
std::vector<std::vector<uint8_t>> FramesOfY4m(const std::string& path) {
  const std::vector<uint8_t> file = ReadWhole(path);
  constexpr size_t kFrame = kWidth * kHeight * 3 / 2;
  std::vector<std::vector<uint8_t>> frames;
  auto at = std::find(file.begin(), file.end(), '\n');
  while (static_cast<size_t>(file.end() - at) > kFrame) {
    at = std::find(at + 1, file.end(), '\n') + 1;  // "FRAME"
    frames.emplace_back(at, at + kFrame);
    at += kFrame - 1;
  }
  return frames;
}

TEST_F(Video, EachFrameIsTheBurstAroundIt) {
  NEEDS_PROGRAM("ffmpeg");
  const std::string in = Make("in.y4m", "");
  for (const std::string mode : {"fast", "fine"}) {
    ASSERT_EQ(Run({"video", in, "-o", Path("out.y4m"), "--window", "3", "--iso", "1600", "--mode", mode}),
              kExitDone)
        << err_;
    auto frames = FramesOfY4m(in);
    const auto results = FramesOfY4m(Path("out.y4m"));
    ASSERT_EQ(results.size(), 8U);
    for (const int middle : {1, 4}) {
      std::vector<uint8_t> image(frames[0].size());
      zolt_burst_picture pictures[3];
      for (int i = 0; i < 3; ++i)
        pictures[i] = zolt_burst_yuv420_block(frames[size_t(middle - 1 + i)].data(), kWidth, kHeight, "I420");

      const zolt_burst_picture output = zolt_burst_yuv420_block(image.data(), kWidth, kHeight, "I420");
      zolt_burst_options options;
      zolt_burst_options_init(&options);
      options.iso = 1600;
      options.reference = 1;
      options.fusion = ZOLT_BURST_FUSION_OFF;
      options.mode = mode == "fine" ? ZOLT_BURST_FINE : ZOLT_BURST_FAST;
      ASSERT_EQ(zolt_burst_denoise(pictures, 3, &options, &output, nullptr, nullptr), ZOLT_BURST_OK);
      EXPECT_TRUE(image == results[size_t(middle)]) << mode << " " << middle;
    }
  }
  // The same through pipes.
  const int in_file = open(in.c_str(), O_RDONLY),
            out_file = open(Path("pipe.y4m").c_str(), O_RDWR | O_CREAT, 0600);
  const int stdin_before = dup(0), stdout_before = dup(1);
  dup2(in_file, 0);
  dup2(out_file, 1);
  const int code = Run({"video", "-", "-o", "-", "--window", "3", "--iso", "1600", "--mode", "fine", "-q"});
  dup2(stdin_before, 0);
  dup2(stdout_before, 1);
  for (const int file : {in_file, out_file, stdin_before, stdout_before}) close(file);
  EXPECT_EQ(code, kExitDone) << err_;
  EXPECT_TRUE(ReadWhole(Path("pipe.y4m")) == ReadWhole(Path("out.y4m")));
}

TEST_F(Video, KeepsStreamsStampsAndTags) {
  NEEDS_PROGRAM("ffmpeg");
  std::ofstream(Path("s.srt")) << "1\n00:00:00,040 --> 00:00:00,200\nHi\n";
  std::ofstream(Path("m.txt"))
      << ";FFMETADATA1\ntitle=Walk\nartist=Ann\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=160\ntitle=one\n";
  const std::string others = "-f lavfi -i sine=440:d=0.3 -i '" + Path("s.srt") + "' -i '" + Path("m.txt") +
                             "' -map 0 -map 1 -map 2 -map_metadata 3 -map_chapters 3 -vsync vfr "
                             "-metadata:s:a:0 language=ger -color_range pc -colorspace bt709 -aspect 2:1 ";
  const std::string uneven = ",select=not(eq(n\\,3))";
  const struct {
    std::string name, more, result;
  } cases[] = {{"in.mkv", "-c:v ffv1 -c:a flac -c:s srt", "out.mkv"},
               {"in.mp4", "-c:v libx264 -c:a aac -c:s mov_text", "out.mp4"},
               {"in.mov", "-c:v mpeg4 -c:a pcm_s16le -c:s mov_text", "out.mov"},
               {"in.avi", "-sn -c:v mjpeg -pix_fmt yuvj420p -c:a mp3 -map -2", "out.mov"},
               {"in.ts", "-sn -c:v mpeg2video -r 25 -c:a mp2 -map -2", "out.ts"}};
  for (const auto& c : cases) {
    std::string in = Make(c.name, others + c.more, c.name == "in.ts" ? "" : uneven);
    if (c.name == "in.mp4") {  // as phones held upright write it
      Shell("ffmpeg -v error -y -i '" + in + "' -map 0 -c copy -metadata:s:v rotate=90 '" +
            Path("turned.mp4") + "'");
      in = Path("turned.mp4");
    }
    const std::string out = Path(c.result);
    ASSERT_EQ(Run({"video", in, "-o", out, "--window", "3"}), kExitDone) << err_;
    for (const std::string what :
         {"-select_streams v -show_entries frame=best_effort_timestamp_time",
          "-select_streams a -show_entries stream=codec_name:packet=pts_time,size:stream_tags=language",
          "-select_streams s -show_entries stream=codec_name:packet=pts_time,duration_time",
          "-select_streams v -show_entries "
          "stream=width,height,color_range,color_space,display_aspect_ratio:stream_side_data=rotation",
          "-show_entries format_tags=title,artist:chapter=start_time,end_time:chapter_tags=title"}) {
      EXPECT_EQ(Probe(what, in), Probe(what, out)) << c.name << ": " << what;
    }
  }
  // What the container can't turn is turned; a cut counts from its own start.
  ASSERT_EQ(Run({"video", Path("turned.mp4"), "-o", Path("cut.mkv"), "--start", "0.1", "--duration", "0.1",
                 "--compare", Path("side.mp4")}),
            kExitDone)
      << err_;
  EXPECT_NE(err_.find("subtitle"), std::string::npos) << err_;
  EXPECT_EQ(Probe("-select_streams v -show_entries frame=width,height,pts_time", Path("cut.mkv")),
            "pts_time=0.060000\nwidth=64\nheight=98\n");
  EXPECT_EQ(FramesOf(Path("side.mp4")), 1);
}

TEST_F(Video, KeepsWhatWasDoneAndTellsWhereItStopped) {
  NEEDS_PROGRAM("ffmpeg");
  const std::string whole = Make("in.mkv", "-c:v ffv1", ",loop=4:8"), out = Path("out.mkv");
  std::vector<uint8_t> bytes = ReadWhole(whole);
  bytes.resize(bytes.size() * 2 / 3);
  WriteWhole(Path("cut.mkv"), bytes);
  ExpectFailure({Path("cut.mkv"), "-o", out}, kExitFile, "it was cut off", 30);
  std::filesystem::remove(out);
  Make("a.ts", "-c:v mpeg2video");
  Make("b.ts", "-c:v mpeg2video", ",scale=64:48");
  Shell("cat '" + Path("a.ts") + "' '" + Path("b.ts") + "' > '" + Path("two.ts") + "'");
  ExpectFailure({Path("two.ts"), "-o", out}, kExitFile, "changes its size from 98 x 64 to 64 x 48", 8);
  std::filesystem::remove(out);
  std::filesystem::create_symlink("/dev/full", Path("full.y4m"));
  ExpectFailure({whole, "-o", Path("full.y4m")}, kExitFile, "No space left");
  {
    const InterruptSoon interrupt(1000);
    ExpectFailure({whole, "-o", out}, kExitStopped, "stopped");
  }
}

TEST_F(Video, RefusesWhatMakesNoSense) {
  NEEDS_PROGRAM("ffmpeg");
  const std::string in = Make("in.mkv", "-c:v ffv1"), out = Path("out.mkv");
  const std::string fields =
      Make("fields.mkv", "-c:v mpeg2video -flags +ilme+ildct -field_order tt", ",tinterlace=4");
  std::ofstream(Path("text.mkv")) << "no video";
  ExpectFailure({fields, "-o", out}, kExitUsage, "bwdif");
  ExpectFailure({Path("text.mkv"), "-o", out}, kExitFile, "no video that can be read");
  ExpectFailure({Path("none.mkv"), "-o", out}, kExitFile, "No such file");
  ExpectFailure({in, "-o", Path("out.txt")}, kExitUsage, "no video's name");
  ExpectFailure({in, "-o", Path("none/out.mkv")}, kExitFile, "no such folder");
  ExpectFailure({in, "-o", in}, kExitUsage, "is the input");
  ExpectFailure({in, "-o", out, "--compare", out}, kExitUsage, "a file of its own");
  ExpectFailure({in, "-o", out, "--codec", "none"}, kExitFile, "no such video encoder");
  ExpectFailure({in, "-o", out, "--codec", "ffv1", "--crf", "20"}, kExitUsage, "no such setting");
  ExpectFailure({in, "-o", out, "--pix-fmt", "none"}, kExitUsage, "no such layout");
  ExpectFailure({in, "-o", out, "--window", "11"}, kExitUsage, "--window");
  ExpectFailure({in, "-o", out, "--start", "9"}, kExitFile, "no frame");
  const std::string deep = Make("deep.mkv", "-c:v ffv1 -pix_fmt yuv420p10le");
  ASSERT_EQ(Run({"video", deep, "-o", out}), kExitDone) << err_;
  EXPECT_NE(err_.find("8 bits"), std::string::npos) << err_;
}

}  // namespace
}  // namespace zolt
