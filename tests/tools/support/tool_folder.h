#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "common/errors.h"
#include "common/hash_random.h"
#include "media/picture.h"

namespace zolt {

/// A folder of its own for each test, gone with it.
class ToolFolder : public ::testing::Test {
 protected:
  ToolFolder()
      : folder_(std::filesystem::temp_directory_path() /
                ("zolt_burst_test." + std::to_string(getpid()) + "." +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name())) {
    std::filesystem::create_directories(folder_);
  }
  ~ToolFolder() override { std::filesystem::remove_all(folder_); }

  std::string Path(const std::string& name) const { return (folder_ / name).string(); }
  size_t FilesInFolder() const {
    size_t n = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder_)) ++n;
    return n;
  }

  std::filesystem::path folder_;
};

/// Exit code of the ToolError that `work` ends with, -1 if it does not; its text goes to `text`.
template <typename Work>
int FailureOf(const Work& work, std::string* text = nullptr) {
  try {
    work();
  } catch (const ToolError& e) {
    if (text) *text = e.what();
    return e.code();
  }
  return -1;
}

/// Random samples about mid grey, weak enough in colour to lie inside the RGB gamut.
inline YuvPicture RandomPicture(int width, int height, uint64_t seed) {
  YuvPicture p(width, height);
  const auto fill = [&](std::vector<uint8_t>& plane, uint64_t stream, int low, int range) {
    for (size_t i = 0; i < plane.size(); ++i) {
      plane[i] = static_cast<uint8_t>(
          low + static_cast<int>(HashBits(seed, stream, i) % static_cast<uint64_t>(range)));
    }
  };
  fill(p.y, 0, 70, 110);
  fill(p.u, 1, 110, 36);
  fill(p.v, 2, 110, 36);
  return p;
}

}  // namespace zolt
