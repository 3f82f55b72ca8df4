// The page of 'zolt-burst report', taken apart again: what it shows has to be the pictures and the figures.
#include <cstring>
#include <nlohmann/json.hpp>

extern "C" {
#include <libavutil/base64.h>
}

#include "common/file_io.h"
#include "compare/quality.h"
#include "media/colour.h"
#include "media/media_read.h"
#include "media/media_write.h"
#include "report/report_content.h"
#include "report/report_pictures.h"
#include "tools/support/tool_program.h"

namespace zolt {
namespace {

class Report : public ToolProgram {
 protected:
  int Make(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "report");
    for (const std::string& more : {std::string("-o"), Path("report.html")}) arguments.push_back(more);
    return Run(arguments);
  }

  std::string Html() const {
    const std::vector<uint8_t> bytes = ReadWhole(Path("report.html"));
    return std::string(bytes.begin(), bytes.end());
  }

  RgbPicture Shown(const PageImage& image) const {
    const size_t comma = image.uri.find(',');
    std::vector<uint8_t> bytes(image.uri.size());
    const int size = av_base64_decode(bytes.data(), &image.uri[comma + 1], static_cast<int>(bytes.size()));
    bytes.resize(static_cast<size_t>(std::max(size, 0)));
    const std::string name = Path(image.uri.find("image/png") < comma ? "shown.png" : "shown.jpg");
    WriteWhole(name, bytes);
    return ReadRgbPicture(name);
  }

  ReportSettings Settings() const {
    ReportSettings settings;
    settings.denoise.source.inputs = {Path("burst")};
    return settings;
  }
};

bool Same(const RgbPicture& a, const RgbPicture& b) {
  return a.width == b.width && a.height == b.height && a.rgb == b.rgb;
}

std::vector<size_t> Places(const std::string& text, const std::string& word) {
  std::vector<size_t> places;
  for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1))
    places.push_back(at);
  return places;
}

TEST_F(Report, ShowsThePicturesAndFiguresOfDenoiseAndCompare) {
  Simulate({"--ghost"});
  ReportSettings settings = Settings();
  settings.crops = {{20, 10}, {208, 199}};
  const ReportPage page = MakeReport(settings);
  ASSERT_EQ(Run({"denoise", Path("burst"), "-o", Path("clean.png"), "--maps", Path("maps")}), kExitDone);
  const YuvPicture first = ReadPicture(Path("burst/frame-0.png"));
  EXPECT_TRUE(Same(Shown(page.before), RgbFromYuv(first)));
  EXPECT_TRUE(Same(Shown(page.after), RgbFromYuv(ReadPicture(Path("clean.png")))));
  ASSERT_EQ(Run({"compare", Path("burst/frame-0.png"), Path("burst/truth.png"), "--json"}), kExitDone);
  ASSERT_TRUE(page.first_frame && page.result);
  EXPECT_NEAR(page.first_frame->psnr_luma, nlohmann::json::parse(out_)["psnr_luma"], 1e-6);
  ASSERT_EQ(Run({"compare", Path("clean.png"), Path("burst/truth.png"), "--json"}), kExitDone);
  // The result goes through PNG's RGB here and does not in the page.
  EXPECT_NEAR(page.result->psnr_luma, nlohmann::json::parse(out_)["psnr_luma"], 0.1);

  ASSERT_EQ(page.crops.size(), 2u);
  EXPECT_EQ(page.crops[0].place, "at 20, 0");  // moved up so that 200 rows fit
  EXPECT_EQ(page.crops[1].place, "at 64, 0");
  ASSERT_EQ(page.crops[0].images.size(), 4u);
  EXPECT_TRUE(Same(Shown(page.crops[0].images[0]), RgbFromYuv(CroppedAt(first, 20, 0, 200, 200))));

  ASSERT_EQ(page.maps.size(), 6u);  // ghost and weight of frames 1 to 3
  EXPECT_TRUE(Same(Shown(page.maps[0]), ReadRgbPicture(Path("maps/ghost-1.png"))));
  const RgbPicture weight = ReadRgbPicture(Path("maps/weight-3.png")), shown = Shown(page.maps[5]);
  for (size_t i = 0; i < weight.rgb.size(); i += 1001)
    EXPECT_EQ(shown.rgb[i], std::min(255, weight.rgb[i] * 255 / 75));
  ASSERT_EQ(page.frames.size(), 4u);
  EXPECT_EQ(page.frames[0][1], "reference");
  ASSERT_EQ(page.timing.size(), 5u);  // and what is no frame's own
  for (const PageTime& t : page.timing) EXPECT_GT(t.total(), 0) << t.name;
}

