#include "zolt_mfdenoise.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/log_lines.h"
#include "support/session_driver.h"
#include "support/stage_doubles.h"
#include "support/test_hooks.h"
#include "support/thread_failure.h"
#include "threads/worker_pool.h"

namespace zolt {
namespace {

using test::FlatFrame;
using test::SessionDriver;
using test::TestHooks;
using Bytes = std::vector<uint8_t>;

struct Refusal {
  const char* message;
  int32_t result;
};

TEST(Validation, TheFirstWrongArgumentDecides) {
  TestHooks::Reset();
  SessionDriver driver(64, 64);
  const Bytes frame = FlatFrame(64, 64, 2, 1, 2, 3);
  const Refusal rows[] = {{"Input or Output Data Is Null!", -998}, {"ImageSize Not Support", 1},
                          {"Image Format Not Support", -998},      {"iso_speed Not Support", -998},
                          {"frame_total Not Support", -998},       {"frame_tag Error", -998}};
  // Everything from row i on is wrong, everything before it right.
  for (int i = 0; i < 6; ++i) {
    for (const bool source : {true, false}) {
      test::TakeLogLines();
      const bool null = i == 0;
      const int32_t result = zolt_mfNoiseReduction(
          driver.session, null && source ? nullptr : frame.data(),
          null && !source ? nullptr : driver.result.data(), i <= 1 ? 72 : 64, i <= 1 ? 63 : 64,
          i <= 5 ? 3 : 0, i <= 4 ? 11 : 10, i <= 2 ? 3u : 2u, i <= 3 ? -1 : 0, nullptr);
      EXPECT_EQ(result, rows[i].result);
      int errors = 0;
      for (const test::LogLine& line : test::TakeLogLines()) {
        EXPECT_EQ(line.tag, "QRN_MFIS");
        if (line.level != 6) continue;
        ++errors;
        EXPECT_EQ(line.text, rows[i].message);
      }
      EXPECT_EQ(errors, 1);
    }
  }
  EXPECT_TRUE(TestHooks::Calls().empty());
}

TEST(Validation, BoundsOfEachArgument) {
  TestHooks::Reset();
  test::StageDoubles stages;
  stages.FoldOnly();
  SessionDriver driver(64, 64);
  const Bytes frame(3 * 128 * 128 / 2, 7);
  Bytes result(frame.size());
  struct Case {
    int32_t height, width, tag, total;
    uint32_t format;
    int32_t iso, expected;
  };
  const Case cases[] = {
      {64, 64, 0, 2, 0, 0, 0},
      {64, 72, 0, 10, 2, 2147483647, 0},
      {60, 72, 0, 2, 0, 0, 1},
      {72, 60, 0, 2, 0, 0, 1},
      {64, 56, 0, 2, 0, 0, 1},
      {56, 64, 0, 2, 0, 0, 1},
      {-64, 64, 0, 2, 0, 0, 1},
      {64, -2147483647 - 1, 0, 2, 0, 0, 1},
      {64, 64, 0, 2, 3, 0, -998},
      {64, 64, 0, 2, 0xFFFFFFFFu, 0, -998},
      {64, 64, 0, 1, 0, 0, -998},
      {64, 64, 0, 11, 0, 0, -998},
      {64, 64, 0, -2, 0, 0, -998},
      {64, 64, -1, 2, 0, 0, -998},
      {64, 64, 3, 2, 0, 0, -998},
      {64, 64, 0, 2, 0, -1, -998},
      {64, 64, 1, 2, 0, 0, -997},  // no burst yet
      {2147483640, 2147483640, 0, 2, 0, 0, -1000},
      {65536, 65536, 0, 2, 0, 0, -1000},
      {64, 2147483640, 0, 2, 2, 0, -1000},
      {46336, 46336, 0, 2, 2, 0, -1000},
      {20000, 30000, 0, 2, 2, 0, -1000},
  };
  for (const Case& c : cases) {
    SessionDriver fresh(64, 64);
    EXPECT_EQ(zolt_mfNoiseReduction(fresh.session, frame.data(), result.data(), c.height, c.width, c.tag,
                                    c.total, c.format, c.iso, nullptr),
              c.expected)
        << c.height << "x" << c.width << " tag " << c.tag << " total " << c.total;
  }
}

TEST(Session, NullSessionsAreRefusedOrIgnored) {
  Bytes frame(64 * 64 * 3 / 2);
  const MfFrameExtra dropped = {0, 0, 1, 0};
  test::TakeLogLines();
  EXPECT_EQ(zolt_mfInitialize(nullptr, nullptr, nullptr), ZOLT_MF_BAD_ARGUMENT);
  // Not even the halved mode comes of such a call.
  EXPECT_EQ(zolt_mfNoiseReduction(nullptr, frame.data(), frame.data(), 64, 64, 0, 2, 0, 0, &dropped),
            ZOLT_MF_BAD_ARGUMENT);
  EXPECT_EQ(zolt_mfUnInitialize(nullptr), 0);
  EXPECT_TRUE(test::Contains(test::TakeLogLines(), 4, "enter zolt_mfUnInitialize()"));
}

TEST(Session, LoadsItsTuningFromTheFolder) {
  auto* const untouched = reinterpret_cast<MfSession*>(&test::TakeLogLines);
  MfSession* session = untouched;
  const auto initialize = [&](const std::string& path) {
    test::TakeLogLines();
    return zolt_mfInitialize(&session, path.c_str(), nullptr);
  };
  EXPECT_EQ(initialize("/nowhere/"), ZOLT_MF_LOAD_FAILURE);
  auto lines = test::TakeLogLines();
  EXPECT_TRUE(test::Contains(lines, 4, "enter zolt_mfInitialize()"));
  EXPECT_TRUE(test::Contains(lines, 4, "zolt_mfInitialize, path = /nowhere/."));
  EXPECT_TRUE(test::Contains(lines, 4, "LoadConfig file = /nowhere/multiframe.xml."));
  EXPECT_TRUE(test::Contains(lines, 6, "m_cXmlConfig.LoadConfig failed!"));
  // From 480 characters on the folder is dropped.
  EXPECT_EQ(initialize(std::string(479, 'x')), ZOLT_MF_LOAD_FAILURE);
  EXPECT_TRUE(test::Contains(test::TakeLogLines(), 4,
                             "LoadConfig file = " + std::string(479, 'x') + "multiframe.xml."));
  EXPECT_EQ(initialize(std::string(480, 'x')), ZOLT_MF_LOAD_FAILURE);
  EXPECT_TRUE(test::Contains(test::TakeLogLines(), 4, "LoadConfig file = multiframe.xml."));
  EXPECT_EQ(zolt_mfInitialize(&session, nullptr, nullptr), ZOLT_MF_LOAD_FAILURE);
  EXPECT_EQ(session, untouched);

  const test::TuningFolder folder;
  // With the file's 14 characters, 255 are not too many.
  EXPECT_EQ(initialize(folder.path() + std::string(242 - folder.path().size(), '/')), ZOLT_MF_LOAD_FAILURE);
  ASSERT_EQ(initialize(folder.path() + std::string(241 - folder.path().size(), '/')), 0);
  ASSERT_NE(session, untouched);
  EXPECT_EQ(zolt_mfUnInitialize(session), 0);
}

TEST(Session, LogsEachFrameAndTheBurstsParameters) {
  TestHooks::Reset();
  SessionDriver driver(64, 64, ZOLT_MF_FORMAT_I420,
                       {{"NoiseReduction/ISO2/lumaLF", "-7"}, {"GhostDetection/ISO2/lumaTH_Low", "33"}});
  const MfFrameExtra extra = {9, 5, 3, 4};
  driver.extra = &extra;
  test::TakeLogLines();
  ASSERT_EQ(driver.Frame(FlatFrame(64, 64, 2, 1, 2, 3), 0, 3), 0);
  const auto lines = test::TakeLogLines();
  for (const char* text :
       {"enter zolt_mfNoiseReduction()",
        "zolt_mfNoiseReduction, height = 64, width = 64, frame = 0/3, format = 2, iso = 100.",
        "zolt_mfNoiseReduction, frame_index = 4/3, eis_mode = 5.",
        "eis_mode = 5, NRPara = 0, -7, -128, -128, -128, -90, -128,   DeghostPara = 33, 100, 100, 100, 100, "
        "2550."}) {
    EXPECT_TRUE(test::Contains(lines, 4, text)) << text;
  }
  EXPECT_EQ(lines[1].text.rfind("Tarvos EIS Version : __Lumora Video 1.2.70__", 0), 0u);
  EXPECT_EQ(lines.back().text.rfind("Current frame time = ", 0), 0u);
  EXPECT_NE(lines.back().text.find(", IIRImgNum = 1, ret = 0."), std::string::npos);
}

TEST(Session, APoolThatDoesNotStartLeavesNoThreadBehind) {
  TestHooks::Reset();
  SessionDriver driver(64, 64);
  const Bytes frame = FlatFrame(64, 64, 2, 1, 2, 3);
  for (int k = 0; k < 4; ++k) {
    ASSERT_EQ(driver.Frame(frame, 0, 2), 0);
    const test::ThreadFailure failure(k);  // a planar later frame starts registration's workers first
    EXPECT_EQ(driver.Frame(frame, 1, 2), ZOLT_MF_LOAD_FAILURE);
    const WorkerPool::Counts counts = RegistrationPool().counts();
    EXPECT_EQ(counts.threads, 0);
    EXPECT_EQ(counts.reserve, 16);
    EXPECT_EQ(counts.users, 0);
  }
  driver.End();
  TestHooks::FreeAll();  // lost bursts keep their blocks
}

// The mode stays for the rest of the process, so all of it is one test.
TEST(HalvedMode, DropsMarkedFramesAndCountsHalf) {
  TestHooks::Reset();
  test::StageDoubles stages;
  stages.FoldOnly();
  SessionDriver driver(64, 64);
  const Bytes frame = FlatFrame(64, 64, 2, 10, 20, 30);
  MfFrameExtra extra = {};
  driver.extra = &extra;
  const auto send = [&](int32_t kind, int32_t index, int32_t tag, int32_t total, int32_t eis = 0) {
    extra = {0, eis, kind, index};
    return driver.Frame(frame, tag, total);
  };
  // Off: an odd total or the fusion keep a marked frame in the burst.
  EXPECT_EQ(send(1, 0, 0, 11), ZOLT_MF_BAD_ARGUMENT);
  EXPECT_EQ(send(1, 0, 0, 12, 1), ZOLT_MF_BAD_ARGUMENT);
  EXPECT_EQ(send(0, 0, 0, 12), ZOLT_MF_BAD_ARGUMENT);
  // The frame that switches it on is dropped before anything is looked at.
  extra = {0, 0, 1, 0};
  EXPECT_EQ(zolt_mfNoiseReduction(driver.session, nullptr, nullptr, 1, 1, 9, 12, 9, -1, &extra), 0);
  EXPECT_TRUE(TestHooks::Calls().empty());

  // Six frames delivered, three used: indices 0, 2, 4, and the last one is found by its index.
  EXPECT_EQ(send(0, 0, 0, 6), 0);
  EXPECT_EQ(send(1, 1, 1, 6), 0);
  EXPECT_EQ(send(0, 2, 1, 6), 0);
  EXPECT_EQ(send(1, 3, 1, 6), 0);
  EXPECT_EQ(TestHooks::Outstanding(), 1);
  EXPECT_EQ(send(0, 4, 0, 6), 0);  // not a new burst, though it says so
  EXPECT_EQ(TestHooks::Outstanding(), 0);
  EXPECT_EQ(driver.result, frame);

  // Half of 2 is too few; half of 20 is 10; a kind that is neither 0 nor 1 only halves.
  EXPECT_EQ(send(0, 0, 0, 2), ZOLT_MF_BAD_ARGUMENT);
  EXPECT_EQ(send(0, 5, 0, 20), 0);
  EXPECT_EQ(send(2, 4, 1, 6), 0);
  EXPECT_EQ(TestHooks::Outstanding(), 1);
  // It outlives the session.
  driver.End();
  SessionDriver next(64, 64);
  next.extra = &extra;
  extra = {0, 0, 0, 0};
  EXPECT_EQ(next.Frame(frame, 0, 2), ZOLT_MF_BAD_ARGUMENT);
  next.extra = nullptr;
  EXPECT_EQ(next.Frame(frame, 0, 2), 0);
}

}  // namespace
}  // namespace zolt