TEST_F(Report, ThePageNeedsNothingElse) {
  Simulate();
  ASSERT_EQ(Make({Path("burst"), "--width", "128"}), kExitDone) << err_;
  const std::string html = Html();
  size_t sources = 0;
  for (const char* attribute : {"src=\"", "href=\""}) {
    for (const size_t at : Places(html, attribute)) {
      ++sources;
      const std::string target = html.substr(at + std::strlen(attribute), 5);
      EXPECT_EQ(target, "data:") << html.substr(at, 40);
    }
  }
  EXPECT_GT(sources, 10u);
  for (const char* trace : {"{{", "}}", "http:", "https:", "url(", "@import"}) {
    EXPECT_EQ(html.find(trace), std::string::npos) << trace;
  }
  EXPECT_NE(html.find("width=\"128\""), std::string::npos);
  EXPECT_NE(html.find("Against the truth"), std::string::npos);
  EXPECT_EQ(Places(html, "/lumaHF1<").size(), 1u);
}

TEST_F(Report, NamesAreTextAndNoMarkup) {
  ASSERT_EQ(Run({"simulate", "-o", Path("burst"), "--crop", "64x64", "--frames", "2"}), kExitDone);
  const std::string name = "<b>\"{{maps}}'&\xff";
  std::filesystem::rename(Path("burst"), Path(name));
  ASSERT_EQ(Make({Path(name)}), kExitDone) << err_;
  const std::string html = Html();
  EXPECT_EQ(html.find("<b>\"{{maps"), std::string::npos);
  EXPECT_NE(html.find("<h1>&lt;b&gt;&quot;{{maps}}&#39;&amp;\xef\xbf\xbd</h1>"), std::string::npos);
}

TEST_F(Report, TheTruthIsTheOneOfTheResultOrNone) {
  Simulate({"--last-ev", "1"}, "6");
  ReportSettings settings = Settings();
  settings.denoise.reference = "0";
  const ReportPage fused = MakeReport(settings);
  ASSERT_TRUE(fused.result);
  EXPECT_NEAR(
      fused.first_frame->psnr_luma,
      CompareQuality(ReadPicture(Path("burst/frame-0.png")), ReadPicture(Path("burst/truth.png"))).psnr_luma,
      1e-9);
  const YuvPicture last = ReadPicture(Path("burst/truth-last.png"));
  ASSERT_EQ(Run({"denoise", Path("burst"), "-o", Path("fused.png"), "--reference", "0"}), kExitDone);
  EXPECT_EQ(fused.result->psnr_luma, CompareQuality(ReadPicture(Path("fused.png")), last).psnr_luma);

  settings = Settings();
  settings.denoise.reference = "1";  // another one than the truth's
  EXPECT_FALSE(MakeReport(settings).result);
  settings = Settings();
  settings.denoise.source.start = 1;
  EXPECT_FALSE(MakeReport(settings).result);
  std::filesystem::remove(Path("burst/truth.png"));
  ASSERT_EQ(Make({Path("burst"), "--fusion", "off"}), kExitDone) << err_;
  EXPECT_EQ(Html().find("Against the truth"), std::string::npos);
  ASSERT_EQ(
      Make({Path("burst/frame-0.png"), Path("burst/frame-1.png"), "--truth", Path("burst/frame-2.png")}),
      kExitDone);
  EXPECT_NE(Html().find("Against the truth"), std::string::npos);
}

TEST_F(Report, FailuresSayWhyAndLeaveNoPage) {
  EXPECT_EQ(Make({Path("burst")}), kExitFile);
  Simulate();
  WritePicture(Path("small.png"), RandomPicture(64, 64, 1));
  EXPECT_EQ(Make({Path("burst"), "--truth", Path("small.png")}), kExitUsage);
  EXPECT_NE(err_.find("small.png"), std::string::npos);
  EXPECT_EQ(Make({Path("burst"), "--truth", Path("none.png")}), kExitFile);
  EXPECT_EQ(Make({Path("burst"), "--crop", "264", "0"}), kExitUsage);
  EXPECT_EQ(Make({Path("burst"), "--config", Path("none")}), kExitFile);
  EXPECT_EQ(Make({Path("burst"), "--memory-limit", "9K"}), kExitRefused);
  EXPECT_FALSE(std::filesystem::exists(Path("report.html")));
  EXPECT_EQ(Run({"report", Path("burst"), "-o", Path("none/report.html")}), kExitFile);
}

TEST(TellingPlaces, FindMotionDetailAndCalm) {
  YuvPicture grey(640, 480), still(640, 480);
  std::fill(grey.y.begin(), grey.y.end(), uint8_t{100});
  std::fill(grey.u.begin(), grey.u.end(), uint8_t{128});
  std::fill(grey.v.begin(), grey.v.end(), uint8_t{128});
  const auto paint = [](std::vector<uint8_t>* plane, int pitch, int x0, int y0, int side, auto value) {
    for (int y = y0; y < y0 + side; ++y) {
      for (int x = x0; x < x0 + side; ++x) (*plane)[size_t(y) * pitch + x] = value(x, y);
    }
  };
  paint(&grey.y, 640, 0, 0, 480, [](int x, int y) { return static_cast<uint8_t>(100 + (x + y) % 3); });
  paint(&grey.y, 640, 420, 50, 60,
        [](int x, int y) { return static_cast<uint8_t>(60 + 90 * ((x + y) & 1)); });
  paint(&grey.v, 320, 30, 150, 40, [](int, int) { return uint8_t{220}; });
  YuvPicture motion = still;
  paint(&motion.y, 640, 100, 100, 60, [](int, int) { return uint8_t{255}; });
  const auto covers = [](const CropPlace& place, int x, int y) {
    return place.x <= x && x < place.x + 160 && place.y <= y && y < place.y + 160;
  };
  const std::vector<CropPlace> moving = TellingPlaces(grey, motion, 160);
  ASSERT_EQ(moving.size(), 3u);
  EXPECT_TRUE(covers(moving[0], 130, 130)) << moving[0].name;
  EXPECT_TRUE(covers(moving[1], 450, 80)) << moving[1].name;
  EXPECT_GE(moving[2].x, 480 - 1) << "beside the ramp nothing changes";
  const std::vector<CropPlace> calm = TellingPlaces(grey, still, 160);
  ASSERT_EQ(calm.size(), 3u);
  EXPECT_TRUE(covers(calm[2], 100, 340)) << calm[2].name;
  for (const CropPlace& place : calm) EXPECT_TRUE(place.x % 2 == 0 && place.x <= 480 && place.y <= 320);

  const std::vector<CropPlace> only = TellingPlaces(RandomPicture(65, 63, 1), YuvPicture(65, 63), 62);
  ASSERT_EQ(only.size(), 1u);
  EXPECT_TRUE(only[0].x + 62 <= 65 && only[0].y + 62 <= 63);
}

}  // namespace
}  // namespace zolt
